// Packed codes: one big-endian bit string.
#include "encode/output.hpp"

namespace {

using namespace vornenc;

constexpr bool is_code_width(uint32_t width) { return width >= 1 && width <= 32; }

} // namespace

uint32_t vornenc_code_width(uint64_t ncodes) {
  if (ncodes > uint64_t{1} << 32)
    return 0;
  const auto needed = static_cast<uint32_t>(ncodes <= 2 ? 1 : 64 - __builtin_clzll(ncodes - 1));
  return needed <= 20 ? needed : needed <= 24 ? 24 : 32;
}

size_t vornenc_codes_bytes(uint32_t nrows, uint32_t width) {
  const uint64_t bits = uint64_t{nrows} * width;
  return is_code_width(width) && bits <= UINT32_MAX ? (bits + 7) / 8 + VORNENC_SLACK : 0;
}

uint32_t vornenc_pack_codes(void *out, size_t out_bytes, const uint32_t *codes, uint32_t nrows, uint32_t width) {
  if (!is_code_width(width))
    return VORNENC_BAD_WIDTH;
  const size_t bytes = vornenc_codes_bytes(nrows, width);
  if (bytes == 0)
    return VORNENC_TOO_MANY;
  if (out_bytes < bytes)
    return VORNENC_NO_ROOM;
  uint32_t bits_of_all = 0;
  for (uint32_t row = 0; row < nrows; ++row)
    bits_of_all |= codes[row];
  if (bits_of_all > largest(width))
    return VORNENC_TOO_WIDE;

  // The bits that are not written yet wait at the low end of `pending`.
  auto *next = static_cast<uint8_t *>(out);
  uint64_t pending = 0;
  uint32_t waiting = 0;
  for (uint32_t row = 0; row < nrows; ++row) {
    pending = pending << width | codes[row];
    waiting += width;
    if (waiting >= 32) {
      waiting -= 32;
      put_32(next, static_cast<uint32_t>(pending >> waiting));
      next += sizeof(uint32_t);
    }
  }
  // The slack has room for the bytes after the last bit.
  put_32(next, static_cast<uint32_t>(pending << (32 - waiting)));
  clear_slack(static_cast<uint8_t *>(out) + bytes - VORNENC_SLACK);
  return VORNENC_DONE;
}
