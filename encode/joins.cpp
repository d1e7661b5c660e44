// Sizes of hash tables, and bloom maps.
#include <algorithm>

#include "encode/output.hpp"

namespace {

using namespace vornenc;

constexpr uint64_t most_keys = uint64_t{1} << 48;

uint32_t bits_to_count(uint64_t count) {
  return count <= 1 ? 0 : static_cast<uint32_t>(64 - __builtin_clzll(count - 1));
}

uint32_t slots_of(uint32_t layout) {
  switch (layout) {
  case VORN_HT_K2V8:
    return 5;
  case VORN_HT_K2V4:
    return 9;
  case VORN_HT_K4V8:
    return 4;
  case VORN_HT_K4V4:
    return 6;
  default:
    return 0;
  }
}

// Buckets are filled to 3/10 to 6/10, since their number is a power of two.  With 5.4 keys for 9 slots on average, one
// bucket in 20 overflows; at 8/10 it would be one in 4, and most probes of 1024 rows would follow chains all the time.
uint32_t bits_of_buckets(uint64_t keys, uint32_t slots) { return bits_to_count(keys * 10 / (slots * 6) + 1); }

// Row numbers take 4 bytes as long as they fit.  A tag of 2 bytes makes room for half as many slots again as one of 4.
// By chance one key in 2^16 has the tag of another, so that with 5 keys in a bucket one row in 12,000 gets a candidate
// more to compare, which is nothing beside a table of two thirds the size.  Tags of 4 bytes are for comparisons that
// cost more than here, such as of keys on a disk.
uint32_t layout_of(uint64_t keys) { return keys <= uint64_t{1} << 32 ? VORN_HT_K2V4 : VORN_HT_K2V8; }

// A table that outgrows the second-level cache is built part by part.  A part takes half of the cache; the rest is for
// the records that are inserted.  The areas of many parts are as many places that are written in turn: beyond 256 the
// pages of the areas outnumber what the processor keeps of their addresses.
uint32_t partition_bits_of(uint64_t table_bytes, uint64_t cache_bytes) {
  constexpr uint32_t most = 8;
  const uint64_t part = std::max<uint64_t>(cache_bytes / 2, 1);
  return table_bytes <= cache_bytes ? 0 : std::min(most, bits_to_count((table_bytes + part - 1) / part));
}

constexpr bool is_map(uint32_t bits) { return bits >= 6 && bits <= 32; }

// The lower half of a hash value has the tag.  If the map asked it too, a row that passes by chance would find its tag
// in the table as well.
uint32_t asked_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }

} // namespace

uint32_t vornenc_size_table(vornenc_table_size *size, uint64_t keys, uint64_t cache_bytes) {
  const uint32_t layout = size->layout != 0 ? size->layout : layout_of(keys);
  const uint32_t slots = slots_of(layout);
  if (slots == 0)
    return VORNENC_BAD_WIDTH;
  if (keys >= most_keys)
    return VORNENC_TOO_MANY;
  const uint32_t bits = bits_of_buckets(keys, slots);
  const uint64_t table_bytes = uint64_t{VORNENC_BUCKET_BYTES} << bits;
  const uint32_t partition_bits =
      cache_bytes == 0 ? size->partition_bits : std::min(bits, partition_bits_of(table_bytes, cache_bytes));
  if (partition_bits > 16)
    return VORNENC_TOO_MANY;
  size->layout = layout;
  size->tag_bits = layout == VORN_HT_K2V4 || layout == VORN_HT_K2V8 ? 16 : 32;
  size->slots = slots;
  size->partition_bits = partition_bits;
  size->bucket_bits = bits - std::min(bits, partition_bits);
  // One bucket in 16 more covers the usual overflow.
  size->first_overflow = ((uint64_t{1} << size->bucket_bits) / 16) + 1;
  // The records of half a part are enough to find most buckets in the cache, brought there by earlier ones, and take
  // half the memory of all.  Nanoseconds a key for 10,000,000 keys in 128 parts: 39 with areas for a fifth of a part,
  // 33 with these, 29 with areas for all; 42 in one part.
  size->area_records = (keys >> partition_bits) / 2 + 1;
  return VORNENC_DONE;
}

// Half as much again keeps the grants few and leaves a third unused at the worst.
uint64_t vornenc_more_overflow(uint64_t granted) { return std::max<uint64_t>(granted / 2, 1); }

// A key sets one bit, so the bits are all there is to choose: in a map of m bits for n keys a row without a match
// passes with 1 - e^(-n/m).  10 to 20 bits a key let through 5 to 10 % of these rows, each for one useless look into
// the table, and take a fifth of its memory.  Half as many rows would cost twice the map.
uint32_t vornenc_bloom_bits(uint64_t keys) {
  return keys >= most_keys ? 32 : std::clamp(bits_to_count(10 * keys), 6U, 32U);
}

size_t vornenc_bloom_bytes(uint32_t bits) { return is_map(bits) ? size_t{1} << (bits - 3) : 0; }

uint32_t vornenc_bloom_add(void *map, size_t map_bytes, const uint64_t *hashes, uint64_t n, uint32_t bits) {
  if (!is_map(bits))
    return VORNENC_BAD_WIDTH;
  if (map_bytes < vornenc_bloom_bytes(bits))
    return VORNENC_NO_ROOM;
  auto *bytes = static_cast<uint8_t *>(map);
  for (uint64_t i = 0; i < n; ++i) {
    const auto bit = static_cast<uint32_t>(asked_of(hashes[i]) & largest(bits));
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | 1U << bit % 8);
  }
  return VORNENC_DONE;
}

uint32_t vornenc_bloom_keys(uint32_t *keys, size_t keys_bytes, const uint64_t *hashes, uint64_t n) {
  if (keys_bytes / sizeof *keys < n)
    return VORNENC_NO_ROOM;
  for (uint64_t i = 0; i < n; ++i)
    keys[i] = __builtin_bswap32(asked_of(hashes[i]));
  return VORNENC_DONE;
}
