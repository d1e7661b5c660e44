// The steps of entry points that only some calls take: statistics, timing, self-check.
#include "frame/entry_point.hpp"

#include <cmath>

namespace vorn {

void entry_point::add_to(void *stats, const vorn_aux &aux, const operation &op) {
  auto *const block = static_cast<unsigned char *>(stats);
  const auto increment = [&](uint64_t counters, uint8_t position) {
    ++reinterpret_cast<uint64_t *>(block + counters)[position];
  };
  if (is_set(aux, op.called))
    increment(called_counters, op.counter);
  if (is_set(aux, op.selective))
    increment(selective_counters, op.counter);
  if (is_set(aux, op.third))
    increment(third_counters, op.third_counter);
}

entry_point::timing entry_point::stop_clock(uint64_t start, uint32_t nrows) {
  // Readings are converted before they are subtracted.  Equal ones give an infinite rate, or NaN without rows.
  const double elapsed = static_cast<double>(host_clock_time64()) - static_cast<double>(start);
  const double seconds = std::fabs(elapsed) / 1000000;
  return {elapsed, nrows * 0x1p-20 / seconds};
}

void entry_point::accumulate(const vorn_ctx &ctx, uint32_t index, double rate) {
  if (!(ctx.vorn_ctx_flags & VORN_CTX_ACCUMULATE))
    return;
  const double n = ctx.vorn_ctx_call_counts[index];
  ctx.vorn_ctx_rates[index] = (n * ctx.vorn_ctx_rates[index] + rate) / (n + 1);
  ++ctx.vorn_ctx_call_counts[index];
}

void entry_point::begin_self_check(const vorn_ctx &ctx, const vorn_cv &res, const self_check_texts &texts,
                                   self_check_scratch &scratch) {
  const uint64_t size = ((uint64_t{res.vorn_cv_nrows} + 63) >> 3) & ~uint64_t{7};
  void *memory =
      vornu_stack_alloc_align(ctx.vorn_ctx_env, size, texts.scratch, vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN,
                              vorn_global_ctx.vorn_global_ctx_pad_output, &scratch.token);
  vorn_build_vector(&scratch.result, nullptr, nullptr, nullptr, res.vorn_cv_encoding_context, nullptr,
                    static_cast<uint64_t *>(memory), res.vorn_cv_nrows, 0, nullptr, 0);
}

void entry_point::end_self_check(const vorn_ctx &ctx, const vorn_cv &res, uint32_t index, bool compared,
                                 const self_check_texts &texts, self_check_scratch &scratch) {
  if (compared) {
    const char *kernel = vorn_dispatch_func_names[index];
    const uint32_t nrows = res.vorn_cv_nrows;
    if (scratch.result.vorn_cv_popc != res.vorn_cv_popc)
      raise(ctx, texts.popcount_differs, kernel, scratch.result.vorn_cv_popc, res.vorn_cv_popc);
    if (vornt_compare_res(0, scratch.result.vorn_cv_bv, res.vorn_cv_bv, nrows) == 0)
      raise(ctx, texts.result_differs, kernel, nrows, nrows);
  }
  vornu_stack_free_align(ctx.vorn_ctx_env, scratch.result.vorn_cv_bv, scratch.token);
}

} // namespace vorn
