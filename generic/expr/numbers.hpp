// The stored forms of numbers, each as a reader of element i of an array.
//
// native      an IEEE 754 value in the byte order of the processor
// canonical   an IEEE 754 value, most significant byte first, whose bytes sort like the values: the top bit of a value
//             that is not negative is set, all bits of a negative value are inverted
// dsb         a signed integer, most significant byte first
#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL::expr {

// A sum of partial_rows numbers fits the type of a partial sum.  A narrow type takes less of a vector.  A sum of floats
// has no parts, since its order counts.
template <class Float>
struct float_sum {
  using number = Float;
  using partial_sum = Float;
  static constexpr uint32_t partial_rows = UINT32_MAX;
};

template <class Float>
struct native_numbers : float_sum<Float> {
  static constexpr bool is_canonical = false;

  static Float at(const uint8_t *vals, uint64_t index) { return load<Float>(vals, index); }
};

template <class Float>
struct canonical_numbers : float_sum<Float> {
  static constexpr bool is_canonical = true;
  using bits = std::conditional_t<sizeof(Float) == 4, uint32_t, uint64_t>;

  static Float at(const uint8_t *vals, uint64_t index) {
    constexpr unsigned top = 8 * sizeof(bits) - 1;
    const bits stored = load_big<bits>(vals + index * sizeof(bits));
    // The top bit, and all other bits when it is clear in the stored value.  Signs are not predictable, so there is no
    // branch.
    const bits inverted = bits{1} << top | (0 - (~stored >> top));
    return std::bit_cast<Float>(stored ^ inverted);
  }
};

// The numbers are returned as unsigned, since sums wrap around.
template <class Signed>
struct dsb_numbers {
  using number = uint64_t;
  static constexpr bool is_canonical = false;
  using partial_sum =
      std::conditional_t<sizeof(Signed) == 1, int16_t, std::conditional_t<sizeof(Signed) == 2, int32_t, uint64_t>>;
  static constexpr uint32_t partial_rows = sizeof(Signed) == 1 ? 128 : sizeof(Signed) == 2 ? 32768 : UINT32_MAX;

  static uint64_t at(const uint8_t *vals, uint64_t index) {
    const auto stored = load_big<std::make_unsigned_t<Signed>>(vals + index * sizeof(Signed));
    return static_cast<uint64_t>(static_cast<int64_t>(static_cast<Signed>(stored)));
  }
};

} // namespace vorn::inline VORN_LEVEL::expr
