// Groups of any rows, whatever they are grouped by, by a hash map.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/kept_rows.hpp"

namespace store {

class hashed_groups final : public group_input {
public:
  // The rows have the columns that they are grouped by and then those of numbers.  Without the first there is one
  // group.
  hashed_groups(std::unique_ptr<batch_source> rows, std::span<const column *const> columns,
                std::span<const number_column> added);

  uint32_t next() override;
  const char *method() const override { return "hashed values"; }
  std::vector<const column *> read() const override { return {}; }
  void go_to(size_t batch) override { source_->go_to(batch); }
  std::unique_ptr<group_input> another() const override {
    return std::make_unique<hashed_groups>(source_->another(), columns_, added_);
  }
  uint32_t group_of(const group_input &there, uint32_t group) override;
  const uint32_t *groups() const override { return columns_.empty() ? nullptr : group_of_row_.data(); }
  const numbers &operator[](size_t column) const override { return numbers_of_rows_[column]; }
  uint32_t group_count() const override { return columns_.empty() ? 1 : static_cast<uint32_t>(shown_.count()); }
  void show(uint32_t group, std::span<cell> out) const override;

private:
  void find_groups(row_block rows);
  uint32_t number_of(std::string_view key, std::span<const cell> values);

  struct hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::unique_ptr<batch_source> source_;
  std::vector<const column *> columns_;
  std::vector<number_column> added_;
  std::vector<numbers> numbers_of_rows_;
  std::unordered_map<std::string, uint32_t, hash, std::equal_to<>> group_of_key_;
  std::vector<std::string_view> key_of_group_;
  kept_rows shown_; // the values of each group
  std::vector<uint32_t> group_of_row_;
};

} // namespace store
