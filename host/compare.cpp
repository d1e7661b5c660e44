// Comparison of bit vectors.
#include "host/state.hpp"

#include <algorithm>

using namespace vorn_host;

uint32_t vornt_compare_res(uint32_t, const uint64_t *a, const uint64_t *b, uint32_t nrows) {
  const uint32_t words = nrows / 64, tail = nrows % 64;
  bool equal = std::equal(a, a + words, b);
  if (equal && tail)
    equal = (a[words] ^ b[words]) << (64 - tail) == 0;
  record(adopted_environment(),
         {.service = "vornt_compare_res",
          .text = {},
          .values = {static_cast<const void *>(a), static_cast<const void *>(b), number(nrows), int32_t{equal}},
          .source = {}});
  return equal;
}
