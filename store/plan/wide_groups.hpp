// Groups of the rows of a table by columns with a dictionary that make too many keys for an accumulator each: the keys
// that occur are numbered by a hash map.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/plan/coded_groups.hpp"

namespace store {

class wide_groups final : public coded_groups {
public:
  // Can rows be grouped so?
  static bool serves(std::span<const column *const> columns) {
    return !columns.empty() && code_key::serves(columns) && code_key(columns).space();
  }

  // Context and columns outlive this.  Without a selection all rows are grouped.
  wide_groups(const vorn_ctx &ctx, std::span<const column *const> columns, std::span<const number_column> added,
              std::shared_ptr<const selection> selected);

  const char *method() const override { return "numbered keys"; }
  std::unique_ptr<group_input> another() const override;
  uint32_t group_of(const group_input &there, uint32_t group) override {
    return group_of(static_cast<const wide_groups &>(there).key_of_group_[group]);
  }
  const uint32_t *groups() const override { return group_of_row_.data(); }
  uint32_t group_count() const override { return static_cast<uint32_t>(key_of_group_.size()); }

private:
  void find_groups(const row_steps::step &step) override;
  uint64_t key_of(uint32_t group) const override { return key_of_group_[group]; }
  uint32_t group_of(uint64_t wanted);
  size_t slot_of(uint64_t wanted) const;
  void grow();

  std::vector<uint64_t> keys_; // of a step
  std::vector<uint32_t> group_of_row_;

  // The map: a slot holds a group and one, or 0.
  std::vector<uint32_t> slots_ = std::vector<uint32_t>(1024);
  std::vector<uint64_t> key_of_group_;
};

} // namespace store
