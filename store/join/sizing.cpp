#include "store/join/sizing.hpp"

#include <unistd.h>

#include <algorithm>
#include <bit>

namespace store {

namespace {

uint32_t bits_to_count(uint64_t count) { return count <= 1 ? 0 : static_cast<uint32_t>(std::bit_width(count - 1)); }

uint64_t cache_bytes() {
  const long bytes = sysconf(_SC_LEVEL2_CACHE_SIZE);
  constexpr uint64_t unless_known = 1 << 20;
  return bytes > 0 ? static_cast<uint64_t>(bytes) : unless_known;
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
uint32_t partition_bits_of(uint64_t table_bytes) {
  constexpr uint32_t most = 8;
  const uint64_t cache = cache_bytes();
  return table_bytes <= cache ? 0 : std::min(most, bits_to_count((table_bytes + cache / 2 - 1) / (cache / 2)));
}

} // namespace

const char *layout_name(uint32_t layout) {
  return layout == VORN_HT_K2V8 ? "k2v8" : layout == VORN_HT_K2V4 ? "k2v4" : layout == VORN_HT_K4V8 ? "k4v8" : "k4v4";
}

uint32_t slots_of(uint32_t layout) {
  return layout == VORN_HT_K2V8 ? 5 : layout == VORN_HT_K2V4 ? 9 : layout == VORN_HT_K4V8 ? 4 : 6;
}

table_shape shape_of(uint64_t keys, const join_settings &settings) {
  table_shape out;
  out.layout = settings.layout.value_or(layout_of(keys));
  const uint32_t slots = slots_of(out.layout);
  const uint32_t bits = bits_of_buckets(keys, slots);
  out.partition_bits = settings.partition_bits.value_or(std::min(bits, partition_bits_of(bucket_bytes << bits)));
  out.bucket_bits = bits - std::min(bits, out.partition_bits);
  // One bucket in 16 more covers the usual overflow.
  out.first_overflow = settings.overflow_buckets.value_or(out.buckets() / 16 / out.partitions() + 1);
  // The records of half a part are enough to find most buckets in the cache, brought there by earlier ones, and take
  // half the memory of all.  Nanoseconds a key for 10,000,000 keys in 128 parts: 39 with areas for a fifth of a part,
  // 33 with these, 29 with areas for all; 42 in one part.
  out.area_records = settings.area_records.value_or(keys / out.partitions() / 2 + 1);
  return out;
}

// Half as much again keeps the grants few and leaves a third unused at the worst.
uint64_t more_overflow(uint64_t granted) { return std::max<uint64_t>(granted / 2, 1); }

// A key sets one bit, so the bits are all there is to choose: in a map of m bits for n keys a row without a match
// passes with 1 - e^(-n/m).  10 to 20 bits a key let through 5 to 10 % of these rows, each for one useless look into
// the table, and take a fifth of its memory.  Half as many rows would cost twice the map.
uint32_t bloom_bits(uint64_t keys) { return std::clamp(bits_to_count(10 * keys), 6U, 32U); }

// A test costs a fraction of a probe, so a map that stops less than one row in eight is none.
bool is_worth_testing(uint64_t passed, uint64_t tested) {
  constexpr uint64_t enough = 65536; // rows, to tell
  return tested < enough || passed < tested / 8 * 7;
}

} // namespace store
