// The steps of entry points that only some calls take: statistics, timing, self-check.
#include "frame/entry_point.hpp"

#include <cmath>
#include <cstring>

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

// The kernels of a range set bits of some rows only, so their scratch result begins clear.
void entry_point::begin_self_check(const vorn_ctx &ctx, const vorn_cv &res, const self_check_subject &subject,
                                   self_check_scratch &scratch) {
  const bool has_range = subject.texts.range_differs != nullptr;
  const uint64_t size = (uint64_t{subject.nrows} + 63) / 64 * sizeof(uint64_t);
  void *memory =
      vornu_stack_alloc_align(ctx.vorn_ctx_env, size, subject.texts.scratch, vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN,
                              vorn_global_ctx.vorn_global_ctx_pad_output, &scratch.token);
  if (has_range)
    std::memset(memory, 0, size);
  vorn_build_vector(&scratch.result, has_range ? &scratch.rows : nullptr, nullptr, nullptr,
                    has_range ? nullptr : res.vorn_cv_encoding_context, nullptr, static_cast<uint64_t *>(memory),
                    subject.nrows, 0, nullptr, 0);
}

// Without a range the counts are compared first, with a range the bits.
void entry_point::compare_results(const vorn_ctx &ctx, const vorn_cv &res, const self_check_subject &subject,
                                  const self_check_scratch &scratch) {
  const self_check_texts &texts = subject.texts;
  const auto report = [&](const char *message, auto... values) {
    if (subject.kernel != nullptr)
      raise(ctx, message, subject.kernel, values...);
    else
      raise(ctx, message, values...);
  };
  const auto compare_popcounts = [&] {
    if (scratch.result.vorn_cv_popc != res.vorn_cv_popc)
      report(texts.popcount_differs, scratch.result.vorn_cv_popc, res.vorn_cv_popc);
  };
  const auto bits_differ = [&] {
    return vornt_compare_res(0, scratch.result.vorn_cv_bv, res.vorn_cv_bv, subject.nrows) == 0;
  };
  if (texts.range_differs == nullptr) {
    compare_popcounts();
    if (bits_differ())
      report(texts.result_differs, subject.nrows, subject.nrows);
    return;
  }
  if (bits_differ())
    report(texts.result_differs, subject.nrows, subject.operand);
  compare_popcounts();
  row_range rows;
  std::memcpy(&rows, res.vorn_cv_vals, sizeof rows);
  if (scratch.rows.first != rows.first || scratch.rows.last != rows.last)
    report(texts.range_differs, scratch.rows.first, scratch.rows.last, rows.first, rows.last);
}

void entry_point::end_self_check(const vorn_ctx &ctx, const self_check_scratch &scratch) {
  vornu_stack_free_align(ctx.vorn_ctx_env, scratch.result.vorn_cv_bv, scratch.token);
}

} // namespace vorn
