// Probing a hash table: a pair for every slot that has the tag of a row.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

// The rows of a batch that are to be looked up, and the left value of their pairs.
struct probed_rows {
  uint32_t count;
  strided hashes;
  strided tags;
  strided left;  // payload
  bool has_left; // without left values, row identifiers count up from first_id
  uint64_t first_id;

  template <class Value>
  uint64_t left_of(uint32_t row) const {
    return has_left ? left.get<Value>(row) : first_id + row;
  }
};

struct match_count {
  uint64_t pairs;
  uint32_t rows; // with all of their pairs written; fewer than the batch has when the pairs of the next row had no room
};

// Looks rows up a block at a time: first the first bucket of every row, without a branch, and then the rows that have a
// match or a chain.  An engine of a level may replace it by a loop that finds the same pairs.
struct block_matches {
  static constexpr uint32_t block_rows = 128;
  static constexpr uint32_t ahead = 32; // the number of rows whose buckets are prefetched

  template <class Layout>
  [[gnu::noinline]] static match_count match(const probed_rows &rows, const hash_bits &bits, void *const *tables,
                                             uint8_t *out, uint64_t room) {
    for (uint32_t row = 0; row < std::min(rows.count, ahead); ++row)
      __builtin_prefetch(bits.find(tables, rows.hashes.get<uint64_t>(row)));
    uint64_t pairs = 0;
    for (uint32_t first = 0; first < rows.count; first += block_rows) {
      candidate candidates[block_rows];
      const uint32_t end = std::min(rows.count, first + block_rows);
      const uint32_t count = look_up<Layout>(rows, bits, tables, first, end, candidates);
      for (uint32_t i = 0; i < count; ++i)
        if (!write_pairs<Layout>(rows, candidates[i], out, room, pairs))
          return {pairs, candidates[i].row};
    }
    return {pairs, rows.count};
  }

private:
  // A row whose first bucket has its tag or a chain.
  struct candidate {
    const uint8_t *bucket;
    uint32_t row;
    uint32_t found; // a bit for each slot of the first bucket with the tag
  };

  template <class Layout>
  static uint32_t look_up(const probed_rows &rows, const hash_bits &bits, void *const *tables, uint32_t first,
                          uint32_t end, candidate *candidates) {
    uint32_t count = 0;
    for (uint32_t row = first; row < end; ++row) {
      if (row + ahead < rows.count)
        __builtin_prefetch(bits.find(tables, rows.hashes.get<uint64_t>(row + ahead)));
      const uint8_t *bucket = bits.find(tables, rows.hashes.get<uint64_t>(row));
      const uint8_t header = *bucket;
      const uint32_t found = Layout::slots_with(bucket, header & slot_count, rows.tags.get<typename Layout::tag>(row));
      candidates[count] = {bucket, row, found};
      count += (found | (header & chained)) != 0 ? 1 : 0;
    }
    return count;
  }

  // Writes all pairs of a row.  When they have no room, none is counted and the result is false.
  template <class Layout>
  static bool write_pairs(const probed_rows &rows, const candidate &row, uint8_t *out, uint64_t room, uint64_t &pairs) {
    const uint8_t *bucket = row.bucket;
    uint32_t found = row.found;
    uint64_t written = pairs;
    for (;;) {
      const uint8_t header = *bucket;
      if (found != 0) {
        if (header & distinct)
          found &= -found; // the first match is the only one
        do {
          if (written == room)
            return false;
          const auto slot = static_cast<uint32_t>(__builtin_ctz(found));
          store<uint64_t>(out + written * 16, rows.left_of<typename Layout::value>(row.row));
          store<uint64_t>(out + written * 16 + 8, Layout::value_at(bucket, slot));
          ++written;
          found &= found - 1;
        } while (found != 0);
        if (header & distinct)
          break;
      }
      if (!(header & chained))
        break;
      bucket = next_bucket(bucket);
      found = Layout::slots_with(bucket, *bucket & slot_count, rows.tags.get<typename Layout::tag>(row.row));
    }
    pairs = written;
    return true;
  }
};

template <class Loop, class Layout>
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

  for (; keys.load_batch(); keys.advance()) {
    const auto *payload = static_cast<const uint8_t *>(left.vorn_cv_vals);
    const probed_rows rows = {.count = keys.count(),
                              .hashes = keys.hashes(),
                              .tags = form == row_form::gd ? keys.codes() : keys.hashes(),
                              .left = has_left ? strided{payload + uint64_t{keys.first()} * value_size, value_size}
                                               : strided{},
                              .has_left = has_left,
                              .first_id = left.vorn_cv_autorid + keys.first()};
    const match_count found = Loop::template match<Layout>(rows, bits, tables, out + written * 16, capacity - written);
    written += found.pairs;
    if (found.rows < rows.count) {
      keys.save_position(found.rows, aux);
      res.vorn_cv_nrows = static_cast<uint32_t>(written);
      return VORN_RESULT_PROBE_FULL;
    }
  }
  keys.save_end(aux);
  res.vorn_cv_nrows = static_cast<uint32_t>(written);
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL::join
