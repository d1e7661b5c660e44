// Building a hash table: rows are inserted batch by batch.  All buckets of a batch are read before its first insertion.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

// Where rows that have no place in their buckets go, for each partition.
struct overflow {
  void **free;
  void *const *end;

  // The next free bucket, or null.
  uint8_t *take(uint64_t partition) const {
    auto *bucket = static_cast<uint8_t *>(free[partition]);
    if (reinterpret_cast<uintptr_t>(bucket) >= reinterpret_cast<uintptr_t>(end[partition]))
      return nullptr;
    free[partition] = bucket + bucket_size;
    return bucket;
  }
};

// Inserts one row after the other.
template <class Layout>
struct single_inserts {
  // Does the first bucket of every row have a free slot?  The buckets are in the cache afterwards.
  template <class Tags, class Find>
  static bool touch(uint32_t count, Tags tags, Find find) {
    uint32_t full = 0;
    for (uint32_t row = 0; row < count; ++row)
      full |= (*find(tags.hash(row)) & slot_count) >= Layout::slots;
    return full == 0;
  }

  // Inserts rows while there is room and returns their number.  A row in an empty bucket makes the bucket distinct when
  // `room` says so.  Rows up to `hashed` have hash values; their buckets are prefetched a batch ahead.
  template <class Tags, class Values, class Find>
  [[gnu::noinline]] static uint32_t insert(uint32_t count, uint32_t hashed, Tags tags, Values values, Find find,
                                           const hash_bits &bits, overflow more, bool room) {
    const uint32_t empty_header = room ? distinct : 0;
    for (uint32_t row = 0; row < count; ++row) {
      if (row + batch_rows < hashed)
        __builtin_prefetch(find(tags.hash(row + batch_rows)), 1);
      const auto tag = tags.template tag<typename Layout::tag>(row);
      const auto value = values.template get<typename Layout::value>(row);
      uint8_t *bucket = find(tags.hash(row));
      uint32_t header = *bucket;
      while (header & chained)
        [[unlikely]] {
          const uint32_t updated = without_duplicate(bucket, header, tag);
          if (updated != header)
            *bucket = static_cast<uint8_t>(updated);
          bucket = next_bucket(bucket);
          header = *bucket;
        }
      header = without_duplicate(bucket, header | ((header - 1) >> 24 & empty_header), tag);
      if ((header & slot_count) >= Layout::slots) [[unlikely]] {
        uint8_t *const fresh = more.take(bits.partition(tags.hash(row)));
        if (fresh == nullptr)
          return row;
        *bucket = static_cast<uint8_t>(header | chained);
        link_bucket(bucket, fresh);
        bucket = fresh;
        header = distinct;
      }
      Layout::fill(bucket, header & slot_count, tag, value);
      *bucket = static_cast<uint8_t>(header + 1);
    }
    return count;
  }

private:
  // The header of a bucket before the tag is added after its slots.  It is no longer distinct when a slot has the tag.
  static uint32_t without_duplicate(const uint8_t *bucket, uint32_t header, typename Layout::tag tag) {
    return header & ~(Layout::slots_with(bucket, header & slot_count, tag) != 0 ? uint32_t{distinct} : 0);
  }
};

template <class Layout>
[[gnu::noinline]] uint32_t build(row_form form, value_source source, const vorn_hash_table &ht, const vorn_cv &src,
                                 const vorn_cv &values, int32_t part, vorn_hashfn hashfn, vorn_aux &aux) {
  key_batch keys(src, form, hashfn, aux);
  if (!keys.can_hash())
    return VORN_RESULT_NO_IMPLEMENTATION;
  const hash_bits bits(ht, Layout::tag_bits, part >= 0);
  const uint64_t first = part >= 0 ? static_cast<uint64_t>(part) : 0;
  void *const *tables = ht.vorn_ht_tables + first;
  const overflow more = {ht.vorn_ht_ovfl_cur + first, ht.vorn_ht_ovfl_end + first};
  constexpr uint32_t value_size = sizeof(typename Layout::value);

  for (; keys.load_batch(); keys.advance()) {
    const auto *payload = static_cast<const uint8_t *>(values.vorn_cv_vals);
    const auto insert = [&](const auto &from) {
      return keys.with_tags([&](auto tags) {
        return with_finder<Layout>(bits, tables, [&](auto find) {
          const bool room = single_inserts<Layout>::touch(keys.count(), tags, find);
          return single_inserts<Layout>::insert(keys.count(), keys.hashed(), tags, from, find, bits, more, room);
        });
      });
    };
    const uint32_t inserted =
        source == value_source::autorid ? insert(counted_values{values.vorn_cv_autorid + keys.first()})
        : source == value_source::record
            ? insert(keys.row_ids())
            : insert(stored_values<typename Layout::value>{payload + uint64_t{keys.first()} * value_size});
    if (inserted < keys.count()) {
      const auto hash = keys.hashes().template get<uint64_t>(inserted);
      const uint32_t above_bucket = ht.vorn_ht_bucket_hi_bit + 1U;
      aux.vorn_aux_full_part = static_cast<uint32_t>(above_bucket < 64 ? (bits.part_mask & hash) >> above_bucket : 0);
      keys.save_position(inserted, aux);
      return VORN_RESULT_NO_OVERFLOW;
    }
  }
  keys.save_end(aux);
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL::join
