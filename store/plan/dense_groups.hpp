// Groups of the rows of a table by columns with a dictionary: their codes make one small number, which is the group.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_cursor.hpp"
#include "store/decode/row_steps.hpp"
#include "store/encode/aligned.hpp"
#include "store/plan/code_key.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/number_reader.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

struct dense_settings {
  uint32_t most_groups = 1 << 20; // for which accumulators are kept
  uint32_t room = 4096;           // keys that a call of the library has room for
};

class dense_groups final : public group_input {
public:
  // Can rows be grouped so?
  static bool serves(const vorn_ctx &ctx, std::span<const column *const> columns, const dense_settings &settings);

  // Context and columns outlive this.  `walked` is any column of the table.  Without columns there is one group.
  // Without a selection all rows are grouped.
  dense_groups(const vorn_ctx &ctx, const column &walked, std::span<const column *const> columns,
               std::span<const number_column> added, std::shared_ptr<const selection> selected,
               const dense_settings &settings);
  dense_groups(const dense_groups &) = delete;

  uint32_t next() override;
  const char *method() const override { return "dense keys"; }
  bool calls_groupkey() const override { return !unpackers.empty(); }
  std::vector<const column *> read() const override;
  void go_to(size_t batch) override;
  std::unique_ptr<group_input> another() const override { return copy(); }
  std::unique_ptr<dense_groups> copy() const;
  const uint32_t *groups() const override { return unpackers.empty() ? nullptr : keys.data(); }
  const numbers &operator[](size_t column) const override { return readers[column].current(); }
  uint32_t group_count() const override { return count; }
  void show(uint32_t group, std::span<cell> out) const override { key.show(group, out); }

  // All of them; null for those of the table.
  const std::shared_ptr<const selection> &rows() const { return selected; }

private:
  static std::optional<uint32_t> key_space(const vorn_ctx &ctx, std::span<const column *const> columns);
  void make_keys(uint32_t rows);

  const vorn_ctx &ctx;
  dense_settings settings;
  const column &walked;
  code_key key;
  std::vector<number_column> added;
  std::shared_ptr<const selection> selected;
  row_steps steps;
  row_cursor cursor;
  std::deque<code_unpacker> unpackers;
  std::vector<vorn_cv> packed; // their codes in this batch
  std::deque<number_reader> readers;
  uint32_t count = 1;

  // The keys of a step, and where the next one begins in its batch.
  aligned_vector<uint32_t> keys;
  aligned_vector<uint32_t> scratch;
  uint32_t next_row = 0;
};

} // namespace store
