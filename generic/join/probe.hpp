// Probing a hash table: a pair for every slot that has the tag of a row.
#pragma once

#include "generic/join/hash_table.hpp"
#include "generic/join/keys.hpp"

namespace vorn::inline VORN_LEVEL::join {

struct match_count {
  uint64_t pairs;
  uint32_t rows; // with all of their pairs written; fewer than the batch has when the pairs of the next row had no room
};

// 1 for a number from 1 to 2^31, and 0 for 0.  Compilers make a branch of a comparison, and nothing predicts whether a
// bucket has a tag.
inline uint32_t any_bit(uint32_t x) { return (0 - x) >> 31; }

// Looks rows up a block at a time.  The first bucket of each row gives at most one pair, without a branch.  All other
// pairs are found before: nearly all of them lie in chains, and the first bucket of a chain is marked.
template <class Layout, class Tags, class Left, class Find>
class block_matches {
public:
  block_matches(Tags tags, Left left, Find find) : tags_(tags), left_(left), find_(find) {}

  // Looks up `count` rows.  Rows up to `hashed` have hash values, and their buckets are prefetched.
  [[gnu::noinline]] match_count match(uint32_t count, uint32_t hashed, uint8_t *out, uint64_t room) {
    for (uint32_t row = 0; row < std::min(count, ahead); ++row)
      prefetch(row, buckets_[row]);
    match_count done = {0, 0};
    while (done.rows < count) {
      const uint32_t first = done.rows, end = std::min(count, first + block_rows);
      look_ahead(first, end, hashed);
      if (!match_block(first, end, out, room, done) && !match_rows(end, out, room, done))
        break;
      std::copy_n(buckets_ + block_rows, ahead, buckets_);
    }
    return done;
  }

private:
  static constexpr uint32_t block_rows = 128;
  static constexpr uint32_t ahead = 32; // the number of rows whose buckets are prefetched

  struct pair {
    uint64_t left, value;
  };
  // A pair after the first match of a row.
  struct later_pair {
    uint32_t row;
    uint64_t value;
  };

  uint32_t slots_with_tag(const uint8_t *bucket, uint32_t row) const {
    return Layout::slots_with(bucket, *bucket & slot_count, tags_.template tag<typename Layout::tag>(row));
  }
  pair pair_of(uint32_t row, uint64_t value) const { return {left_.template get<uint64_t>(row), value}; }

  void prefetch(uint32_t row, const uint8_t *&bucket) const {
    bucket = find_(tags_.hash(row));
    __builtin_prefetch(bucket);
  }

  // Notes the rows whose first bucket has a chain.  Prefetches the buckets of later rows.
  void look_ahead(uint32_t first, uint32_t end, uint32_t hashed) {
    uint32_t nopen = 0;
    const auto note = [&](uint32_t row) {
      open_[nopen] = row;
      nopen += *buckets_[row - first] >> 7;
    };
    uint32_t row = first;
    for (const uint32_t until = std::min(end, hashed - std::min(hashed, ahead)); row < until; ++row) {
      prefetch(row + ahead, buckets_[row - first + ahead]);
      note(row);
    }
    for (; row < end; ++row)
      note(row);
    nopen_ = nopen;
  }

  // Writes the pairs of a block.  Returns false and counts nothing if they may have no room.
  bool match_block(uint32_t first, uint32_t end, uint8_t *out, uint64_t room, match_count &done) {
    const bool merge = !several_ && follow_chains(first); // a row has at most one later pair
    if (!merge && !find_later_pairs(first, end))
      return false;
    if (room - done.pairs <= end - first + nlater_) // the loops write one pair more
      return false;
    uint8_t *const start = out + done.pairs * sizeof(pair);
    uint8_t *at = start;
    uint32_t several = 0, row = first;
    later_[nlater_].row = end;
    if (merge && nlater_ != 0) {
      at = first_matches<true>(first, row, end, at, several);
    } else {
      for (uint32_t i = 0; i < nlater_; ++i) {
        const later_pair &next = later_[i];
        at = first_matches<false>(first, row, next.row + 1, at, several);
        row = next.row + 1;
        store<pair>(at, pair_of(next.row, next.value));
        at += sizeof(pair);
      }
      at = first_matches<false>(first, row, end, at, several);
    }
    if (several != 0 && !several_) {
      several_ = true;
      return match_block(first, end, out, room, done);
    }
    several_ = several != 0;
    done = {done.pairs + static_cast<uint64_t>(at - start) / sizeof(pair), end};
    return true;
  }

