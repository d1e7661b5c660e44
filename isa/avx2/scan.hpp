// Readers of the scans whose passes ask a vector of rows at once.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/dynp.hpp"
#include "generic/scan/fixed.hpp"
#include "generic/scan/membership.hpp"
#include "isa/full_scan.hpp"
#include "isa/wrapped_range.hpp"

namespace vorn::inline VORN_LEVEL {

// A reader says by cost_per_row(predicate) as how many rows in lanes a row by itself takes, or 0 where a predicate has
// no lanes: a filter that selects more than one row of so many is not worth a visit of its rows.
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

// Kernels are those of a level (lane_kernels).
template <unsigned W, class Kernels>
struct lane_dict : dict<W> {
  using dict<W>::dict;
  using loops = lane_loops;

  static unsigned cost_per_row(const interval<uint64_t> & /*predicate*/) { return Kernels::interval_cost_per_row(W); }
  uint32_t select_lanes(const interval<uint64_t> &predicate, uint64_t *out, uint32_t nrows) const {
    return Kernels::interval(W, this->stream(), nrows, wrapped_range_of(predicate, W), out);
  }

  static unsigned cost_per_row(const membership &predicate) { return Kernels::member_cost_per_row(W, predicate.map); }
  uint32_t select_lanes(const membership &predicate, uint64_t *out, uint32_t nrows) const {
    return Kernels::members(W, this->stream(), nrows, predicate.map, out);
  }
};

// Values of a stride in bytes are codes of eight times as many bits.
template <unsigned W, bool Tz, class Kernels>
struct lane_fixed : fixed<W, Tz> {
  using fixed<W, Tz>::fixed;
  using loops = lane_loops;

  template <class Number>
  static unsigned cost_per_row(const interval<Number> & /*predicate*/) {
    return Kernels::value_cost_per_row(W, Tz);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &predicate, uint64_t *out, uint32_t nrows) const {
    const unsigned width = 8 * this->stride();
    if constexpr (Tz) {
      if (nrows != 0) // as the generic form, which looks at the width when it meets a row
        this->check_width();
      const code_source codes = {this->lens(), length_code_bits(W), this->uniform()};
      return Kernels::pairs(width, this->values(), nrows, codes, pairs_of(predicate, width), out);
    } else {
      return Kernels::interval(width, this->values(), nrows, wrapped_range_of(predicate, width), out);
    }
  }
};

// Bytes are dictionary codes of 8 bits, as in the generic form.
template <bool Tz, class Kernels>
struct lane_fixed<8, Tz, Kernels> : lane_dict<8, Kernels> {
  using lane_dict<8, Kernels>::lane_dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return lane_fixed::constant(cst); }
};

template <unsigned W, bool Tz, class Kernels>
struct lane_dynp : dynp<W, Tz> {
  using dynp<W, Tz>::dynp;
  using loops = lane_loops;

  template <class Number>
  static unsigned cost_per_row(const interval<Number> & /*predicate*/) {
    return Kernels::packed_cost_per_row(W);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &predicate, uint64_t *out, uint32_t nrows) const {
    if constexpr (Tz)
      return Kernels::packed_pairs(W, this->values(), nrows, this->lens(), pairs_of(predicate, W), out);
    else
      return Kernels::packed(W, this->values(), nrows, this->lens(), wrapped_range_of(predicate, W), out);
  }
};

} // namespace vorn::inline VORN_LEVEL
