// A join hash table, a row at a time: the bytes that a build writes to the buckets, and the pairs that a probe finds.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "frame/vorn.h"

namespace vorn_model {

struct bucket_layout {
  const char *name;
  uint32_t type;
  unsigned tag_size, value_size, slots, tags, values; // sizes, slots of a bucket, offsets of tags and values
};
inline constexpr bucket_layout bucket_layouts[] = {{"k2v8", VORN_HT_K2V8, 2, 8, 5, 2, 16},
                                                   {"k2v4", VORN_HT_K2V4, 2, 4, 9, 2, 20},
                                                   {"k4v8", VORN_HT_K4V8, 4, 8, 4, 4, 24},
                                                   {"k4v4", VORN_HT_K4V4, 4, 4, 6, 4, 32}};

inline uint64_t cut(uint64_t number, unsigned bits) { return bits >= 64 ? number : number & ((1ULL << bits) - 1); }

struct table_row {
  uint64_t hash, tag, value; // the value of a slot, or the left value of a pair
};
using pairs = std::vector<std::pair<uint64_t, uint64_t>>;

// A copy of the memory with all buckets.  Chains are addresses in the original memory.  part is the partition of all
// rows, or negative.
struct hash_table {
  const bucket_layout &layout;
  const vorn_hash_table &ht;
  const uint8_t *memory;
  std::vector<uint8_t> bytes;

  // The bits of the partition number at their position in the hash value.  A table without partitions has none.
  uint64_t high_bits(uint64_t hash, int32_t part) const {
    const bool one = ht.vorn_ht_part_hi_bit == ht.vorn_ht_bucket_hi_bit && ht.vorn_ht_part_low_bits == 0;
    return part >= 0 || one ? 0 : cut(hash, ht.vorn_ht_part_hi_bit + 1U);
  }
  uint64_t partition(uint64_t hash, int32_t part) const {
    const bool in_reach = ht.vorn_ht_part_shift < 64 && ht.vorn_ht_part_low_bits < 64;
    const uint64_t bits = in_reach ? high_bits(hash, part) : 0;
    const uint64_t high = bits >> ht.vorn_ht_part_shift % 64 << ht.vorn_ht_part_low_bits % 64;
    return part >= 0 ? static_cast<uint64_t>(part) : high | cut(hash, ht.vorn_ht_part_low_bits);
  }
  uint32_t full_part(uint64_t hash, int32_t part) const {
    return static_cast<uint32_t>(high_bits(hash, part) / 2 >> std::min<unsigned>(ht.vorn_ht_bucket_hi_bit, 63));
  }
  uint8_t *copy_of(const void *address) { return bytes.data() + (static_cast<const uint8_t *>(address) - memory); }
  std::vector<uint8_t *> chain(uint64_t hash, int32_t part) {
    const uint64_t bucket = cut(hash, ht.vorn_ht_bucket_hi_bit + 1U) >> 8 * layout.tag_size;
    std::vector<uint8_t *> buckets = {copy_of(ht.vorn_ht_tables[partition(hash, part)]) + 64 * bucket};
    while (*buckets.back() & 0x80)
      buckets.push_back(copy_of(std::bit_cast<void *>(number(buckets.back() + 56, 8))));
    return buckets;
  }

  // Bucket and value of each slot with the tag.
  std::vector<std::pair<uint8_t *, uint64_t>> slots(const std::vector<uint8_t *> &buckets, uint64_t tag) const {
    std::vector<std::pair<uint8_t *, uint64_t>> found;
    for (uint8_t *bucket : buckets)
      for (unsigned i = 0; i < *bucket % 16U; ++i)
        if (number(bucket + layout.tags + i * layout.tag_size, layout.tag_size) == tag)
          found.emplace_back(bucket, number(bucket + layout.values + i * layout.value_size, layout.value_size));
    return found;
  }
  static uint64_t number(const uint8_t *at, unsigned size) {
    uint64_t number = 0;
    std::memcpy(&number, at, size);
    return number;
  }

  // Inserts rows from `row` on.  Returns the first row without room, or the number of rows.
  size_t insert(const std::vector<table_row> &rows, size_t row, int32_t part, std::vector<void *> &free,
                const std::vector<void *> &end) {
    bool room = false; // whether the first bucket of each row of the batch had room
    for (size_t in_batch = 0; row < rows.size(); ++row, ++in_batch) {
      const size_t left = std::min<size_t>(rows.size() - row, 1024);
      if (in_batch % 1024 == 0)
        room = std::all_of(rows.data() + row, rows.data() + row + left,
                           [&](const table_row &r) { return *chain(r.hash, part).front() % 16U < layout.slots; });
      const uint64_t in = partition(rows[row].hash, part);
      const std::vector<uint8_t *> buckets = chain(rows[row].hash, part);
      uint8_t *last = buckets.back();
      const bool full = *last % 16U == layout.slots, refused = full && free[in] >= end[in];
      for (const auto &[bucket, value] : slots(buckets, rows[row].tag))
        *bucket &= refused && bucket == last ? 0xff : 0xbf;
      if (refused)
        break;
      if (full) {
        *last |= 0x80;
        std::memcpy(last + 56, &free[in], 8);
        last = copy_of(free[in]);
        free[in] = static_cast<uint8_t *>(free[in]) + 64;
      }
      if (full || (room && *last == 0))
        *last = 0x40;
      const unsigned slot = (*last)++ % 16U;
      std::memcpy(last + layout.tags + slot * layout.tag_size, &rows[row].tag, layout.tag_size);
      std::memcpy(last + layout.values + slot * layout.value_size, &rows[row].value, layout.value_size);
    }
    return row;
  }

  // Finds the pairs of rows from `row` on.  `row` becomes the first row without room, or the number of rows.
  pairs probe(const std::vector<table_row> &rows, size_t &row, size_t capacity) {
    pairs all;
    for (size_t done = 0; row < rows.size(); ++row, done = all.size()) {
      for (const auto &[bucket, value] : slots(chain(rows[row].hash, -1), rows[row].tag)) {
        all.emplace_back(rows[row].value, value);
        if (*bucket & 0x40)
          break;
      }
      if (all.size() > capacity) {
        all.resize(done);
        break;
      }
    }
    return all;
  }
};

} // namespace vorn_model
