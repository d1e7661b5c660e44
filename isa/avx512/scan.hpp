// Readers whose passes take VBMI where there is some.
#pragma once

#include "generic/bitvec/combine.hpp"
#include "isa/avx2/scan.hpp"
#include "isa/avx512/processor.hpp"
#include "isa/vbmi/passes.hpp"

namespace vorn::inline VORN_LEVEL {

// Base is the pass of processors without VBMI.  A row by itself takes about as long as Rows of all: a filter that
// selects more than one of them is not worth a visit of its rows.
template <class Base, unsigned Rows>
struct vbmi_pass {
  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    return has_vbmi ? rows.select(predicate, out, nrows) : Base::select(rows, predicate, out, nrows);
  }

  template <class Reader, class Predicate>
  static uint32_t visit(Reader &rows, const Predicate &predicate, const uint64_t *filter, uint64_t *out,
                        uint32_t nrows) {
    if (!has_vbmi || uint64_t{Rows} * vbmi_passes::count_ones(filter, words_of(nrows)) <= nrows)
      return Base::visit(rows, predicate, filter, out, nrows);
    rows.select(predicate, out, nrows);
    return and_words(out, out, filter, nrows);
  }
};

template <unsigned W>
struct avx512_dict : lane_dict<W> {
  using lane_dict<W>::lane_dict;
  using pass = vbmi_pass<typename lane_dict<W>::pass, 128 / sizeof(lane<W>)>;

  uint32_t select(const interval<uint64_t> &asked, uint64_t *out, uint32_t nrows) const {
    return vbmi_passes::select_interval[W](this->stream(), nrows, ring_of(asked, W), out);
  }
  uint32_t select(const membership &asked, uint64_t *out, uint32_t nrows) const {
    return vbmi_passes::select_members[W](this->stream(), nrows, asked.map, out);
  }
};

// Values of a stride in bytes are codes of eight times as many bits.
template <unsigned W, bool Tz>
struct avx512_fixed : lane_fixed<W, Tz> {
  using lane_fixed<W, Tz>::lane_fixed;
  using pass = vbmi_pass<typename lane_fixed<W, Tz>::pass, 16>;

  template <class Number>
  uint32_t select(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    const unsigned width = 8 * this->stride();
    if constexpr (Tz) {
      if (nrows != 0) // as the generic form, which looks at the width when it meets a row
        this->check_width();
      const vbmi_passes::code_source codes = {this->lens(), length_code_bits(W), this->uniform()};
      return vbmi_passes::select_pairs[width](this->values(), nrows, codes, pairs_of(asked, width), out);
    } else {
      return vbmi_passes::select_interval[width](this->values(), nrows, ring_of(asked, width), out);
    }
  }
};

template <bool Tz>
struct avx512_fixed<8, Tz> : avx512_dict<8> {
  using avx512_dict<8>::avx512_dict;
  static uint64_t selective_constant(const vorn_cv &cst) { return constant(cst); }
};

template <unsigned W, bool Tz>
struct avx512_dynp : lane_dynp<W, Tz> {
  using lane_dynp<W, Tz>::lane_dynp;
  using pass = vbmi_pass<typename lane_dynp<W, Tz>::pass, 64>;

  template <class Number>
  uint32_t select(const interval<Number> &asked, uint64_t *out, uint32_t nrows) const {
    if constexpr (Tz)
      return vbmi_passes::select_packed_pairs[W](this->values(), nrows, this->lens(), pairs_of(asked, W), out);
    else
      return vbmi_passes::select_packed[W](this->values(), nrows, this->lens(), ring_of(asked, W), out);
  }
};

} // namespace vorn::inline VORN_LEVEL
