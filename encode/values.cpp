// Fixed and dynamic-packed values, and length codes.
#include "encode/output.hpp"

namespace {

using namespace vornenc;

// The number of stored bytes of a value: the number that the caller wants, or all bytes up to the last nonzero byte.
uint32_t stored_bytes(const uint64_t *values, const uint8_t *lengths, uint32_t row, uint32_t width) {
  if (lengths != nullptr)
    return lengths[row];
  const uint64_t value = values[row];
  return value == 0 ? 1 : width / 8 - static_cast<uint32_t>(__builtin_ctzll(value)) / 8;
}

bool are_lengths(const uint8_t *lengths, uint32_t nrows, uint32_t most) {
  bool fit = true;
  for (uint32_t row = 0; row < nrows; ++row)
    fit = fit && lengths[row] >= 1 && lengths[row] <= most;
  return fit;
}

// A length code is the number of bytes minus 1.
template <class Bytes>
void put_length_codes(void *lens, uint32_t nrows, uint32_t width, Bytes bytes) {
  const uint32_t bits = length_code_bits(width);
  auto *next = static_cast<uint8_t *>(lens);
  uint32_t pending = 0;
  uint32_t waiting = 0;
  for (uint32_t row = 0; row < nrows; ++row) {
    pending = pending << bits | (bytes(row) - 1);
    waiting += bits;
    if (waiting == 8) {
      *next++ = static_cast<uint8_t>(pending);
      waiting = 0;
    }
  }
  if (waiting != 0)
    *next = static_cast<uint8_t>(pending << (8 - waiting));
}

} // namespace

size_t vornenc_fixed_bytes(uint32_t nrows, uint32_t width) {
  return is_value_width(width) ? size_t{nrows} * (width / 8) + VORNENC_SLACK : 0;
}

uint32_t vornenc_pack_fixed(void *out, size_t out_bytes, const uint64_t *values, uint32_t nrows, uint32_t width) {
  if (!is_value_width(width))
    return VORNENC_BAD_WIDTH;
  if (out_bytes < vornenc_fixed_bytes(nrows, width))
    return VORNENC_NO_ROOM;
  uint64_t bits_of_all = 0;
  for (uint32_t row = 0; row < nrows; ++row)
    bits_of_all |= values[row];
  if (bits_of_all > largest(width))
    return VORNENC_TOO_WIDE;
  // Eight bytes are written for each value.  The next value overwrites the surplus, and the slack takes the last
  // surplus.
  auto *next = static_cast<uint8_t *>(out);
  for (uint32_t row = 0; row < nrows; ++row) {
    put_64(next, values[row] << (64 - width));
    next += width / 8;
  }
  clear_slack(next);
  return VORNENC_DONE;
}

size_t vornenc_lens_bytes(uint32_t nrows, uint32_t width) {
  return is_value_width(width) && width != 8 ? (size_t{nrows} * length_code_bits(width) + 7) / 8 : 0;
}

uint32_t vornenc_pack_lens(void *lens, size_t lens_bytes, const uint8_t *lengths, uint32_t nrows, uint32_t width) {
  if (!is_value_width(width) || width == 8)
    return VORNENC_BAD_WIDTH;
  if (lens_bytes < vornenc_lens_bytes(nrows, width))
    return VORNENC_NO_ROOM;
  if (!are_lengths(lengths, nrows, class_bytes(width)))
    return VORNENC_TOO_WIDE;
  put_length_codes(lens, nrows, width, [=](uint32_t row) { return uint32_t{lengths[row]}; });
  return VORNENC_DONE;
}

size_t vornenc_dynp_bytes(const uint64_t *values, const uint8_t *lengths, uint32_t nrows, uint32_t width) {
  if (!is_class(width) || (lengths != nullptr && !are_lengths(lengths, nrows, width / 8)))
    return 0;
  uint64_t bytes = 0;
  for (uint32_t row = 0; row < nrows; ++row)
    bytes += stored_bytes(values, lengths, row, width);
  return bytes <= most_stream_bytes ? bytes + VORNENC_SLACK : 0;
}

uint32_t vornenc_pack_dynp(void *out, size_t out_bytes, void *lens, size_t lens_bytes, const uint64_t *values,
                           const uint8_t *lengths, uint32_t nrows, uint32_t width) {
  if (!is_class(width))
    return VORNENC_BAD_WIDTH;
  if (lengths != nullptr && !are_lengths(lengths, nrows, width / 8))
    return VORNENC_TOO_WIDE;
  uint64_t bits_of_all = 0;
  bool are_cut = false;
  for (uint32_t row = 0; row < nrows; ++row) {
    bits_of_all |= values[row];
    are_cut = are_cut || (lengths != nullptr && values[row] << (64 - width) << (8 * (lengths[row] - 1)) << 8 != 0);
  }
  if (bits_of_all > largest(width) || are_cut)
    return VORNENC_TOO_WIDE;
  const size_t bytes = vornenc_dynp_bytes(values, lengths, nrows, width);
  if (bytes == 0)
    return VORNENC_TOO_MANY;
  if (out_bytes < bytes || lens_bytes < vornenc_lens_bytes(nrows, width))
    return VORNENC_NO_ROOM;

  // As in vornenc_pack_fixed, surplus bytes are overwritten.
  auto *next = static_cast<uint8_t *>(out);
  put_length_codes(lens, nrows, width, [&](uint32_t row) {
    put_64(next, values[row] << (64 - width));
    const uint32_t length = stored_bytes(values, lengths, row, width);
    next += length;
    return length;
  });
  clear_slack(next);
  return VORNENC_DONE;
}
