// A join hash table, a row at a time: the bytes that a build leaves in its buckets, what stands in them, and the pairs
// that a probe finds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
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

class hash_table {
public:
  // A copy of the memory in which all buckets lie; chains are addresses in that memory.
  hash_table(const bucket_layout &layout, const vorn_hash_table &ht, uint8_t *memory, size_t size)
      : bytes(memory, memory + size), layout_(layout), ht_(ht), memory_(memory) {}

  uint64_t partition(uint64_t hash, int32_t part) const {
    if (part >= 0 || one_partition())
      return static_cast<uint64_t>(std::max(part, 0));
    const uint64_t high = cut(hash, ht_.vorn_ht_part_hi_bit + 1U) >> ht_.vorn_ht_part_shift;
    return high << ht_.vorn_ht_part_low_bits | cut(hash, ht_.vorn_ht_part_low_bits);
  }
  uint32_t full_part(uint64_t hash, int32_t part) const {
    const uint64_t masked = part >= 0 || one_partition() ? 0 : cut(hash, ht_.vorn_ht_part_hi_bit + 1U);
    return static_cast<uint32_t>(masked / 2 >> std::min<unsigned>(ht_.vorn_ht_bucket_hi_bit, 63));
  }

  // Inserts rows from one on and gives the first one without room, or their number.  part: of all rows, or negative.
  size_t insert(const std::vector<table_row> &rows, size_t row, int32_t part, std::vector<void *> &free,
                const std::vector<void *> &end) {
    for (size_t next = row; row < rows.size(); row = next) {
      next = std::min(rows.size(), row + 1024);
      const bool room = std::all_of(rows.data() + row, rows.data() + next, [&](const table_row &r) {
        return *chain(r.hash, part).front() % 16U < layout_.slots;
      });
      for (; row < next; ++row) {
        const uint64_t in = partition(rows[row].hash, part);
        if (!insert(rows[row], chain(rows[row].hash, part), room, free[in], end[in]))
          return row;
      }
    }
    return row;
  }

  // The pairs of rows from one on, which becomes the first one without room, or their number.
  pairs probe(const std::vector<table_row> &rows, size_t &row, size_t capacity) {
    pairs all;
    for (; row < rows.size(); ++row) {
      pairs found;
      for (const slot &s : read(chain(rows[row].hash, -1)))
        if (s.tag == rows[row].tag) {
          found.emplace_back(rows[row].value, s.value);
          if (*s.bucket & 0x40)
            break;
        }
      if (all.size() + found.size() > capacity)
        break;
      all.insert(all.end(), found.begin(), found.end());
    }
    return all;
  }

  // Does every chain hold its rows in their order, and do the headers tell the truth?
  bool holds(const std::vector<table_row> &rows, int32_t part) {
    std::map<uint8_t *, std::vector<table_row>> filled; // by first bucket
    for (const table_row &row : rows)
      filled[chain(row.hash, part).front()].push_back(row);
    return std::all_of(filled.begin(), filled.end(), [&](const auto &chained) {
      const std::vector<slot> found = read(chain(chained.second[0].hash, part));
      const auto duplicates = [&](size_t i) {
        return std::count_if(found.data() + i, found.data() + found.size(),
                             [&](auto &s) { return s.tag == found[i].tag; });
      };
      bool good = found.size() == chained.second.size();
      for (size_t i = 0; good && i < found.size(); ++i)
        good = found[i].tag == chained.second[i].tag && found[i].value == chained.second[i].value &&
               (!(*found[i].bucket & 0x40) || duplicates(i) == 1) &&
               (*found[i].bucket < 0x80 || *found[i].bucket % 16U == layout_.slots);
      return good;
    });
  }

  std::vector<uint8_t> bytes;

private:
  struct slot {
    uint8_t *bucket;
    uint64_t tag, value;
  };

  bool one_partition() const {
    return ht_.vorn_ht_part_hi_bit == ht_.vorn_ht_bucket_hi_bit && ht_.vorn_ht_part_low_bits == 0;
  }
  uint8_t *here(const void *address) { return bytes.data() + (static_cast<const uint8_t *>(address) - memory_); }
  static uint64_t number(const uint8_t *at, unsigned size) {
    uint64_t number = 0;
    std::memcpy(&number, at, size);
    return number;
  }

  std::vector<uint8_t *> chain(uint64_t hash, int32_t part) {
    const uint64_t bucket = cut(hash, ht_.vorn_ht_bucket_hi_bit + 1U) >> 8 * layout_.tag_size;
    std::vector<uint8_t *> buckets = {here(ht_.vorn_ht_tables[partition(hash, part)]) + 64 * bucket};
    while (*buckets.back() & 0x80)
      buckets.push_back(here(reinterpret_cast<void *>(number(buckets.back() + 56, 8))));
    return buckets;
  }
  std::vector<slot> read(const std::vector<uint8_t *> &buckets) const {
    std::vector<slot> slots;
    for (uint8_t *bucket : buckets)
      for (unsigned i = 0; i < *bucket % 16U; ++i)
        slots.push_back({bucket, number(bucket + layout_.tags + i * layout_.tag_size, layout_.tag_size),
                         number(bucket + layout_.values + i * layout_.value_size, layout_.value_size)});
    return slots;
  }

  bool insert(const table_row &row, const std::vector<uint8_t *> &buckets, bool room, void *&free, const void *end) {
    uint8_t *last = buckets.back();
    const bool full = *last % 16U == layout_.slots, refused = full && free >= end;
    for (const slot &s : read(buckets))
      if (s.tag == row.tag && !(refused && s.bucket == last))
        *s.bucket &= 0xbf;
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
    std::memcpy(last + layout_.tags + i * layout_.tag_size, &row.tag, layout_.tag_size);
    std::memcpy(last + layout_.values + i * layout_.value_size, &row.value, layout_.value_size);
    return true;
  }

  const bucket_layout &layout_;
  const vorn_hash_table &ht_;
  uint8_t *memory_;
};

} // namespace vorn_model
