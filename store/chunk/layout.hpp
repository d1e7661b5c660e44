// How the values of a column lie in the chunks of an operator.  An operator knows the layouts of its columns before it
// runs.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "store/chunk/coded_values.hpp"
#include "store/logical/expression.hpp"

namespace store::exec {

enum class representation {
  codes,   // uint32_t: codes of a sorted dictionary, in the order of the values
  int64,   // booleans as 0 and 1, integers and decimal numbers of up to 64 bits with a sign, dates, times, timestamps
  int128,  // all other integers and decimal numbers, and UUIDs by their order
  float64, // DOUBLE, and FLOAT widened
  text,    // std::string_view: texts and blobs
};

// The representation of the values of a type that are not codes.
constexpr representation plain_representation(const column_type &type) {
  if (type.is_bytes())
    return representation::text;
  if (type.is_real())
    return representation::float64;
  return type.is_wide() || type.kind == value_kind::natural ? representation::int128 : representation::int64;
}

struct number_bounds {
  __int128 low;
  __int128 high;

  friend bool operator==(const number_bounds &, const number_bounds &) = default;
};

struct layout {
  logical::sql_type type;
  // The representation may be narrower than the type's: a DECIMAL(38,2) whose bounds allow it is int64.
  representation form = representation::int64;
  std::shared_ptr<const coded_values> entries = {}; // of codes
  bool has_nulls = true;                            // perhaps
  // All integers, and the values of all codes of integers, lie within these bounds.
  std::optional<number_bounds> bounds = {};
  // An upper bound of the number of distinct values; empty when it is not known.
  std::optional<uint64_t> distinct = {};

  const column_type &held() const { return *type.held; }
};

} // namespace store::exec
