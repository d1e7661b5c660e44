// An encoded column: a dictionary and one packed code per row, nothing else.
#pragma once

#include <cstdint>
#include <string>

#include "store/dictionary.hpp"
#include "store/packing.hpp"
#include "store/value.hpp"

namespace store {

struct column {
  std::string name;
  std::string sql_type;
  value_kind kind;
  bool has_nulls; // code 0 stands for NULL and the values' codes begin at 1
  dictionary values;
  packed_codes codes;
  uint64_t plain_bytes; // what the values would take in a plain array

  uint64_t encoded_bytes() const { return values.bytes() + codes.bytes(); }
  uint32_t first_code() const { return has_nulls ? 1 : 0; }
};

} // namespace store
