// Floats as bits that are equal where the values are: -0 equals 0, and all NaNs are one.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace store::exec {

inline uint64_t bits_of(double value) {
  if (std::isnan(value))
    value = std::numeric_limits<double>::quiet_NaN();
  return std::bit_cast<uint64_t>(value == 0 ? 0.0 : value);
}

// Bits that sort as the values do, with NaN above infinity.  Neither 0 nor the largest number is a value.
inline uint64_t ordered_bits_of(double value) {
  const uint64_t bits = bits_of(value);
  return bits ^ ((bits >> 63) != 0 ? ~uint64_t{0} : uint64_t{1} << 63);
}

} // namespace store::exec
