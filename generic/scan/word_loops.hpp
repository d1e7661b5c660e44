// The loops of the two scans that every reader can have: a full pass one word of 64 rows at a time, and a visit of
// single rows.  An engine of a level is a reader with another pass.
#pragma once

#include "frame/bits.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

struct word_loops {
  // Writes a bit for each of nrows rows, zeros up to the end of the last word, and returns how many are selected.
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    uint32_t count = 0;
    for (uint64_t word = 0; word < words_of(nrows); ++word) {
      out[word] = rows.match(word, predicate);
      count += popcount(out[word]);
    }
    return count;
  }

  // Sets the bits of the selected ones among the rows of the filter, in a vector of zeros, and returns how many they
  // are.
  template <class Reader, class Predicate>
  static uint32_t visit(Reader &rows, const Predicate &predicate, const uint64_t *filter, uint64_t *out,
                        uint32_t nrows) {
    vorn_lbiwv_ictx iterator = iterator_over(filter, nrows, wanted::set, 0);
    uint32_t count = 0;
    uint32_t batch[8];
    uint32_t fetched;
    do {
      fetched = next_ones(iterator, batch, 8);
      for (uint32_t i = 0; i < fetched; ++i) {
        const uint32_t row = batch[i];
        const uint32_t hit = predicate.contains(rows.at(row));
        out[row >> 6] |= uint64_t{hit} << (row & 63);
        count += hit;
      }
    } while (fetched == 8);
    return count;
  }
};

} // namespace vorn::inline VORN_LEVEL
