// Prefix groups.
#include <algorithm>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

// Values of 1 to 8 bytes, one after another.  A value is read as a number whose lowest byte is the first one.
class values_in_memory {
public:
  values_in_memory(const void *values, uint32_t value_bytes, uint32_t count)
      : next_(static_cast<const uint8_t *>(values)), end_(next_ + size_t{value_bytes} * count),
        value_bytes_(value_bytes) {}

  uint32_t left() const { return static_cast<uint32_t>((end_ - next_) / value_bytes_); }

  // Bits above the value have no meaning.
  uint64_t next() {
    uint64_t number = 0;
    if (end_ - next_ >= 8)
      std::memcpy(&number, next_, 8);
    else
      std::memcpy(&number, next_, value_bytes_);
    next_ += value_bytes_;
    return number;
  }

private:
  const uint8_t *next_;
  const uint8_t *end_;
  uint32_t value_bytes_;
};

// Calls a function with the values from a group on, the number of its values, and the number of bytes that all of them
// begin with.
template <class Take>
void for_groups(values_in_memory values, uint32_t value_bytes, Take take) {
  while (values.left() != 0) {
    const values_in_memory group = values;
    const uint32_t count = std::min<uint32_t>(values.left(), VORNENC_PREFIX_GROUP);
    const uint64_t first = values.next();
    uint64_t different = 0;
    for (uint32_t i = 1; i < count; ++i)
      different |= values.next() ^ first;
    different &= largest(8 * value_bytes);
    take(group, count, different == 0 ? value_bytes : static_cast<uint32_t>(__builtin_ctzll(different)) / 8);
  }
}

} // namespace

size_t vornenc_prefix_bytes(const void *values, uint32_t value_bytes, uint32_t nrows) {
  if (value_bytes < 1 || value_bytes > 8)
    return 0;
  uint64_t bytes = 0;
  for_groups({values, value_bytes, nrows}, value_bytes, [&](const values_in_memory &, uint32_t count, uint32_t prefix) {
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

  // Eight bytes are written each time.  The next bytes overwrite the surplus, and the slack takes the last surplus.
  auto *const begin = static_cast<uint8_t *>(out);
  uint8_t *next = begin;
  for_groups({values, value_bytes, nrows}, value_bytes, [&](values_in_memory group, uint32_t count, uint32_t prefix) {
    put_32(offsets++, static_cast<uint32_t>(next - begin));
    *next++ = static_cast<uint8_t>(prefix);
    const uint64_t shared = values_in_memory(group).next();
    std::memcpy(next, &shared, sizeof shared);
    next += prefix;
    for (uint32_t i = 0; i < count; ++i, next += value_bytes - prefix) {
      const uint64_t value = group.next();
      const uint64_t rest = prefix == 8 ? 0 : value >> 8 * prefix;
      std::memcpy(next, &rest, sizeof rest);
    }
  });
  clear_slack(next);
  return VORNENC_DONE;
}
