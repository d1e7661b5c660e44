#include "store/encode/packing.hpp"

#include <algorithm>
#include <bit>

#include "store/error.hpp"

namespace store {

uint32_t least_width(uint64_t count) {
  if (count > uint64_t{1} << 32)
    throw error("a column has more than 2^32 distinct values");
  const auto needed = std::max(1U, static_cast<uint32_t>(std::bit_width(count == 0 ? 0 : count - 1)));
  return needed <= 20 ? needed : needed <= 24 ? 24 : 32;
}

vorn_host::aligned_vector<uint8_t> packed(std::span<const uint32_t> codes, uint32_t width) {
  vorn_host::aligned_vector<uint8_t> stream((codes.size() * width + 7) / 8 + vorn_host::cache_line);
  // The bits that do not make up a byte yet wait at the low end of `pending`.
  uint64_t pending = 0;
  uint32_t waiting = 0;
  uint8_t *out = stream.data();
  for (uint32_t code : codes) {
    pending = pending << width | code;
    waiting += width;
    for (; waiting >= 8; waiting -= 8)
      *out++ = static_cast<uint8_t>(pending >> (waiting - 8));
  }
  if (waiting != 0)
    *out = static_cast<uint8_t>(pending << (8 - waiting));
  return stream;
}

} // namespace store
