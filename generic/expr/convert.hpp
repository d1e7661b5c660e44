// Conversion of stored numbers to native numbers.
#pragma once

#include "generic/expr/numbers.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// Converts one number after the other.  An engine of a level may replace it.
struct single_numbers {
  template <class Numbers>
  static void decode(uint8_t *out, const uint8_t *vals, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i)
      store<typename Numbers::number>(out + uint64_t{i} * sizeof(typename Numbers::number), Numbers::at(vals, i));
  }
};

} // namespace vorn::inline VORN_LEVEL::expr
