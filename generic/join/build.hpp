// Building a hash table: rows are inserted batch by batch.  All buckets of a batch are read before its first insertion.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

// The rows of a batch that are to be inserted.  The tag is the low end of the hash value, or the code.
struct inserted_rows {
  uint32_t count;
  uint32_t hashed; // rows whose hash values can be read, of this batch and after it
  strided hashes;
  strided tags;
};

// Inserts one row after the other.
struct single_inserts {
  // Does the first bucket of every row have a free slot?  The buckets are in the cache afterwards.
  template <class Layout, class Find>
  static bool touch(const inserted_rows &rows, Find find) {
    bool room = true;
    for (uint32_t row = 0; row < rows.count; ++row) {
      const uint8_t *bucket = find(rows.hashes.get<uint64_t>(row));
      room &= (*bucket & slot_count) < Layout::slots;
    }
    return room;
  }

  // Inserts rows while there is room and returns their number.  With `room`, a bucket that is not full has no chain and
  // takes its row at once.  The buckets of the next batch are prefetched.
  template <class Layout, class Values, class Find>
  static uint32_t insert(inserted_rows rows, Values values, Find find, const hash_bits &bits, void **free,
                         void *const *end, bool room) {
    using tag_type = typename Layout::tag;
    for (uint32_t row = 0; row < rows.count; ++row) {
      if (row + batch_rows < rows.hashed)
        __builtin_prefetch(find(rows.hashes.get<uint64_t>(row + batch_rows)), 1);
      const auto hash = rows.hashes.get<uint64_t>(row);
      const auto tag = rows.tags.get<tag_type>(row);
      const auto value = values.template get<typename Layout::value>(row);
      uint8_t *bucket = find(hash);
      uint8_t header = *bucket;
      if (room && (header & slot_count) < Layout::slots) {
        const uint8_t before = header == 0 ? uint8_t{distinct} : header;
        append<Layout>(bucket, without_duplicate<Layout>(bucket, before, tag), tag, value);
        continue;
      }
      for (; header & chained; header = *bucket) {
        const uint8_t updated = without_duplicate<Layout>(bucket, header, tag);
        if (updated != header)
          *bucket = updated;
        bucket = next_bucket(bucket);
      }
      header = without_duplicate<Layout>(bucket, header, tag);
      if ((header & slot_count) < Layout::slots) {
        append<Layout>(bucket, header, tag, value);
        continue;
      }
      const uint64_t partition = bits.partition(hash);
      auto *fresh = static_cast<uint8_t *>(free[partition]);
      if (reinterpret_cast<uintptr_t>(fresh) >= reinterpret_cast<uintptr_t>(end[partition]))
        return row;
      *bucket = header | chained;
      link_bucket(bucket, fresh);
      free[partition] = fresh + bucket_size;
      append<Layout>(fresh, distinct, tag, value);
    }
    return rows.count;
  }

private:
  // header: of the bucket before the row is added.
  template <class Layout>
  static void append(uint8_t *bucket, uint8_t header, typename Layout::tag tag, typename Layout::value value) {
    Layout::fill(bucket, header & slot_count, tag, value);
    *bucket = static_cast<uint8_t>(header + 1);
  }

  // The header of a bucket before the tag is added after its slots.  It is no longer distinct when a slot has the tag.
  template <class Layout>
  static uint8_t without_duplicate(const uint8_t *bucket, uint8_t header, typename Layout::tag tag) {
    const bool duplicate = Layout::slots_with(bucket, header & slot_count, tag) != 0;
    return static_cast<uint8_t>(header & ~(duplicate ? distinct : 0));
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
  void **free = ht.vorn_ht_ovfl_cur + first;
  void *const *end = ht.vorn_ht_ovfl_end + first;
  const bool coded = form == row_form::gd || form == row_form::hashgdrid;
  constexpr uint32_t value_size = sizeof(typename Layout::value);

  for (; keys.load_batch(); keys.advance()) {
    const auto *payload = static_cast<const uint8_t *>(values.vorn_cv_vals);
    const inserted_rows rows = {keys.count(), keys.hashed(), keys.hashes(), coded ? keys.codes() : keys.hashes()};
    const auto insert = [&](const auto &from) {
      return with_finder<Layout>(bits, tables, [&](auto find) {
        const bool room = single_inserts::touch<Layout>(rows, find);
        return single_inserts::insert<Layout>(rows, from, find, bits, free, end, room);
      });
    };
    const uint32_t inserted =
        source == value_source::autorid  ? insert(counted_values{values.vorn_cv_autorid + keys.first()})
        : source == value_source::record ? insert(keys.row_ids())
                                         : insert(strided{payload + uint64_t{keys.first()} * value_size, value_size});
    if (inserted < rows.count) {
      const auto hash = rows.hashes.get<uint64_t>(inserted);
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
