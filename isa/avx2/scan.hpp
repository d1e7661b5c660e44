// Readers of the scans whose passes ask a vector of rows at once.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/dynp.hpp"
#include "generic/scan/fixed.hpp"
#include "generic/scan/membership.hpp"
#include "isa/dense.hpp"
#include "isa/ring.hpp"

namespace vorn::inline VORN_LEVEL {

// A reader says by row_cost(predicate) as how many rows in lanes a row by itself takes, or 0 where a predicate has no
// lanes: a filter that selects more than one row of so many is not worth a visit of its rows.
struct lane_pass {
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    return rows.row_cost(predicate) != 0 ? rows.select_lanes(predicate, out, nrows)
                                         : word_pass::select(rows, predicate, out, nrows);
  }

  template <class Reader, class Predicate>
  static uint32_t visit(Reader &rows, const Predicate &predicate, const uint64_t *filter, uint64_t *out,
                        uint32_t nrows) {
    const uint64_t cost = rows.row_cost(predicate);
    if (cost == 0 || !is_dense(filter, nrows, cost))
      return word_pass::visit(rows, predicate, filter, out, nrows);
    rows.select_lanes(predicate, out, nrows);
    return and_words(out, out, filter, nrows);
  }
};

// Passes are those of a level (lane_passes).
template <unsigned W, class Passes>
struct lane_dict : dict<W> {
  using dict<W>::dict;
  using pass = lane_pass;

  static unsigned row_cost(const interval<uint64_t> & /*asked*/) { return Passes::interval_row_cost(W); }
  uint32_t select_lanes(const interval<uint64_t> &asked, uint64_t *out, uint32_t nrows) const {
    return Passes::interval(W, this->stream(), nrows, ring_of(asked, W), out);
  }

  static unsigned row_cost(const membership &asked) { return Passes::member_row_cost(W, asked.map); }
  uint32_t select_lanes(const membership &asked, uint64_t *out, uint32_t nrows) const {
    return Passes::members(W, this->stream(), nrows, asked.map, out);
  }
};

// Values of a stride in bytes are codes of eight times as many bits.
template <unsigned W, bool Tz, class Passes>
struct lane_fixed : fixed<W, Tz> {
  using fixed<W, Tz>::fixed;
  using pass = lane_pass;

  template <class Number>
  static unsigned row_cost(const interval<Number> & /*asked*/) {
    return Passes::value_row_cost(W, Tz);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    const unsigned width = 8 * this->stride();
    if constexpr (Tz) {
      if (nrows != 0) // as the generic form, which looks at the width when it meets a row
        this->check_width();
      const code_source codes = {this->lens(), length_code_bits(W), this->uniform()};
      return Passes::pairs(width, this->values(), nrows, codes, pairs_of(asked, width), out);
    } else {
      return Passes::interval(width, this->values(), nrows, ring_of(asked, width), out);
    }
  }
};

// Bytes are dictionary codes of 8 bits, as in the generic form.
template <bool Tz, class Passes>
struct lane_fixed<8, Tz, Passes> : lane_dict<8, Passes> {
  using lane_dict<8, Passes>::lane_dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return lane_fixed::constant(cst); }
};

template <unsigned W, bool Tz, class Passes>
struct lane_dynp : dynp<W, Tz> {
  using dynp<W, Tz>::dynp;
  using pass = lane_pass;

  template <class Number>
  static unsigned row_cost(const interval<Number> & /*asked*/) {
    return Passes::packed_row_cost(W);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    if constexpr (Tz)
      return Passes::packed_pairs(W, this->values(), nrows, this->lens(), pairs_of(asked, W), out);
    else
      return Passes::packed(W, this->values(), nrows, this->lens(), ring_of(asked, W), out);
  }
};

} // namespace vorn::inline VORN_LEVEL
