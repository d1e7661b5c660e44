// The constant tables that libvorn exports for its host.  The exported names are C arrays, and no function can return
// an array.  So the exported names are aliases of objects that are computed here.
#include <array>
#include <bit>

#include "frame/vorn.h"
#include "generic/scan/dynp_lengths.hpp"

namespace {

consteval std::array<uint8_t, 256> byte_popcounts() {
  std::array<uint8_t, 256> counts = {};
  for (unsigned byte = 0; byte < counts.size(); ++byte)
    counts[byte] = static_cast<uint8_t>(std::popcount(byte));
  return counts;
}

} // namespace

#define VORN_ALIAS(built) __attribute__((alias(#built)))

extern "C" constinit const auto vorn_built_popcounts = byte_popcounts();
extern "C" const uint8_t vorn_byte_popc[256] VORN_ALIAS(vorn_built_popcounts);

extern "C" constinit const auto vorn_built_lengths2 = vorn::length_consumed<16>;
extern "C" constinit const auto vorn_built_lengths4 = vorn::length_consumed<32>;
extern "C" constinit const auto vorn_built_lengths8 = vorn::length_consumed<64>;
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth2[256] VORN_ALIAS(vorn_built_lengths2);
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth4[256] VORN_ALIAS(vorn_built_lengths4);
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth8[256] VORN_ALIAS(vorn_built_lengths8);
