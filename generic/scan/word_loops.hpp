// The loops of the two scans for any reader: a full scan that takes a word of 64 rows at a time, and a visit of single
// rows.  The engine of a level has readers with other loops.
#pragma once

#include "frame/bits.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/bitvec/words.hpp"

namespace vorn::inline VORN_LEVEL {

struct word_loops {
  // Writes a bit for each of nrows rows, and zeros up to the end of the last word.  Returns the number of selected
  // rows.
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    uint32_t count = 0;
    for (uint64_t word = 0; word < words_of(nrows); ++word) {
      const uint64_t bits = rows.match(word, predicate);
      set_word(out, word, bits);
      count += popcount(bits);
    }
    return count;
  }

  // Sets the bits of the selected rows among the rows of the filter.  `out` holds zeros before.  Returns the number of
  // selected rows.
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
        set_word(out, row / 64, get_word(out, row / 64) | uint64_t{hit} << row % 64);
        count += hit;
      }
    } while (fetched == 8);
    return count;
  }
};

} // namespace vorn::inline VORN_LEVEL
