// The length tables of the dynamic-packed form.
#include "generic/dynp_lengths.hpp"

#include <algorithm>
#include <array>

namespace {

// A row takes its code plus 1.  A pair of 4-bit codes of which one is no code counts as two rows of 8.
consteval std::array<uint8_t, 256> consumed(unsigned bits, unsigned max_width) {
  std::array<uint8_t, 256> bytes = {};
  for (unsigned byte = 0; byte < bytes.size(); ++byte) {
    const unsigned rows = 8 / bits;
    unsigned sum = rows;
    bool valid = true;
    for (unsigned shift = 0; shift < 8; shift += bits) {
      const unsigned code = byte >> shift & ((1U << bits) - 1);
      valid = valid && code < max_width;
      sum += code;
    }
    bytes[byte] = static_cast<uint8_t>(valid ? sum : rows * max_width);
  }
  return bytes;
}

} // namespace

// The exported names are C arrays, which no function can return: they are aliases.
extern "C" constinit const auto vorn_built_lengths2 = consumed(1, 2);
extern "C" constinit const auto vorn_built_lengths4 = consumed(2, 4);
extern "C" constinit const auto vorn_built_lengths8 = consumed(4, 8);
#define VORN_ALIAS(built) __attribute__((alias(#built)))
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth2[256] VORN_ALIAS(vorn_built_lengths2);
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth4[256] VORN_ALIAS(vorn_built_lengths4);
extern "C" const uint8_t vorn_length_consumed_dynp_8bit_idx_maxwidth8[256] VORN_ALIAS(vorn_built_lengths8);
