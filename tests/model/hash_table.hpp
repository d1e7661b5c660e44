// A join hash table, a row at a time: the bytes that a build leaves in its buckets, and the pairs that a probe finds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "frame/vorn.h"

namespace vorn_model {

struct bucket_layout {
  const char *name;
  uint32_t type;
  unsigned tag_size, value_size, slots, tags, values; // sizes, slots of a bucket, bytes where tags and values begin
};
inline constexpr bucket_layout bucket_layouts[] = {{"k2v8", VORN_HT_K2V8, 2, 8, 5, 2, 16},
                                                   {"k2v4", VORN_HT_K2V4, 2, 4, 9, 2, 20},
                                                   {"k4v8", VORN_HT_K4V8, 4, 8, 4, 4, 24},
                                                   {"k4v4", VORN_HT_K4V4, 4, 4, 6, 4, 32}};

inline uint64_t cut(uint64_t number, unsigned bits) { return bits >= 64 ? number : number & ((1ULL << bits) - 1); }

struct table_row {
  uint64_t hash, tag, value; // the value of a slot, or the left one of a pair
};
using pairs = std::vector<std::pair<uint64_t, uint64_t>>;

// A copy of the memory in which all buckets lie; chains are addresses in that memory.  part: of all rows, or negative.
struct hash_table {
  const bucket_layout &layout;
  const vorn_hash_table &ht;
  const uint8_t *memory;
  std::vector<uint8_t> bytes;

  bool partitioned(int32_t part) const {
    return part < 0 && (ht.vorn_ht_part_hi_bit != ht.vorn_ht_bucket_hi_bit || ht.vorn_ht_part_low_bits != 0);
  }
  uint64_t partition(uint64_t hash, int32_t part) const {
    const uint64_t high = cut(hash, ht.vorn_ht_part_hi_bit + 1U) >> ht.vorn_ht_part_shift << ht.vorn_ht_part_low_bits;
    return partitioned(part) ? high | cut(hash, ht.vorn_ht_part_low_bits) : static_cast<uint64_t>(std::max(part, 0));
  }
  uint32_t full_part(uint64_t hash, int32_t part) const {
    const uint64_t masked = partitioned(part) ? cut(hash, ht.vorn_ht_part_hi_bit + 1U) : 0;
    return static_cast<uint32_t>(masked / 2 >> std::min<unsigned>(ht.vorn_ht_bucket_hi_bit, 63));
  }
  uint8_t *here(const void *address) { return bytes.data() + (static_cast<const uint8_t *>(address) - memory); }
  std::vector<uint8_t *> chain(uint64_t hash, int32_t part) {
    const uint64_t bucket = cut(hash, ht.vorn_ht_bucket_hi_bit + 1U) >> 8 * layout.tag_size;
    std::vector<uint8_t *> buckets = {here(ht.vorn_ht_tables[partition(hash, part)]) + 64 * bucket};
    while (*buckets.back() & 0x80)
      buckets.push_back(here(reinterpret_cast<void *>(number(buckets.back() + 56, 8))));
    return buckets;
  }

  // Calls visit with the bucket and the value of every slot that has a tag, as long as it says so.
  template <class Visit>
  void find(const std::vector<uint8_t *> &buckets, uint64_t tag, Visit visit) const {
    for (uint8_t *bucket : buckets)
      for (unsigned i = 0; i < *bucket % 16U; ++i)
        if (number(bucket + layout.tags + i * layout.tag_size, layout.tag_size) == tag &&
            !visit(bucket, number(bucket + layout.values + i * layout.value_size, layout.value_size)))
          return;
  }
  static uint64_t number(const uint8_t *at, unsigned size) {
    uint64_t number = 0;
    std::memcpy(&number, at, size);
    return number;
  }

  // Inserts rows from one on and gives the first one without room, or their number.
  size_t insert(const std::vector<table_row> &rows, size_t row, int32_t part, std::vector<void *> &free,
                const std::vector<void *> &end) {
    for (size_t next = row; row < rows.size(); row = next) {
      next = std::min(rows.size(), row + 1024);
      const bool room = std::all_of(rows.data() + row, rows.data() + next, [&](const table_row &r) {
        return *chain(r.hash, part).front() % 16U < layout.slots;
      });
      for (; row < next; ++row)
        if (const uint64_t in = partition(rows[row].hash, part); !insert(rows[row], part, room, free[in], end[in]))
          return row;
    }
    return row;
  }
  bool insert(const table_row &row, int32_t part, bool room, void *&free, const void *end) {
    const std::vector<uint8_t *> buckets = chain(row.hash, part);
    uint8_t *last = buckets.back();
    const bool full = *last % 16U == layout.slots, refused = full && free >= end;
    find(buckets, row.tag, [&](uint8_t *bucket, uint64_t) {
      *bucket &= refused && bucket == last ? 0xff : 0xbf;
      return true;
    });
    if (refused)
      return false;
    if (full) {
      *last |= 0x80;
      std::memcpy(last + 56, &free, 8);
      last = here(free);
      free = static_cast<uint8_t *>(free) + 64;
    }
    if (full || (room && *last == 0))
      *last = 0x40;
    const unsigned i = (*last)++ % 16U;
    std::memcpy(last + layout.tags + i * layout.tag_size, &row.tag, layout.tag_size);
    std::memcpy(last + layout.values + i * layout.value_size, &row.value, layout.value_size);
    return true;
  }

  // The pairs of rows from one on, which becomes the first one without room, or their number.
  pairs probe(const std::vector<table_row> &rows, size_t &row, size_t capacity) {
    pairs all;
    for (size_t done = 0; row < rows.size(); ++row, done = all.size()) {
      find(chain(rows[row].hash, -1), rows[row].tag, [&](const uint8_t *bucket, uint64_t value) {
        all.emplace_back(rows[row].value, value);
        return !(*bucket & 0x40);
      });
      if (all.size() > capacity) {
        all.resize(done);
        break;
      }
    }
    return all;
  }
};

} // namespace vorn_model
