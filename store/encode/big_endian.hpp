// Numbers with their most significant byte first, as all stored data has them.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace store {

static_assert(std::endian::native == std::endian::little);

constexpr uint16_t big_endian(uint16_t number) { return __builtin_bswap16(number); }
constexpr uint32_t big_endian(uint32_t number) { return __builtin_bswap32(number); }
constexpr uint64_t big_endian(uint64_t number) { return __builtin_bswap64(number); }

// Reads a number of up to 8 bytes.
inline uint64_t read_big_endian(const uint8_t *bytes, uint32_t count) {
  uint64_t number = 0;
  for (uint32_t i = 0; i < count; ++i)
    number = number << 8 | bytes[i];
  return number;
}

} // namespace store
