// Rows that outlive the step that gave them, with the bytes of their texts.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "store/decode/row_source.hpp"

namespace store {

class kept_rows {
public:
  explicit kept_rows(size_t columns) : cells_(columns) {}

  void add(row_block rows);
  void add(std::span<const cell> row); // a cell of each column

  uint64_t count() const { return cells_.front().size(); }
  const std::vector<cell> &column(size_t index) const { return cells_[index]; }

  friend bool operator==(const kept_rows &a, const kept_rows &b) { return a.cells_ == b.cells_; }

private:
  cell kept(const cell &c);

  std::vector<std::vector<cell>> cells_; // of at least one column
  std::vector<std::unique_ptr<char[]>> blocks_;
  size_t free_ = 0; // bytes of the last block
};

} // namespace store
