// The two scans behind every predicate kernel: the full pass and its selective twin.  A Reader says where row r of a
// stored form is and how 64 rows are matched at once; the scans own target, stream, mask, filter and count.
#pragma once

#include <algorithm>

#include "frame/operations.hpp"
#include "generic/predicate.hpp"
#include "generic/vornc_generic.hpp"

namespace vorn {

// What a named kernel hands to the scans.
struct predicate_kernel {
  unsigned opcode;
  bool nulls; // 0 stands for NULL
  stream_texts texts;
  vorn_kernel twin; // its selective twin, of the same shape
};

inline uint32_t verdict(uint32_t count) { return count == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE; }

// The full pass.  Every row is evaluated, whatever the filter; a run-length source is evaluated once per run, into its
// per-run vector, which the burst callback then expands to rows.  A one-sided kernel passes its constant as lo and hi.
template <class Reader>
[[gnu::noinline]] uint32_t scan(const predicate_kernel &kernel, vorn_cv *res, vorn_cv *src, const vorn_cv *lo,
                                const vorn_cv *hi, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const bool runs = enc.vorn_enc_ctx_flags & VORN_RLE;
  const uint32_t nrows = runs ? enc.vorn_enc_ctx_rle_nruns : res->vorn_cv_nrows;
  uint64_t *out = runs ? enc.vorn_enc_ctx_burst_res_bv : res->vorn_cv_bv;

  const uint64_t *filter = aux->vorn_aux_filter_bv;
  if (filter != nullptr && (aux->vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE))
    return is_range(kernel.opcode) ? kernel.twin.ternary(res, src, lo, hi, aux) : kernel.twin.binary(res, src, lo, aux);

  const Reader rows(obtain_stream(*src, *aux, kernel.texts), nrows);
  const interval in = normalise(kernel.opcode, kernel.nulls, Reader::max, Reader::constant(*lo), Reader::constant(*hi));
  uint32_t count = 0;
  for (uint64_t word = 0; word < words_of(nrows); ++word) {
    out[word] = rows.match(word, in);
    count += static_cast<uint32_t>(std::popcount(out[word]));
  }

  if (src->vorn_cv_mask_bv != nullptr)
    vorn_lbiwvand_dydi(out, &count, out, src->vorn_cv_mask_bv, nrows);
  if (filter != nullptr) {
    vorn_lbiwvand_dydi(out, &count, out, filter, nrows);
    set(*aux, operations::compare.selective);
  }
  res->vorn_cv_popc = count;
  if (!runs)
    return verdict(count);

  vorn_aux burst = {};
  burst.vorn_aux_filter_bv = out;
  burst.vorn_aux_popc = count;
  return enc.vorn_enc_ctx_burst_fn(aux->vorn_aux_ctx, res, src, &burst);
}

// Visits the rows of the filter alone, each at its own place.  Never used over runs.
template <class Reader>
[[gnu::noinline]] uint32_t scan_selective(const predicate_kernel &kernel, vorn_cv *res, vorn_cv *src, const vorn_cv *lo,
                                          const vorn_cv *hi, vorn_aux *aux) {
  const uint32_t nrows = src->vorn_cv_nrows;
  uint64_t *out = res->vorn_cv_bv;
  const Reader rows(obtain_stream(*src, *aux, kernel.texts), nrows);
  set(*aux, operations::compare.selective);
  std::fill_n(out, words_of(nrows), 0);

  const interval in = normalise(kernel.opcode, kernel.nulls, Reader::max, Reader::selective_constant(*lo),
                                Reader::selective_constant(*hi));
  uint32_t count = 0;
  vorn_lbiwv_ictx iterator;
  vorn_lbiwv_ictx_ini2_dydi(&iterator, aux->vorn_aux_filter_bv, nrows, 0, 0);
  uint32_t batch[8];
  uint32_t fetched;
  do {
    fetched = vorn_lbiwvones_dydi(&iterator, batch, 8);
    for (uint32_t i = 0; i < fetched; ++i) {
      const uint32_t row = batch[i];
      const uint32_t hit = in.contains(rows.at(row));
      out[row >> 6] |= uint64_t{hit} << (row & 63);
      count += hit;
    }
  } while (fetched == 8);

  if (src->vorn_cv_mask_bv != nullptr)
    vorn_lbiwvand_dydi(out, &count, out, src->vorn_cv_mask_bv, nrows);
  res->vorn_cv_popc = count;
  return verdict(count);
}

} // namespace vorn
