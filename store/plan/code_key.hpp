// The dictionary codes of several columns as the digits of one number, the first column's most significant.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/encode/column.hpp"
#include "store/value/value.hpp"

namespace store {

class code_key {
public:
  // Can values be told apart by their codes?  Columns outlive their key.
  static bool serves(std::span<const column *const> columns);

  explicit code_key(std::span<const column *const> columns) : digits_(columns.begin(), columns.end()) {}

  std::span<const column *const> columns() const { return digits_; }
  static uint64_t codes(const column &digit) { return std::get<dictionary>(digit.values).codes(); }

  // How many keys there are; nothing when 64 bits do not hold them.
  std::optional<uint64_t> space() const;

  // Where a key stands among all in the order of their values, NULL last.
  uint64_t place(uint64_t key) const;

  // The values of a key.
  void show(uint64_t key, std::span<cell> out) const;

private:
  std::vector<const column *> digits_;
};

} // namespace store
