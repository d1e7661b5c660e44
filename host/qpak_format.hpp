// The stored form of a block-compressed stream.
//
//     offset      bytes  content
//     0           4      magic, the letters "qpak"
//     4           4      size of the whole stream
//     8           4      size of the raw data
//     12          4      size of a block of raw data; the last one may be shorter
//     16          4      check of the bytes 0 to 15
//     20          4      check of the directory
//     24          8 * n  directory: for each of the n = ceil(raw size / block size) blocks
//                        4  stored size; the top bit says that the block is stored as it is, not as LZ4
//                        4  check of the block's raw data
//     24 + 8 * n         the stored blocks, back to back, up to the end of the stream
//
// Numbers are little-endian.  A check is the low half of vorn_host_hash; its seed is the number of the block, 0 for
// header and directory.  A reader does not know the length of its input.  The check of the header is at a fixed place,
// so a reader finds a damaged size before it uses the size.  Blocks are independent of each other.
#pragma once

#include "host/hash.h"

#include <cstddef>
#include <cstdint>

namespace vorn_host::qpak {

inline constexpr uint32_t magic = 0x6b617071;

inline constexpr size_t magic_at = 0;
inline constexpr size_t total_size_at = 4;
inline constexpr size_t raw_size_at = 8;
inline constexpr size_t block_size_at = 12;
inline constexpr size_t header_check_at = 16;
inline constexpr size_t directory_check_at = 20;
inline constexpr size_t directory_at = 24;
inline constexpr size_t entry_size = 8;
inline constexpr size_t entry_check_at = 4;

inline constexpr uint32_t stored_raw = 0x80000000;

// The block size of the encoder.  A block stays in the second-level cache.
inline constexpr uint32_t usual_block_size = 64 * 1024;
// The largest block size that the decoder accepts.
inline constexpr uint32_t largest_block_size = 1 << 30;

inline uint32_t load_u32(const uint8_t *at) {
  return uint32_t{at[0]} | uint32_t{at[1]} << 8 | uint32_t{at[2]} << 16 | uint32_t{at[3]} << 24;
}

inline void store_u32(uint8_t *at, uint32_t number) {
  for (int byte = 0; byte < 4; ++byte)
    at[byte] = static_cast<uint8_t>(number >> (8 * byte));
}

inline uint32_t check_of(const uint8_t *data, size_t size, uint64_t seed) {
  return static_cast<uint32_t>(vorn_host_hash(data, size, seed));
}

inline size_t block_count(uint32_t raw_size, uint32_t block_size) {
  return raw_size / block_size + (raw_size % block_size != 0);
}

inline uint32_t raw_block_size(uint32_t raw_size, uint32_t block_size, size_t block) {
  const size_t left = raw_size - block * block_size;
  return left < block_size ? static_cast<uint32_t>(left) : block_size;
}

} // namespace vorn_host::qpak
