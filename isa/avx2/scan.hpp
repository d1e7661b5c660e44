// The pass of the scans that asks a vector of rows at once.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/membership.hpp"
#include "isa/avx2/interval.hpp"
#include "isa/avx2/members.hpp"

namespace vorn::inline VORN_LEVEL {

template <unsigned W>
uint32_t select_rows(const dict<W> &rows, const interval<uint64_t> &asked, uint64_t *out, uint32_t nrows) {
  return select_ring<W>(rows.stream(), nrows, ring_of(asked, W), out);
}

// Wider codes than of 8 bits are looked up in memory one by one, which a vector does no faster.
template <unsigned W>
uint32_t select_rows(const dict<W> &rows, const membership &asked, uint64_t *out, uint32_t nrows) {
  if constexpr (W <= 8)
    if (map_words<W>::readable(asked.map))
      return select_members<W>(rows.stream(), nrows, asked.map, out);
  return word_pass::select(rows, asked, out, nrows);
}

// Whether it pays to ask all rows instead of those of a filter: a row by itself takes about as long as 32 in vectors.
inline bool is_dense(const uint64_t *filter, uint32_t nrows) {
  uint64_t ones = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word)
    ones += popcount(filter[word]);
  return ones >= nrows / 32;
}

struct lane_pass {
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    return select_rows(rows, predicate, out, nrows);
  }

  template <class Reader, class Predicate>
  static uint32_t visit(Reader &rows, const Predicate &predicate, const uint64_t *filter, uint64_t *out,
                        uint32_t nrows) {
    if (!is_dense(filter, nrows))
      return word_pass::visit(rows, predicate, filter, out, nrows);
    select(rows, predicate, out, nrows);
    return and_words(out, out, filter, nrows);
  }
};

template <unsigned W>
struct lane_dict : dict<W> {
  using dict<W>::dict;
  using pass = lane_pass;
};

} // namespace vorn::inline VORN_LEVEL
