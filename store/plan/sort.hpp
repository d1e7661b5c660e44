// Rows in the order of some of their columns: keeps all of its source before it gives the first.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/kept_rows.hpp"

namespace store {

struct sort_key {
  size_t column;
  value_kind kind;
  bool descending = false;
};

// -1, 0 or 1 as a value is smaller than another of its kind, equal or larger, as SQL compares them: -0 equals 0.
int order_of(const cell &a, const cell &b, value_kind kind);

class sorted_rows final : public row_source {
public:
  // Rows that no key tells apart keep their order.  NULL comes last, whatever the direction.  Shows the first columns
  // of the source; those behind them are only sorted by.
  sorted_rows(std::unique_ptr<row_source> source, std::vector<sort_key> keys, size_t columns, size_t shown);

  uint64_t next() override;
  row_block rows() const override { return blocks; }

private:
  void sort();
  bool is_before(uint64_t a, uint64_t b) const;

  std::unique_ptr<row_source> source; // none once it is read
  std::vector<sort_key> keys;
  kept_rows kept;
  std::vector<uint64_t> order;
  size_t given = 0;
  std::vector<std::vector<cell>> cells;
  std::vector<std::span<const cell>> blocks;
};

} // namespace store
