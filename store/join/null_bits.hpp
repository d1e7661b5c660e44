// Which values of the rows of a join's second table are NULL, which a record has no length for.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "store/library/row_vector.hpp"
#include "store/value/value.hpp"

namespace store {

// A bit for each column of a row.
class null_bits {
public:
  explicit null_bits(size_t columns) : row_bytes_((columns + 7) / 8) {}

  void clear(size_t rows) { bits_.assign(rows * row_bytes_, 0); }
  void add(size_t column, std::span<const cell> cells) {
    for (size_t row = 0; row < cells.size(); ++row)
      if (std::holds_alternative<std::monostate>(cells[row])) {
        uint8_t &byte = bits_[row * row_bytes_ + column / 8];
        byte = static_cast<uint8_t>(byte | 1 << (column % 8));
      }
  }
  static bool contains(std::string_view field, size_t column) {
    return (static_cast<uint8_t>(field[column / 8]) >> (column % 8) & 1) != 0;
  }
  row_vector vector(size_t rows) const {
    return row_vector::fixed(static_cast<uint32_t>(8 * row_bytes_), bits_.data(), rows);
  }

private:
  size_t row_bytes_;
  std::vector<uint8_t> bits_;
};

} // namespace store
