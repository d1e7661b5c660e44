// Comparison of bit vectors.
#include "host/state.hpp"

#include <cstring>

using namespace vorn_host;

// A call with a vector that is not aligned is reported and may go on, so words are read at any address.
uint32_t vornt_compare_res(uint32_t, const uint64_t *a, const uint64_t *b, uint32_t nrows) {
  const auto word = [](const uint64_t *bv, uint32_t index) {
    uint64_t bits;
    std::memcpy(&bits, reinterpret_cast<const char *>(bv) + uint64_t{index} * sizeof bits, sizeof bits);
    return bits;
  };
  const uint32_t words = nrows / 64, tail = nrows % 64;
  bool equal = true;
  for (uint32_t i = 0; i < words && equal; ++i)
    equal = word(a, i) == word(b, i);
  if (equal && tail != 0)
    equal = (word(a, words) ^ word(b, words)) << (64 - tail) == 0;
  record(adopted_environment(),
         {.service = "vornt_compare_res",
          .text = {},
          .values = {static_cast<const void *>(a), static_cast<const void *>(b), number(nrows), int32_t{equal}},
          .source = {}});
  return equal;
}
