// Readers for scans that compare a vector of rows at a time.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/dynp.hpp"
#include "generic/scan/fixed.hpp"
#include "generic/scan/membership.hpp"
#include "isa/full_scan.hpp"
#include "isa/own_loops.hpp"
#include "isa/packed.hpp"

namespace vorn::inline VORN_LEVEL {

// cost_per_row(predicate) of a reader is the number of rows in lanes that take as long as the visit of a single row, or
// 0 if the predicate has no vector kernel.  If a filter selects more than one row in this many rows, all rows are
// scanned.
struct lane_loops {
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    return rows.cost_per_row(predicate) != 0 ? rows.select_lanes(predicate, out, nrows)
                                             : word_loops::select(rows, predicate, out, nrows);
  }

  template <class Reader, class Predicate>
  static uint32_t visit(Reader &rows, const Predicate &predicate, const uint64_t *filter, uint64_t *out,
                        uint32_t nrows) {
    const uint64_t cost = rows.cost_per_row(predicate);
    if (cost == 0 || !prefers_full_scan(filter, nrows, cost))
      return word_loops::visit(rows, predicate, filter, out, nrows);
    rows.select_lanes(predicate, out, nrows);
    return and_words(out, out, filter, nrows);
  }
};

template <unsigned W>
struct lane_dict : dict<W> {
  using dict<W>::dict;
  using loops = lane_loops;

  static unsigned cost_per_row(const interval<uint64_t> & /*predicate*/) { return row_costs::interval(W); }
  uint32_t select_lanes(const interval<uint64_t> &predicate, uint64_t *out, uint32_t nrows) const {
    return select_range(W, this->stream(), nrows, wrapped_range_of(predicate, W), out);
  }

  static unsigned cost_per_row(const membership &predicate) { return row_costs::members(W, predicate.map); }
  uint32_t select_lanes(const membership &predicate, uint64_t *out, uint32_t nrows) const {
    return select_members(W, this->stream(), nrows, predicate.map, out);
  }
};

// A value of `stride` bytes is a code of 8 * stride bits.
template <unsigned W, bool Tz>
struct lane_fixed : fixed<W, Tz> {
  using fixed<W, Tz>::fixed;
  using loops = lane_loops;

  template <class Number>
  static unsigned cost_per_row(const interval<Number> & /*predicate*/) {
    return row_costs::values(W, Tz);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &predicate, uint64_t *out, uint32_t nrows) const {
    const unsigned width = 8 * this->stride();
    if constexpr (Tz) {
      if (nrows != 0) // like the generic reader, which checks the width at the first row
        this->check_width();
      const code_source codes = {this->lens(), length_code_bits(W), this->uniform()};
      return select_pairs(width, this->values(), nrows, codes, pairs_of(predicate, width), out);
    } else {
      return select_range(width, this->values(), nrows, wrapped_range_of(predicate, width), out);
    }
  }
};

// Bytes are read as dictionary codes of 8 bits, as in the generic reader.
template <bool Tz>
struct lane_fixed<8, Tz> : lane_dict<8> {
  using lane_dict<8>::lane_dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return lane_fixed::constant(cst); }
};

template <unsigned W, bool Tz>
struct lane_dynp : dynp<W, Tz> {
  using dynp<W, Tz>::dynp;
  using loops = lane_loops;

  template <class Number>
  static unsigned cost_per_row(const interval<Number> & /*predicate*/) {
    return row_costs::packed(W);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &predicate, uint64_t *out, uint32_t nrows) const {
    if constexpr (Tz)
      return select_packed_pairs(W, this->values(), nrows, this->lens(), pairs_of(predicate, W), out);
    else
      return select_packed(W, this->values(), nrows, this->lens(), wrapped_range_of(predicate, W), out);
  }
};

} // namespace vorn::inline VORN_LEVEL
