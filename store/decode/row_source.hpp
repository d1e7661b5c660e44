// Where rows come from, some thousand at a time: a step of the plan of a query.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "store/decode/row_reader.hpp"
#include "store/value/value.hpp"

namespace store {

// A column of rows: what it is called, and of which type its cells are.
struct heading {
  std::string name;
  column_type type;
  bool is_rounded = false; // sums of reals, which depend on the order of the additions
};

// Some rows: the cells of each column, of which there are equally many.
using row_block = std::span<const std::span<const cell>>;

class row_source {
public:
  virtual ~row_source() = default;

  // Goes on to the next rows and says how many they are; none at the end.
  virtual uint64_t next() = 0;

  // Their cells, good until the next call.
  virtual row_block rows() const = 0;
};

// The selected rows of a table, all rows without a selection.
class table_scan final : public row_source {
public:
  // Context, columns, of which there is at least one, and selection outlive this.
  table_scan(const vorn_ctx &ctx, std::span<const column *const> columns, const selection *selected) {
    for (const column *c : columns)
      readers.emplace_back(ctx, *c, selected);
    cells.resize(columns.size());
  }

  uint64_t next() override {
    for (size_t c = 0; c < readers.size(); ++c)
      cells[c] = readers[c].next();
    return cells.front().size();
  }
  row_block rows() const override { return cells; }

private:
  std::vector<row_reader> readers;
  std::vector<std::span<const cell>> cells;
};

} // namespace store
