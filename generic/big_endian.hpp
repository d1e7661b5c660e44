// Access to stored numbers, which are big-endian and not aligned.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

template <class T>
inline T load_big(const uint8_t *bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else if constexpr (sizeof(T) == 8)
    return __builtin_bswap64(value);
  else
    return value;
}

// A big-endian number of up to 8 bytes.
inline uint64_t read_big(const uint8_t *bytes, unsigned size) {
  uint64_t value = 0;
  for (unsigned i = 0; i < size; ++i)
    value = value << 8 | bytes[i];
  return value;
}

// The narrowest integer type of at least W bits.
template <unsigned W>
using lane = std::conditional_t<
    W <= 8, uint8_t,
    std::conditional_t<
        W <= 16, uint16_t,
        std::conditional_t<W <= 32, uint32_t, std::conditional_t<W <= 64, uint64_t, unsigned __int128>>>>;

} // namespace vorn::inline VORN_LEVEL
