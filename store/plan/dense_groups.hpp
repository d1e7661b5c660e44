// Groups of the rows of a table by columns with a dictionary: their codes make one small number, which is the group.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/row_cursor.hpp"
#include "store/plan/coded_groups.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

struct dense_settings {
  uint32_t most_groups = 1 << 20; // for which accumulators are kept
  uint32_t room = 4096;           // keys that a call of the library has room for
};

class dense_groups final : public coded_groups {
public:
  // Can rows be grouped so?
  static bool serves(const vorn_ctx &ctx, std::span<const column *const> columns, const dense_settings &settings);

  // Context and columns outlive this.  `walked` is any column of the table.  Without columns there is one group.
  // Without a selection all rows are grouped.
  dense_groups(const vorn_ctx &ctx, const column &walked, std::span<const column *const> columns,
               std::span<const number_column> added, std::shared_ptr<const selection> selected,
               const dense_settings &settings);

  const char *method() const override { return "dense keys"; }
  bool calls_groupkey() const override { return !unpackers.empty(); }
  std::unique_ptr<group_input> another() const override { return copy(); }
  std::unique_ptr<dense_groups> copy() const;
  const uint32_t *groups() const override { return unpackers.empty() ? nullptr : keys_.data(); }
  uint32_t group_count() const override { return count_; }

private:
  static std::optional<uint32_t> key_space(const vorn_ctx &ctx, std::span<const column *const> columns);
  void find_groups(const row_steps::step &step) override;
  uint64_t key_of(uint32_t group) const override { return group; }
  void make_keys(uint32_t rows);

  dense_settings settings_;
  row_cursor cursor_;
  std::vector<vorn_cv> packed_; // the columns' codes in this batch
  uint32_t count_;

  // The keys of a step, and where the next one begins in its batch.
  vorn_host::aligned_vector<uint32_t> keys_;
  vorn_host::aligned_vector<uint32_t> scratch_;
  uint32_t next_row_ = 0;
};

} // namespace store
