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
  size_t column = 0;
  value_kind kind = value_kind::integer;
  bool descending = false;
};

class sorted_rows final : public row_source {
public:
  // Rows that no key tells apart keep their order.  NULL comes last, whatever the direction.  Shows the first columns
  // of the source; those behind them are only sorted by.
  sorted_rows(std::unique_ptr<row_source> source, std::vector<sort_key> keys, size_t columns, size_t shown);

  uint64_t next() override;
  row_block rows() const override { return blocks_; }

private:
  // A row with what its cell of a column begins with, as a number that orders as it does.
  struct item {
    uint64_t begin;
    uint64_t row;
  };
  void sort();
  void sort(std::span<item> items, size_t index);

  std::unique_ptr<row_source> source_; // none once it is read
  std::vector<sort_key> keys_;
  kept_rows kept_;
  std::vector<item> order_;
  size_t given_ = 0;
  std::vector<std::vector<cell>> cells_;
  std::vector<std::span<const cell>> blocks_;
};

} // namespace store
