// The pass of the scans that asks a vector of rows at once, and its readers.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "generic/scan/dict.hpp"
#include "generic/scan/dynp.hpp"
#include "generic/scan/fixed.hpp"
#include "generic/scan/membership.hpp"
#include "isa/avx2/members.hpp"
#include "isa/avx2/packed.hpp"

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
    if (cost == 0 || cost * single_words::count(filter, words_of(nrows)) <= nrows)
      return word_pass::visit(rows, predicate, filter, out, nrows);
    rows.select_lanes(predicate, out, nrows);
    return and_words(out, out, filter, nrows);
  }
};

template <unsigned W>
struct lane_dict : dict<W> {
  using dict<W>::dict;
  using pass = lane_pass;

  static unsigned row_cost(const interval<uint64_t> & /*asked*/) { return W <= 8 ? 48 : 80 / sizeof(lane<W>); }
  uint32_t select_lanes(const interval<uint64_t> &asked, uint64_t *out, uint32_t nrows) const {
    return select_ring<W>(this->stream(), nrows, ring_of(asked, W), out);
  }

  // Above 20 bits a map is larger than a cache, and every look-up counts.
  static unsigned row_cost(const membership &asked) {
    if (W > 8)
      return W > 20 ? 1 : 6;
    return map_words<W>::readable(asked.map) ? 48 : 0;
  }
  uint32_t select_lanes(const membership &asked, uint64_t *out, uint32_t nrows) const {
    if constexpr (W <= 8)
      return select_members<W>(this->stream(), nrows, asked.map, out);
    else
      return select_members<W>(*this, nrows, asked, out);
  }
};

// Calls call(W) for values of a stride in bytes, which are codes of W bits.
template <class Call>
uint32_t by_width(unsigned stride, Call call) {
  const auto of = [&]<unsigned W>() { return call(std::integral_constant<unsigned, W>{}); };
  switch (stride) {
  case 1:
    return of.template operator()<8>();
  case 2:
    return of.template operator()<16>();
  case 3:
    return of.template operator()<24>();
  case 4:
    return of.template operator()<32>();
  case 5:
    return of.template operator()<40>();
  case 6:
    return of.template operator()<48>();
  case 7:
    return of.template operator()<56>();
  default:
    return of.template operator()<64>();
  }
}

template <unsigned W, bool Tz>
struct lane_fixed : fixed<W, Tz> {
  using fixed<W, Tz>::fixed;
  using pass = lane_pass;

  template <class Number>
  static unsigned row_cost(const interval<Number> & /*asked*/) {
    return 640 / W / (Tz ? 2 : 1);
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    if (Tz && nrows != 0) // as the generic form, which looks at the width when it meets a row
      this->check_width();
    return by_width(this->stride(), [&](auto width) {
      if constexpr (Tz)
        return select_pairs<width>(this->values(), nrows, {this->lens(), length_code_bits(W), this->uniform()},
                                   pairs_of(asked, width), out);
      else
        return select_ring<width>(this->values(), nrows, ring_of(asked, width), out);
    });
  }
};

// Bytes are dictionary codes of 8 bits, as in the generic form.
template <bool Tz>
struct lane_fixed<8, Tz> : lane_dict<8> {
  using lane_dict<8>::lane_dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return constant(cst); }
};

template <unsigned W, bool Tz>
struct lane_dynp : dynp<W, Tz> {
  using dynp<W, Tz>::dynp;
  using pass = lane_pass;

  template <class Number>
  static unsigned row_cost(const interval<Number> & /*asked*/) {
    return 1024 / W;
  }
  template <class Number>
  uint32_t select_lanes(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    if constexpr (Tz)
      return select_packed_pairs<W>(this->values(), nrows, this->lens(), pairs_of(asked, W), out);
    else
      return select_packed<W>(this->values(), nrows, this->lens(), ring_of(asked, W), out);
  }
};

} // namespace vorn::inline VORN_LEVEL
