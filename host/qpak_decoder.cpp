// Decoder of block-compressed streams.  The decoder does not know where its input ends, so it uses a number of the
// stream only after the check that covers the number.
#include "host.h"
#include "host/qpak_encoder.hpp"
#include "host/qpak_format.hpp"

#include <cstring>
#include <lz4.h>

using namespace vorn_host::qpak;

namespace {

struct header {
  uint32_t total_size;
  uint32_t raw_size;
  uint32_t block_size;
};

bool read_header(const uint8_t *stream, header &result) {
  if (load_u32(stream + magic_at) != magic ||
      load_u32(stream + header_check_at) != check_of(stream, header_check_at, 0))
    return false;
  result = {load_u32(stream + total_size_at), load_u32(stream + raw_size_at), load_u32(stream + block_size_at)};
  return result.block_size != 0 && result.block_size <= largest_block_size;
}

// Writes at most raw_size bytes.
bool decode_block(const uint8_t *stored, uint32_t stored_size, bool is_raw, uint8_t *raw, uint32_t raw_size) {
  if (is_raw) {
    if (stored_size != raw_size)
      return false;
    std::memcpy(raw, stored, raw_size);
    return true;
  }
  const int decoded = LZ4_decompress_safe(reinterpret_cast<const char *>(stored), reinterpret_cast<char *>(raw),
                                          static_cast<int>(stored_size), static_cast<int>(raw_size));
  return decoded >= 0 && static_cast<uint32_t>(decoded) == raw_size;
}

bool decode(const uint8_t *stream, uint8_t *out, uint32_t outsize) {
  header head = {};
  if (!read_header(stream, head) || head.raw_size != outsize)
    return false;
  const size_t blocks = block_count(head.raw_size, head.block_size);
  size_t position = directory_at + blocks * entry_size;
  if (position > head.total_size ||
      load_u32(stream + directory_check_at) != check_of(stream + directory_at, blocks * entry_size, 0))
    return false;

  for (size_t block = 0; block < blocks; ++block) {
    const uint8_t *entry = stream + directory_at + block * entry_size;
    const uint32_t stored = load_u32(entry);
    const uint32_t stored_size = stored & ~stored_raw;
    uint8_t *raw = out + block * head.block_size;
    const uint32_t raw_size = raw_block_size(head.raw_size, head.block_size, block);
    if (stored_size > head.total_size - position ||
        !decode_block(stream + position, stored_size, (stored & stored_raw) != 0, raw, raw_size) ||
        check_of(raw, raw_size, block) != load_u32(entry + entry_check_at))
      return false;
    position += stored_size;
  }
  return position == head.total_size;
}

} // namespace

uint32_t vorn_host::qpak_stream_size(const void *data, size_t size) {
  header head = {};
  return size >= directory_at && read_header(static_cast<const uint8_t *>(data), head) ? head.total_size : 0;
}

uint32_t qpak_decode(void *, void *, const void *in, void *out, uint32_t *outlen, uint32_t outsize, uint64_t, uint64_t,
                     uint64_t) {
  if (!decode(static_cast<const uint8_t *>(in), static_cast<uint8_t *>(out), outsize))
    return 1;
  *outlen = outsize;
  return 0;
}
