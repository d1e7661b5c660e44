// Values as byte strings, where they are: a pointer and a length each.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "store/library/row_vector.hpp"
#include "store/value/value.hpp"

namespace store {

// Values of one kind are equal, as SQL compares them, where their key bytes are: the bytes of a dictionary's symbol,
// but for -0, which equals 0.
std::string_view key_bytes(std::string_view symbol, value_kind kind);

class value_bytes {
public:
  void clear();
  // Bytes that stay where they are.
  void add(std::string_view bytes);

  // The symbols that a dictionary would have for these values, NULL being empty.  What is no text is kept here.
  void assign(std::span<const cell> cells);
  // The same as key bytes.
  void assign_keys(std::span<const cell> cells, value_kind kind);

  size_t size() const { return lengths_.size(); }
  std::string_view operator[](size_t index) const { return {pointers_[index], lengths_[index]}; }
  row_vector vector() const {
    return {vorn_build_encoding_type_lp_sep, pointers_.data(), lengths_.data(), lengths_.size()};
  }

private:
  std::vector<const char *> pointers_;
  std::vector<uint16_t> lengths_;
  std::vector<wide_key> kept_;
};

} // namespace store
