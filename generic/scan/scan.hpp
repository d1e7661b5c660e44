// The two scans behind every predicate kernel: the full pass and its selective twin.  A Reader says where row r of a
// stored form is and which number stands there, and names the pass that runs over it.  A Predicate, an interval or a
// set, is asked for 64 numbers at once or for one.  The scans own target, stream, mask, filter and count.
#pragma once

#include <algorithm>

#include "frame/operations.hpp"
#include "generic/bitvec/combine.hpp"
#include "generic/scan/predicate.hpp"
#include "generic/stream.hpp"

namespace vorn::inline VORN_LEVEL {

// What a named comparison hands to the scans.  A one-sided one passes its constant as lo and hi.
struct compare_kernel {
  static constexpr operation reported = operations::compare;
  static constexpr bool masked = true;

  unsigned opcode;
  bool nulls; // 0 stands for NULL
  stream_texts texts;
  vorn_kernel twin; // its selective twin, of the same shape

  template <class Reader>
  auto predicate(const Reader &rows, const vorn_cv &lo, const vorn_cv &hi) const {
    return normalise<typename Reader::number>(opcode, nulls, Reader::max, rows.constant(lo), rows.constant(hi));
  }

  template <class Reader>
  auto selective_predicate(const Reader &rows, const vorn_cv &lo, const vorn_cv &hi) const {
    return normalise<typename Reader::number>(opcode, nulls, Reader::max, rows.selective_constant(lo),
                                              rows.selective_constant(hi));
  }

  uint32_t hand_over(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi, vorn_aux *aux) const {
    return is_range(opcode) ? twin.ternary(res, src, lo, hi, aux) : twin.binary(res, src, lo, aux);
  }
};

inline uint32_t verdict(uint32_t count) { return count == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE; }

// The full pass.  Every row is evaluated, whatever the filter; a run-length source is evaluated once per run, into its
// per-run vector, which the burst callback then expands to rows.
template <class Reader, class Kernel>
[[gnu::noinline]] uint32_t scan(const Kernel &kernel, vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi,
                                vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const bool runs = enc.vorn_enc_ctx_flags & VORN_RLE;
  const uint32_t nrows = runs ? enc.vorn_enc_ctx_rle_nruns : res->vorn_cv_nrows;
  uint64_t *out = runs ? enc.vorn_enc_ctx_burst_res_bv : res->vorn_cv_bv;

  if (!Reader::accepts(*lo) || !Reader::accepts(*hi))
    return VORN_RESULT_REFUSED;
  const uint64_t *filter = aux->vorn_aux_filter_bv;
  if (filter != nullptr && (aux->vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE))
    return kernel.hand_over(res, src, lo, hi, aux);

  Reader rows(obtain_stream(*src, *aux, kernel.texts), nrows, *src, *lo);
  uint32_t count = Reader::loops::select(rows, kernel.predicate(rows, *lo, *hi), out, nrows);

  if (Kernel::masked && src->vorn_cv_mask_bv != nullptr)
    count = and_words(out, out, src->vorn_cv_mask_bv, nrows);
  if (filter != nullptr) {
    count = and_words(out, out, filter, nrows);
    set(*aux, Kernel::reported.selective);
  }
  res->vorn_cv_popc = count;
  if (!runs)
    return verdict(count);

  vorn_aux burst = {};
  burst.vorn_aux_filter_bv = out;
  burst.vorn_aux_popc = count;
  return enc.vorn_enc_ctx_burst_fn(aux->vorn_aux_ctx, res, src, &burst);
}

// Visits the rows of the filter alone, in their order, each at its own place.  Never used over runs.
template <class Reader, class Kernel>
[[gnu::noinline]] uint32_t scan_selective(const Kernel &kernel, vorn_cv *res, vorn_cv *src, const vorn_cv *lo,
                                          const vorn_cv *hi, vorn_aux *aux) {
  const uint32_t nrows = src->vorn_cv_nrows;
  uint64_t *out = res->vorn_cv_bv;
  const uint64_t *filter = aux->vorn_aux_filter_bv;
  Reader rows(obtain_stream(*src, *aux, kernel.texts), nrows, *src, *lo);
  set(*aux, Kernel::reported.selective);
  std::fill_n(out, words_of(nrows), 0);

  const auto predicate = kernel.selective_predicate(rows, *lo, *hi);
  uint32_t count = 0;
  switch (predicate.folds_to(Reader::max)) {
  case constant_result::no:
    count = Reader::loops::visit(rows, predicate, filter, out, nrows);
    break;
  case constant_result::all_match:
    count = and_words(out, filter, filter, nrows);
    break;
  default: // none matches
    break;
  }

  if (Kernel::masked && src->vorn_cv_mask_bv != nullptr)
    count = and_words(out, out, src->vorn_cv_mask_bv, nrows);
  res->vorn_cv_popc = count;
  return verdict(count);
}

} // namespace vorn::inline VORN_LEVEL
