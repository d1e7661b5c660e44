// Probing a hash table: a pair for every slot that has the tag of a row.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

// The rows of a batch that are to be looked up, and the left value of their pairs.
struct probed_rows {
  uint32_t count;
  uint32_t hashed; // rows whose hash values can be read, of this batch and after it
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

// 1 for a number from 1 to 2^31, and 0 for 0.  Compilers make a branch of a comparison, and nothing predicts whether a
// bucket has a tag.
inline uint32_t any_bit(uint32_t x) { return (0 - x) >> 31; }

// Looks rows up a block at a time.  First the first bucket of each row gives at most one match, without a branch.  Then
// the pairs are written, together with the pairs of rows that have more of them.
struct block_matches {
  static constexpr uint32_t block_rows = 128;
  static constexpr uint32_t ahead = 32; // the number of rows whose buckets are prefetched

  template <class Layout>
  static match_count match(const probed_rows &rows, const hash_bits &bits, void *const *tables, uint8_t *out,
                           uint64_t room) {
    return with_finder<Layout>(bits, tables, [&](auto find) { return match<Layout>(rows, find, out, room); });
  }

private:
  template <class Layout, class Find>
  [[gnu::noinline]] static match_count match(const probed_rows &rows, Find find, uint8_t *out, uint64_t room) {
    block found;
    for (uint32_t row = 0; row < std::min(rows.count, ahead); ++row) {
      found.buckets[row] = find(rows.hashes.get<uint64_t>(row));
      __builtin_prefetch(found.buckets[row]);
    }
    uint64_t pairs = 0;
    for (uint32_t first = 0; first < rows.count; first += block_rows) {
      look_up<Layout>(rows, find, first, found);
      if (write<Layout>(rows, first, found, out, room, pairs))
        continue;
      for (uint32_t row = first;; ++row) // one of these rows has no room
        if (!write_row<Layout>(rows, found.buckets[row - first], row, out, room, pairs))
          return {pairs, row};
    }
    return {pairs, rows.count};
  }

  struct pair {
    uint64_t left, value;
  };
  struct first_match {
    uint32_t row;
    uint64_t value;
  };
  // A row whose first bucket has a chain or several slots with the tag.
  struct open_row {
    uint32_t row;
    uint32_t end; // of the first matches of this row and of all rows before it
  };

  // The buckets and first matches of the rows of a block.  The buckets of the first rows of the next block follow.
  struct block {
    uint32_t nmatches = 0, nopen = 0;
    const uint8_t *buckets[block_rows + ahead];
    first_match matches[block_rows];
    open_row open[block_rows];

    block() {} // NOLINT(cppcoreguidelines-pro-type-member-init): arrays are written before they are read
  };

  template <class Layout, class Find>
  [[gnu::noinline]] static void look_up(const probed_rows &rows, Find find, uint32_t first, block &out) {
    const uint32_t end = std::min(rows.count, first + block_rows), hashed = rows.hashed;
    const strided hashes = rows.hashes, tags = rows.tags;
    if (first != 0)
      std::copy_n(out.buckets + block_rows, ahead, out.buckets);
    uint32_t nmatches = 0, nopen = 0;
    for (uint32_t row = first; row < end; ++row) {
      const uint8_t *bucket = out.buckets[row - first];
      const uint8_t header = *bucket;
      if (row + ahead < hashed) {
        const uint8_t *next = find(hashes.get<uint64_t>(row + ahead));
        __builtin_prefetch(next);
        out.buckets[row - first + ahead] = next;
      }
      const uint32_t found = Layout::slots_with(bucket, header & slot_count, tags.get<typename Layout::tag>(row));
      out.matches[nmatches] = {row, Layout::lowest_value(bucket, found | Layout::last_slot)};
      nmatches += any_bit(found);
      out.open[nopen] = {row, nmatches};
      nopen += header >> 7 | any_bit(found & (found - 1));
    }
    out.nmatches = nmatches;
    out.nopen = nopen;
  }

  // Writes all pairs of a block.  When they have no room, none is counted and the result is false.
  template <class Layout>
  static bool write(const probed_rows &rows, uint32_t first, const block &found, uint8_t *out, uint64_t room,
                    uint64_t &pairs) {
    for (uint32_t i = 0; i < found.nopen; ++i) {
      const uint8_t *bucket = found.buckets[found.open[i].row - first];
      if (*bucket & chained)
        __builtin_prefetch(next_bucket(bucket));
    }
    uint64_t written = pairs;
    uint32_t copied = 0;
    const auto write_until = [&](uint32_t end) {
      if (room - written < end - copied)
        return false;
      for (; copied < end; ++copied) {
        const first_match &match = found.matches[copied];
        store<pair>(out + written++ * sizeof(pair), {rows.left_of<typename Layout::value>(match.row), match.value});
      }
      return true;
    };
    for (uint32_t i = 0; i < found.nopen; ++i) {
      const auto [row, end] = found.open[i];
      const uint8_t *bucket = found.buckets[row - first];
      const uint32_t slots = Layout::slots_with(bucket, *bucket & slot_count, rows.tags.get<typename Layout::tag>(row));
      if (slots != 0 && *bucket & distinct)
        continue; // the first match is the only one
      if (!write_until(end) || !write_matches<Layout>(rows, row, bucket, slots & (slots - 1), out, room, written))
        return false;
    }
    if (!write_until(found.nmatches))
      return false;
    pairs = written;
    return true;
  }

  // Writes all pairs of a row.  When they have no room, none is counted and the result is false.
  template <class Layout>
  static bool write_row(const probed_rows &rows, const uint8_t *bucket, uint32_t row, uint8_t *out, uint64_t room,
                        uint64_t &pairs) {
    const uint32_t found = Layout::slots_with(bucket, *bucket & slot_count, rows.tags.get<typename Layout::tag>(row));
    uint64_t written = pairs;
    if (!write_matches<Layout>(rows, row, bucket, found, out, room, written))
      return false;
    pairs = written;
    return true;
  }

  // Writes the pairs of the slots `found` of a bucket, and of the buckets after it.  The result is false when they have
  // no room.
  template <class Layout>
  static bool write_matches(const probed_rows &rows, uint32_t row, const uint8_t *bucket, uint32_t found, uint8_t *out,
                            uint64_t room, uint64_t &written) {
    for (;;) {
      const uint8_t header = *bucket;
      const bool only = found != 0 && header & distinct;
      for (uint32_t left = only ? found & -found : found; left != 0; left &= left - 1) {
        if (written == room)
          return false;
        store<pair>(out + written++ * sizeof(pair),
                    {rows.left_of<typename Layout::value>(row), Layout::lowest_value(bucket, left)});
      }
      if (only || !(header & chained))
        return true;
      bucket = next_bucket(bucket);
      found = Layout::slots_with(bucket, *bucket & slot_count, rows.tags.get<typename Layout::tag>(row));
    }
  }
};

template <class Layout>
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
                              .hashed = keys.hashed(),
                              .hashes = keys.hashes(),
                              .tags = form == row_form::gd ? keys.codes() : keys.hashes(),
                              .left = has_left ? strided{payload + uint64_t{keys.first()} * value_size, value_size}
                                               : strided{},
                              .has_left = has_left,
                              .first_id = left.vorn_cv_autorid + keys.first()};
    const match_count found = block_matches::match<Layout>(rows, bits, tables, out + written * 16, capacity - written);
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
