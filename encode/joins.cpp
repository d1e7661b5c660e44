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

// The number of buckets is a power of two, so 3/10 to 6/10 of the slots are filled.  With 5.4 keys for 9 slots on
// average, one bucket in 20 overflows.  At 8/10 one bucket in 4 would overflow, and most probes of 1,024 rows would
// follow chains.
uint32_t bits_of_buckets(uint64_t keys, uint32_t slots) { return bits_to_count(keys * 10 / (slots * 6) + 1); }

// Row numbers take 4 bytes if they fit.  With tags of 2 bytes a bucket has 1.5 times the slots of a bucket with tags of
// 4 bytes, so the table has two thirds of the size.  One key in 2^16 has the tag of another key by chance.  With 5 keys
// in a bucket, one row in 12,000 gets an additional candidate to compare.  Tags of 4 bytes are for expensive
// comparisons, such as comparisons of keys on a disk.
uint32_t layout_of(uint64_t keys) { return keys <= uint64_t{1} << 32 ? VORN_HT_K2V4 : VORN_HT_K2V8; }

// A table that is larger than the second-level cache is built in parts.  A part takes half of the cache.  The inserted
// records take the rest.  Each part has an area that is written in turn with the other areas.  With more than 256
// areas, the translation lookaside buffer would not hold their pages.
uint32_t partition_bits_of(uint64_t table_bytes, uint64_t cache_bytes) {
  constexpr uint32_t most = 8;
  const uint64_t part = std::max<uint64_t>(cache_bytes / 2, 1);
  return table_bytes <= cache_bytes ? 0 : std::min(most, bits_to_count((table_bytes + part - 1) / part));
}

constexpr bool is_map(uint32_t bits) { return bits >= 6 && bits <= 32; }

// The tag is in the lower half of a hash value.  The map uses the upper half.  Otherwise a row that passes the map by
// chance would also find its tag in the table.
uint32_t map_bits_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }

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
  // An area holds the records of half a part.  Then earlier records have brought most buckets into the cache, and the
  // areas take half of the memory of all records.  Nanoseconds a key for 10,000,000 keys in 128 parts: 39 with areas
  // for a fifth of a part, 33 with these, 29 with areas for all records; 42 with one part.
  size->area_records = (keys >> partition_bits) / 2 + 1;
  return VORNENC_DONE;
}

// Each grant adds half of the granted buckets.  So grants are few, and at most a third of the buckets stays unused.
uint64_t vornenc_more_overflow(uint64_t granted) { return std::max<uint64_t>(granted / 2, 1); }

// A key sets one bit, so only the size of the map can be chosen.  In a map of m bits for n keys, a row without a match
// passes with the probability 1 - e^(-n/m).  With 10 to 20 bits a key, 5 to 10 % of these rows pass, and each costs one
// useless look-up in the table.  The map takes a fifth of the memory of the table.  A map of twice the size would halve
// the number of these rows.
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
    const auto bit = static_cast<uint32_t>(map_bits_of(hashes[i]) & largest(bits));
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] | 1U << bit % 8);
  }
  return VORNENC_DONE;
}

uint32_t vornenc_bloom_keys(uint32_t *keys, size_t keys_bytes, const uint64_t *hashes, uint64_t n) {
  if (keys_bytes / sizeof *keys < n)
    return VORNENC_NO_ROOM;
  for (uint64_t i = 0; i < n; ++i)
    keys[i] = __builtin_bswap32(map_bits_of(hashes[i]));
  return VORNENC_DONE;
}
