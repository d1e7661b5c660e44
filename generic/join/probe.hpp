// Probing a hash table: a pair for every slot that has the tag of a row.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL {

// What is to be looked up of a batch, and what a pair says of each row.
struct probed_rows {
  uint32_t count;
  strided hashes;
  strided tags;
  strided left;  // payload
  bool has_left; // else row identifiers count up from first_id
  uint64_t first_id;

  template <class Value>
  uint64_t left_of(uint32_t row) const {
    return has_left ? left.get<Value>(row) : first_id + row;
  }
};

struct match_count {
  uint64_t pairs; // of the rows that are done
  uint32_t rows;  // done; fewer than the batch has when the next row's pairs found no room
};

// One row after the other.  An engine of a level may replace it by a pass that finds the same pairs.
struct single_matches {
  // Is no first bucket of the batch chained?  What is read here is in the cache when rows are matched.
  static bool touch(const probed_rows &rows, const hash_bits &bits, void *const *tables) {
    uint8_t headers = 0;
    for (uint32_t row = 0; row < rows.count; ++row)
      headers |= *bits.find(tables, rows.hashes.get<uint64_t>(row));
    return !(headers & chained);
  }

  template <class Layout>
  static match_count match(const probed_rows &rows, const hash_bits &bits, void *const *tables, uint8_t *out,
                           uint64_t room, bool single_buckets) {
    using tag_type = typename Layout::tag;
    uint64_t pairs = 0;
    for (uint32_t row = 0; row < rows.count; ++row) {
      const uint8_t *bucket = bits.find(tables, rows.hashes.get<uint64_t>(row));
      const auto tag = rows.tags.get<tag_type>(row);
      uint64_t written = pairs;
      for (;;) {
        const uint8_t header = *bucket;
        uint32_t found = Layout::slots_with(bucket, header & slot_count, tag);
        if (found != 0) {
          if (header & distinct)
            found &= -found; // the first one is the only one
          do {
            if (written == room)
              return {pairs, row};
            const auto slot = static_cast<uint32_t>(__builtin_ctz(found));
            store<uint64_t>(out + written * 16, rows.left_of<typename Layout::value>(row));
            store<uint64_t>(out + written * 16 + 8, Layout::value_at(bucket, slot));
            ++written;
            found &= found - 1;
          } while (found != 0);
          if (header & distinct)
            break;
        }
        if (single_buckets || !(header & chained))
          break;
        bucket = next_bucket(bucket);
      }
      pairs = written;
    }
    return {pairs, rows.count};
  }
};

template <class Pass, class Layout>
[[gnu::noinline]] uint32_t probe(row_form form, bool has_left, vorn_cv &res, const vorn_cv &src, const vorn_cv &left,
                                 const vorn_hash_table &ht, vorn_hashfn hashfn, vorn_aux &aux) {
  key_batch keys(src, form, hashfn, aux);
  if (!keys.can_hash())
    return VORN_RESULT_NO_IMPLEMENTATION;
  const hash_bits bits(ht, Layout::tag_bits, false);
  void *const *tables = ht.vorn_ht_tables;
  constexpr uint32_t value_size = sizeof(typename Layout::value);
  auto *const out = static_cast<uint8_t *>(res.vorn_cv_vals);
  const uint64_t capacity = res.vorn_cv_nrows;
  uint64_t written = 0;

  for (; keys.load_batch(); keys.pass()) {
    const auto *payload = static_cast<const uint8_t *>(left.vorn_cv_vals);
    const probed_rows rows = {.count = keys.count(),
                              .hashes = keys.hashes(),
                              .tags = form == row_form::gd ? keys.codes() : keys.hashes(),
                              .left = has_left ? strided{payload + uint64_t{keys.first()} * value_size, value_size}
                                               : strided{},
                              .has_left = has_left,
                              .first_id = left.vorn_cv_autorid + keys.first()};
    const bool single_buckets = Pass::touch(rows, bits, tables);
    const match_count found =
        Pass::template match<Layout>(rows, bits, tables, out + written * 16, capacity - written, single_buckets);
    written += found.pairs;
    if (found.rows < rows.count) {
      keys.leave_at(found.rows, aux);
      res.vorn_cv_nrows = static_cast<uint32_t>(written);
      return VORN_RESULT_PROBE_FULL;
    }
  }
  keys.leave_at_end(aux);
  res.vorn_cv_nrows = static_cast<uint32_t>(written);
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
