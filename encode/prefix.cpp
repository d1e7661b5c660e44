// Prefix groups.
#include <algorithm>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

// Calls with the first value of each group, the number of its values, and the bytes that they all begin with.
template <class Take>
void for_groups(const uint8_t *values, uint32_t value_bytes, uint32_t nrows, Take take) {
  for (uint32_t left = nrows; left != 0;) {
    const uint32_t count = std::min<uint32_t>(left, VORNENC_PREFIX_GROUP);
    uint32_t prefix = value_bytes;
    for (uint32_t i = 1; i < count; ++i) {
      const uint8_t *value = values + size_t{i} * value_bytes;
      uint32_t same = 0;
      while (same < prefix && value[same] == values[same])
        ++same;
      prefix = same;
    }
    take(values, count, prefix);
    values += size_t{count} * value_bytes;
    left -= count;
  }
}

} // namespace

size_t vornenc_prefix_bytes(const void *values, uint32_t value_bytes, uint32_t nrows) {
  if (value_bytes < 1 || value_bytes > 8)
    return 0;
  uint64_t bytes = 0;
  for_groups(static_cast<const uint8_t *>(values), value_bytes, nrows,
             [&](const uint8_t *, uint32_t count, uint32_t prefix) {
               bytes += 1 + prefix + uint64_t{count} * (value_bytes - prefix);
             });
  return bytes <= most_stream_bytes ? bytes + VORNENC_SLACK : 0;
}

uint32_t vornenc_pack_prefix(void *out, size_t out_bytes, uint32_t *offsets, size_t offsets_bytes, const void *values,
                             uint32_t value_bytes, uint32_t nrows) {
  if (value_bytes < 1 || value_bytes > 8)
    return VORNENC_BAD_WIDTH;
  const size_t bytes = vornenc_prefix_bytes(values, value_bytes, nrows);
  if (bytes == 0)
    return VORNENC_TOO_MANY;
  const uint64_t groups = (uint64_t{nrows} + VORNENC_PREFIX_GROUP - 1) / VORNENC_PREFIX_GROUP;
  if (out_bytes < bytes || offsets_bytes < groups * sizeof(uint32_t))
    return VORNENC_NO_ROOM;

  auto *const begin = static_cast<uint8_t *>(out);
  uint8_t *next = begin;
  for_groups(static_cast<const uint8_t *>(values), value_bytes, nrows,
             [&](const uint8_t *group, uint32_t count, uint32_t prefix) {
               put_32(offsets++, static_cast<uint32_t>(next - begin));
               *next++ = static_cast<uint8_t>(prefix);
               std::memcpy(next, group, prefix);
               next += prefix;
               for (uint32_t i = 0; i < count; ++i) {
                 std::memcpy(next, group + size_t{i} * value_bytes + prefix, value_bytes - prefix);
                 next += value_bytes - prefix;
               }
             });
  clear_slack(next);
  return VORNENC_DONE;
}
