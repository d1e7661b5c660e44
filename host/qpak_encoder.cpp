// Encoder of block-compressed streams.
#include "host/qpak_encoder.hpp"
#include "host/qpak_format.hpp"

#include <cstring>
#include <limits>
#include <lz4.h>
#include <stdexcept>

namespace vorn_host {

using namespace qpak;

namespace {

// Appends the stored form of one block to the stream and fills its directory entry.
void append_block(std::vector<uint8_t> &stream, size_t block, const uint8_t *raw, uint32_t raw_size) {
  // Room for one byte less than the raw data: a block that does not shrink is stored as it is.
  const size_t begin = stream.size();
  stream.resize(begin + raw_size);
  const int shrunk =
      LZ4_compress_default(reinterpret_cast<const char *>(raw), reinterpret_cast<char *>(stream.data() + begin),
                           static_cast<int>(raw_size), static_cast<int>(raw_size) - 1);
  uint32_t stored = static_cast<uint32_t>(shrunk);
  if (shrunk <= 0) {
    std::memcpy(stream.data() + begin, raw, raw_size);
    stored = raw_size | stored_raw;
  }
  stream.resize(begin + (stored & ~stored_raw));

  uint8_t *entry = stream.data() + directory_at + block * entry_size;
  store_u32(entry, stored);
  store_u32(entry + entry_check_at, check_of(raw, raw_size, block));
}

} // namespace

std::vector<uint8_t> qpak_encode(const void *data, size_t size) {
  constexpr size_t limit = std::numeric_limits<uint32_t>::max();
  if (size > limit)
    throw std::length_error("qpak_encode: data does not fit 32 bits");
  const uint32_t raw_size = static_cast<uint32_t>(size);
  const size_t blocks = block_count(raw_size, usual_block_size);
  const uint8_t *raw = static_cast<const uint8_t *>(data);

  std::vector<uint8_t> stream(directory_at + blocks * entry_size);
  for (size_t block = 0; block < blocks; ++block)
    append_block(stream, block, raw + block * usual_block_size, raw_block_size(raw_size, usual_block_size, block));
  if (stream.size() > limit)
    throw std::length_error("qpak_encode: stream does not fit 32 bits");

  uint8_t *header = stream.data();
  store_u32(header + magic_at, magic);
  store_u32(header + total_size_at, static_cast<uint32_t>(stream.size()));
  store_u32(header + raw_size_at, raw_size);
  store_u32(header + block_size_at, usual_block_size);
  store_u32(header + header_check_at, check_of(header, header_check_at, 0));
  store_u32(header + directory_check_at, check_of(header + directory_at, blocks * entry_size, 0));
  return stream;
}

} // namespace vorn_host
