// The population counts of all byte values.
#include <array>
#include <bit>
#include <cstdint>

#include "frame/vorn.h"

namespace {

consteval std::array<uint8_t, 256> byte_popcounts() {
  std::array<uint8_t, 256> counts = {};
  for (unsigned byte = 0; byte < counts.size(); ++byte)
    counts[byte] = static_cast<uint8_t>(std::popcount(byte));
  return counts;
}

} // namespace

// The exported name is a C array, which no function can return: it is an alias.
extern "C" constinit const auto vorn_byte_popcounts = byte_popcounts();
extern "C" const uint8_t vorn_byte_popc[256] __attribute__((alias("vorn_byte_popcounts")));
