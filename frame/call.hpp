// The steps that entry points share.  Each entry point calls them in its own order, so that a step that it lacks shows
// by its absence.
#pragma once

#include <cstdint>

#include "frame/operations.hpp"
#include "frame/raise.hpp"
#include "frame/trace.hpp"
#include "frame/vorn.h"

namespace vorn {

inline bool over_runs(const vorn_cv &src) { return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_RLE; }

inline bool is_filtered_inversely(const vorn_aux &aux) {
  return aux.vorn_aux_filter_bv != nullptr && (aux.vorn_aux_flags & VORN_AUX_INVERT_FILTER);
}

inline uint32_t dispatch_index(uint64_t type_code, uint32_t opcode) {
  return static_cast<uint32_t>(type_code & 0xff) << 5 | opcode;
}

inline uint32_t force_generic(const vorn_ctx &ctx) { return (ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) ? 1 : 0; }

// A run-length source needs room for one bit per run; its bits are expanded to rows by the burst entry.
inline void prepare_runs(const vorn_ctx &ctx, const vorn_cv &src, const char *missing_vector) {
  if (!over_runs(src))
    return;
  vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  if (enc.vorn_enc_ctx_burst_res_bv == nullptr)
    raise(ctx, missing_vector);
  enc.vorn_enc_ctx_burst_fn = vorn_decode_rle_burst;
}

// A run-length source is evaluated over runs, where a filter of rows has no meaning.
inline void drop_filter_of_runs(const vorn_cv &src, vorn_aux &aux) {
  if (over_runs(src))
    aux.vorn_aux_filter_bv = nullptr;
}

// The alignment words are those of the record in force.
inline bool is_aligned(const void *address, uint64_t alignment) {
  return (reinterpret_cast<uintptr_t>(address) & (alignment - 1)) == 0;
}

inline void check_aligned(const vorn_ctx &ctx, const void *address, uint64_t alignment, const char *message) {
  if (!is_aligned(address, alignment))
    raise(ctx, message, address);
}

// The length code of a constant, 0 where it has none.
inline uint32_t length_code(const vorn_cv &cst) {
  const auto *lens = static_cast<const uint8_t *>(cst.vorn_cv_lens);
  return lens == nullptr ? 0 : *lens;
}

// Readies aux for a kernel: the operation's bits, the diagnostic code, the way back to the context.
inline void prepare(vorn_aux &aux, const vorn_ctx &ctx, const operation &op) {
  clear(aux, shared_bit);
  set(aux, op.called);
  clear(aux, op.selective);
  clear(aux, op.third);
  aux.vorn_aux_diag_code = 0;
  aux.vorn_aux_ctx = &ctx;
}

// Adds what the bits of the operation say to the host's statistics block, if there is one.
inline void count(const vorn_ctx &ctx, const vorn_aux &aux, const operation &op) {
  if (ctx.vorn_ctx_stats == nullptr)
    return;
  auto *const block = static_cast<unsigned char *>(ctx.vorn_ctx_stats);
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

// The timing of a call, decided at its very start.
class timing {
public:
  timing(const vorn_ctx &ctx, const trace_site &site) : timed_(ctx.vorn_ctx_trace != 0 && is_timed(ctx, site)) {}

  explicit operator bool() const { return timed_; }

  void start() {
    if (timed_)
      start_ = host_clock_time64();
  }

  // Microseconds since the start, and the rate in units of 2^20 rows a second.
  struct result {
    double elapsed;
    double rate;
  };
  result stop(uint32_t nrows) const;

  // Takes the rate into the running mean of the slot, when the context asks for it.
  static void accumulate(const vorn_ctx &ctx, uint32_t index, double rate);

private:
  bool timed_;
  uint64_t start_ = 0;
};

// The texts of an entry's self-check.
struct self_check_texts {
  const char *scratch;
  const char *popcount_differs;
  const char *result_differs;
};

// The scratch result of the generic kernel.
struct self_check_scratch {
  vorn_cv result = {};
  void *token = nullptr;
};
void begin_self_check(const vorn_ctx &ctx, const vorn_cv &res, const self_check_texts &texts,
                      self_check_scratch &scratch);
// A kernel that refused its operands wrote nothing that could be compared.
void end_self_check(const vorn_ctx &ctx, const vorn_cv &res, uint32_t index, uint32_t code,
                    const self_check_texts &texts, self_check_scratch &scratch);

// The kernel of an entry without a self-check.
inline const vorn_kernel &kernel_of(const vorn_ctx &ctx, uint32_t index) {
  return (force_generic(ctx) ? vorn_dispatch_table : vorn_global_ctx.vorn_global_ctx_dispatch)[index];
}

// The dispatch rule: the generic kernel when it is forced, both under the self-check, else the one in force.
// invoke(kernel, res) calls a kernel.
template <class Invoke>
uint32_t run_kernel(const vorn_ctx &ctx, uint32_t index, vorn_cv &res, const self_check_texts &texts, Invoke invoke) {
  const vorn_kernel &generic = vorn_dispatch_table[index];
  const vorn_kernel &in_force = vorn_global_ctx.vorn_global_ctx_dispatch[index];
  if (ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC)
    return invoke(generic, res);
  if (!(ctx.vorn_ctx_flags & VORN_CTX_SELF_CHECK))
    return invoke(in_force, res);
  self_check_scratch scratch;
  begin_self_check(ctx, res, texts, scratch);
  invoke(generic, scratch.result);
  const uint32_t code = invoke(in_force, res);
  end_self_check(ctx, res, index, code, texts, scratch);
  return code;
}

} // namespace vorn

// The trace points that most entry points have, each at its own place in the source.
#define VORN_TRACE_KERNEL(ctx, entry, index, enc)                                                                      \
  VORN_TRACE(ctx, vorn::trace_kernel, entry, "%s force_generic: %d qpak: %d\n", vorn_dispatch_func_names[index],       \
             vorn::force_generic(ctx), ((enc).vorn_enc_ctx_flags & VORN_STREAM) ? 1 : 0)
#define VORN_TRACE_ROWS(ctx, entry, nrows)                                                                             \
  VORN_TRACE(ctx, vorn::trace_call, entry, "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d\n", \
             vorn_global_ctx.vorn_global_ctx_lib_name, vorn_global_ctx.vorn_global_ctx_status,                         \
             static_cast<const void *>(vorn_global_ctx.vorn_global_ctx_dispatch), nrows)
#define VORN_TRACE_FILTER(ctx, entry, aux)                                                                             \
  VORN_TRACE(ctx, vorn::trace_call, entry, "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n",           \
             static_cast<const void *>((aux).vorn_aux_filter_bv), (aux).vorn_aux_popc,                                 \
             ((aux).vorn_aux_flags & VORN_AUX_INVERT_FILTER) ? 1 : 0,                                                  \
             ((aux).vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE) ? 1 : 0)
// done: what the entry calls the number of rows of its result.
#define VORN_TRACE_DECODED_ROWS(ctx, entry, src, res, done)                                                            \
  VORN_TRACE(ctx, vorn::trace_call, entry,                                                                             \
             "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d " done ": %d\n",                  \
             vorn_global_ctx.vorn_global_ctx_lib_name, vorn_global_ctx.vorn_global_ctx_status,                         \
             static_cast<const void *>(vorn_global_ctx.vorn_global_ctx_dispatch), (src).vorn_cv_nrows,                 \
             (res).vorn_cv_nrows)
#define VORN_TRACE_DECODE(ctx, entry, res, aux)                                                                        \
  VORN_TRACE(                                                                                                          \
      ctx, vorn::trace_call, entry, "vals: %p lens: %p flgs: %p\nfilterbv: %p start_slot: %d ones_vec: %p (%d)\n",     \
      (res).vorn_cv_vals, (res).vorn_cv_lens, (res).vorn_cv_flgs, static_cast<const void *>((aux).vorn_aux_filter_bv), \
      (aux).vorn_aux_start_slot, static_cast<const void *>((aux).vorn_aux_ones_vec), (aux).vorn_aux_ones_vec_size)
#define VORN_TRACE_DIAGNOSTIC(ctx, entry, aux)                                                                         \
  do {                                                                                                                 \
    if ((aux).vorn_aux_diag_code != 0)                                                                                 \
      VORN_TRACE(ctx, vorn::trace_call, entry, "diag_code: %d\n", (aux).vorn_aux_diag_code);                           \
  } while (false)
#define VORN_TRACE_TIME(ctx, entry, measured)                                                                          \
  VORN_TRACE(ctx, vorn::trace_timing, entry, "Runtime %.0f us (%.0f Mrows/sec)\n", (measured).elapsed, (measured).rate)
// The timing step of a timed call: the line, and the running mean of the slot.
#define VORN_TIMING_STEP(ctx, entry, timer, nrows, index)                                                              \
  do {                                                                                                                 \
    if (timer) {                                                                                                       \
      const vorn::timing::result measured = (timer).stop(nrows);                                                       \
      VORN_TRACE_TIME(ctx, entry, measured);                                                                           \
      vorn::timing::accumulate(ctx, index, measured.rate);                                                             \
    }                                                                                                                  \
  } while (false)
