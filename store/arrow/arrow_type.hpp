// The type of an Arrow column: the layout of its arrays, and the type of its values in the store.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "store/value/value.hpp"
#include <vorn/store/arrow_interface.h>

namespace store {

// How the values of an array lie in its buffers.
enum class arrow_layout {
  nulls, // no values and no buffers
  bits,
  truth_bytes, // 0 is false
  int8,
  uint8,
  int16,
  uint16,
  int32,
  uint32,
  int64,
  uint64,
  float32,
  float64,
  int128,
  fixed_bytes,
  offsets32, // bytes back to back, and where the bytes of a value begin
  offsets64,
  views // the bytes of a value or, when there are more than 12, where they are
};

struct arrow_type {
  arrow_layout layout = arrow_layout::nulls;
  std::string sql_type; // the type in the store
  int32_t fixed_bytes = 0;

  // The key is the number in the array, times `multiplier`, divided by `divisor`.  The interface promises that the key
  // is a whole number within these bounds.
  int64_t multiplier = 1;
  int64_t divisor = 1;
  __int128 low = std::numeric_limits<int64_t>::min();
  __int128 high = std::numeric_limits<int64_t>::max();

  // Is every number its own key?
  bool is_plain_key() const {
    return multiplier == 1 && divisor == 1 && low == std::numeric_limits<int64_t>::min() &&
           high == std::numeric_limits<int64_t>::max();
  }
};

// A column.  Its values may be indexes of a dictionary, and may come in runs.
struct arrow_field {
  std::string name;
  std::optional<arrow_layout> run_ends;
  std::optional<arrow_layout> index;
  arrow_type values;
};

// Throws store::error for a column of a type that the store does not encode, such as a nested one, and for a schema
// that contradicts itself.
arrow_field field_of(const ArrowSchema &schema);

// The reverse: the format and the metadata of a column of the store.  A decimal number has as many digits as its bytes
// can hold.  Timestamps are in microseconds or nanoseconds.
std::string format_of(const column_type &type);
std::string metadata_of(const column_type &type);

} // namespace store
