// What the encoders share: big-endian output, and the widths of values.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <vorn/encode.h>

namespace vornenc {

// The writers below swap the bytes of a number.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);

inline constexpr uint64_t most_stream_bytes = UINT32_MAX;

inline void put_16(void *at, uint16_t number) {
  number = __builtin_bswap16(number);
  std::memcpy(at, &number, sizeof number);
}
inline void put_32(void *at, uint32_t number) {
  number = __builtin_bswap32(number);
  std::memcpy(at, &number, sizeof number);
}
inline void put_64(void *at, uint64_t number) {
  number = __builtin_bswap64(number);
  std::memcpy(at, &number, sizeof number);
}

// The largest number of a width from 1 to 64.
constexpr uint64_t largest(uint32_t width) { return ~uint64_t{0} >> (64 - width); }

constexpr bool is_value_width(uint32_t width) { return width >= 8 && width <= 64 && width % 8 == 0; }
constexpr bool is_class(uint32_t width) { return width == 16 || width == 32 || width == 64; }

// The bytes of the class of a value, and the bits of its length code.
constexpr uint32_t class_bytes(uint32_t width) { return width <= 16 ? 2 : width <= 32 ? 4 : 8; }
constexpr uint32_t length_code_bits(uint32_t width) { return class_bytes(width) / 2; }

inline void clear_slack(uint8_t *end) { std::memset(end, 0, VORNENC_SLACK); }

} // namespace vornenc