  // Writes the first matches of rows and returns the end of the pairs.  With Merge, writes the later pairs too.
  template <bool Merge>
  uint8_t *first_matches(uint32_t first, uint32_t row, uint32_t end, uint8_t *at, uint32_t &several) const {
    const Tags tags = tags_;
    const Left left = left_;
    const later_pair *next = later_;
    uint32_t others = 0;
    const auto write = [&](uint64_t value, bool counts) {
      store<uint64_t>(at, left.template get<uint64_t>(row));
      store<uint64_t>(at + 8, value);
      // Nothing predicts whether a bucket has a tag, so the compiler must not make a branch of this.
      at = __builtin_expect_with_probability(counts, 1, 0.5) ? at + sizeof(pair) : at;
    };
    for (; row < end; ++row) {
      const uint8_t *bucket = buckets_[row - first];
      const uint32_t found =
          Layout::slots_with(bucket, *bucket & slot_count, tags.template tag<typename Layout::tag>(row));
      write(Layout::lowest_value(bucket, found | Layout::last_slot), found != 0);
      others |= found & (found - 1);
      if constexpr (Merge) {
        const bool has_later = next->row == row;
        write(next->value, has_later);
        next += has_later;
      }
    }
    several |= others;
    return at;
  }

  // Finds the pairs of the chains of a block, without branches.  Returns false if a row may have two pairs after its
  // first bucket, or one in its first bucket.
  bool follow_chains(uint32_t first) {
    uint32_t nchains = 0, several = 0;
    for (uint32_t i = 0; i < nopen_; ++i) {
      const uint32_t row = open_[i];
      const uint8_t *bucket = buckets_[row - first];
      const uint32_t found = slots_with_tag(bucket, row);
      const uint32_t only = any_bit(found) & (*bucket >> 6);
      open_[nchains] = row;
      chains_[nchains] = next_bucket(bucket);
      __builtin_prefetch(next_bucket(bucket));
      nchains += only ^ 1;
      several |= found & (found - 1);
    }
    nlater_ = 0;
    for (uint32_t i = 0; i < nchains; ++i) {
      const uint8_t *bucket = chains_[i];
      const uint32_t found = slots_with_tag(bucket, open_[i]);
      later_[nlater_] = {open_[i], Layout::lowest_value(bucket, found | Layout::last_slot)};
      nlater_ += any_bit(found);
      several |= (found & (found - 1)) | (*bucket & chained);
    }
    return several == 0;
  }

  // Finds all pairs of the rows of a block that are not their first match.  Returns false if there are too many.
  bool find_later_pairs(uint32_t first, uint32_t end) {
    nlater_ = 0;
    for (uint32_t row = first; row < end; ++row) {
      bool is_first = slots_with_tag(buckets_[row - first], row) != 0;
      const bool all_kept = for_each_match(buckets_[row - first], row, [&](uint64_t value) {
        if (std::exchange(is_first, false))
          return true;
        if (nlater_ == block_rows)
          return false;
        later_[nlater_++] = {row, value};
        return true;
      });
      if (!all_kept)
        return false;
    }
    return true;
  }

  // Looks up rows one after the other.  Returns false if the pairs of a row have no room.
  [[gnu::noinline]] bool match_rows(uint32_t end, uint8_t *out, uint64_t room, match_count &done) const {
    for (; done.rows < end; ++done.rows) {
      uint64_t written = done.pairs;
      if (!for_each_match(find_(tags_.hash(done.rows)), done.rows, [&](uint64_t value) {
            if (written == room)
              return false;
            store<pair>(out + written++ * sizeof(pair), pair_of(done.rows, value));
            return true;
          }))
        return false;
      done.pairs = written;
    }
    return true;
  }

  // Calls visit with the value of each slot that matches a row, along the chain, until visit returns false.
  template <class Visit>
  bool for_each_match(const uint8_t *bucket, uint32_t row, Visit visit) const {
    for (;; bucket = next_bucket(bucket)) {
      const uint32_t found = slots_with_tag(bucket, row);
      const bool only = found != 0 && *bucket & distinct;
      for (uint32_t left = only ? found & -found : found; left != 0; left &= left - 1)
        if (!visit(Layout::lowest_value(bucket, left)))
          return false;
      if (only || !(*bucket & chained))
        return true;
    }
  }

  Tags tags_;
  Left left_;
  Find find_;
  bool several_ = false; // a row of the last block had several matches in its first bucket
  uint32_t nopen_ = 0, nlater_ = 0;
  const uint8_t *buckets_[block_rows + ahead]; // of the rows of a block and of the first rows of the next block
  uint32_t open_[block_rows];                  // rows that may have other pairs than their first match
  const uint8_t *chains_[block_rows];          // the second buckets of these rows
  later_pair later_[block_rows + 1];           // the last one marks the end
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
    const auto match = [&](auto from) {
      return keys.with_tags([&](auto tags) {
        return with_finder<Layout>(bits, tables, [&](auto find) {
          return block_matches<Layout, decltype(tags), decltype(from), decltype(find)>(tags, from, find)
              .match(keys.count(), keys.hashed(), out + written * 16, capacity - written);
        });
      });
    };
    const auto *payload = static_cast<const uint8_t *>(left.vorn_cv_vals);
    const match_count found =
        has_left ? match(stored_values<typename Layout::value>{payload + uint64_t{keys.first()} * value_size})
                 : match(counted_values{left.vorn_cv_autorid + keys.first()});
    written += found.pairs;
    if (found.rows < keys.count()) {
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
