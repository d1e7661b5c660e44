// The steps that entry points share.  Each entry point lists its steps in their order, so a missing step is visible.
#pragma once

#include <cstdint>
#include <optional>

#include "frame/operations.hpp"
#include "frame/raise.hpp"
#include "frame/slots.hpp"
#include "frame/trace.hpp"
#include "frame/vorn.h"

namespace vorn {

inline bool over_runs(const vorn_cv &src) { return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_RLE; }

// The caller takes the alignment from the record in force.
inline bool is_aligned(const void *address, uint64_t alignment) {
  return (reinterpret_cast<uintptr_t>(address) & (alignment - 1)) == 0;
}

// The length code of a constant, 0 for a constant without one.
inline uint32_t length_code(const vorn_cv &cst) {
  const auto *lens = static_cast<const uint8_t *>(cst.vorn_cv_lens);
  return lens == nullptr ? 0 : *lens;
}

// The caller's aux, or a cleared aux of the call.
inline vorn_aux &aux_or_own(vorn_aux *aux, std::optional<vorn_aux> &own) {
  return aux != nullptr ? *aux : own.emplace();
}

// What the self-check of an entry reports.
struct self_check_texts {
  const char *scratch = nullptr;
  const char *popcount_differs = nullptr;
  const char *result_differs = nullptr;
  const char *range_differs = nullptr; // for kernels that return the first and the last row as well
};

// The result that a self-check compares.
struct self_check_subject {
  const self_check_texts &texts;
  uint32_t nrows = 0;
  const char *kernel = nullptr;  // a name for the reports
  const void *operand = nullptr; // a value for the report of a different result, with a range
};

struct row_range {
  uint32_t first = UINT32_MAX;
  uint32_t last = UINT32_MAX;
};

// The scratch result of the generic kernel.
struct self_check_scratch {
  vorn_cv result = {};
  row_range rows;
  void *token = nullptr;
};

// One call of an entry point: its context, its name and its place in the source.
class entry_point {
public:
  // An entry point without trace points and timing.
  explicit entry_point(const vorn_ctx &ctx) : ctx_(ctx) {}

  // Decides whether the call is timed.
  entry_point(const vorn_ctx &ctx, const char *name, const char *file = __builtin_FILE(),
              uint32_t line = __builtin_LINE())
      : ctx_(ctx), name_(name), file_(file), timed_(ctx.vorn_ctx_trace != 0 && is_timed(ctx, {name, file, line})) {}

  // Reports a wrong argument unless the condition holds.  If the reporter returns, the call goes on.
  template <class... Values>
  void check(bool condition, const char *message, Values... values) const {
    if (!condition)
      raise(ctx_, message, values...);
  }

  void check_aligned(const void *address, uint64_t alignment, const char *message) const {
    check(is_aligned(address, alignment), message, address);
  }

  // A run-length source needs room for one bit per run.  The burst entry expands the bits of runs to rows.
  void check_runs(const vorn_cv &src, const char *missing_vector) const {
    if (!over_runs(src))
      return;
    vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
    check(enc.vorn_enc_ctx_burst_res_bv != nullptr, missing_vector);
    enc.vorn_enc_ctx_burst_fn = vorn_decode_rle_burst;
  }

  void check_filter(const vorn_aux *aux, const char *not_aligned, const char *inverted) const {
    if (aux == nullptr)
      return;
    check_aligned(aux->vorn_aux_filter_bv, vorn_global_ctx.VORN_BITWVEC_ALIGN, not_aligned);
    check(aux->vorn_aux_filter_bv == nullptr || !(aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER), inverted, aux);
  }

  // A predicate over a run-length source is evaluated once per run.  A filter of rows has no meaning there and is
  // dropped.
  void drop_filter_over_runs(const vorn_cv &src, vorn_aux *aux) const {
    if (aux != nullptr && over_runs(src))
      aux->vorn_aux_filter_bv = nullptr;
  }

  template <class... Values>
  void trace(const trace_point &point, Values... values) const {
    if (ctx_.vorn_ctx_trace != 0) // a cleared trace word lets no line through
      vorn::trace(ctx_, name_, file_, point, values...);
  }

  void trace_kernel(const trace_point &point, uint32_t index, const vorn_enc_ctx &enc) const {
    if (ctx_.vorn_ctx_trace != 0) // the index may lie past the end of the names
      trace(point, vorn_dispatch_func_names[index], force_generic(), (enc.vorn_enc_ctx_flags & VORN_STREAM) ? 1 : 0);
  }

  void trace_kernel(const trace_point &point, uint32_t index) const {
    if (ctx_.vorn_ctx_trace != 0)
      trace(point, vorn_dispatch_func_names[index], force_generic());
  }

  // The implementation in force and the operands of the call.
  template <class... Values>
  void trace_call(const trace_point &point, Values... values) const {
    trace(point, vorn_global_ctx.vorn_global_ctx_lib_name, vorn_global_ctx.vorn_global_ctx_status,
          vorn_global_ctx.vorn_global_ctx_dispatch, values...);
  }

  void trace_filter(const trace_point &point, const vorn_aux *aux) const {
    if (aux != nullptr)
      trace(point, aux->vorn_aux_filter_bv, aux->vorn_aux_popc, (aux->vorn_aux_flags & VORN_AUX_INVERT_FILTER) ? 1 : 0,
            (aux->vorn_aux_flags & VORN_AUX_FORCE_SELECTIVE) ? 1 : 0);
  }

  void trace_decode(const trace_point &point, const vorn_cv &res, const vorn_aux &aux) const {
    trace(point, res.vorn_cv_vals, res.vorn_cv_lens, res.vorn_cv_flgs, aux.vorn_aux_filter_bv, aux.vorn_aux_start_slot,
          aux.vorn_aux_ones_vec, aux.vorn_aux_ones_vec_size);
  }

  // Prepares aux for a kernel: the diagnostic code, the pointer to the context, and the bits of the operation.
  void prepare(vorn_aux &aux) const {
    aux.vorn_aux_diag_code = 0;
    aux.vorn_aux_ctx = &ctx_;
  }
  void prepare(vorn_aux &aux, const operation &op) const {
    clear(aux, shared_bit);
    set(aux, op.called);
    clear(aux, op.selective);
    clear(aux, op.third);
    prepare(aux);
  }

  void start_clock() {
    if (timed_)
      start_ = host_clock_time64();
  }

  uint32_t force_generic() const { return (ctx_.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC) ? 1 : 0; }
  // Both flags are rare.  The hints keep the usual path of a call without a jump.
  bool has_self_check() const {
    if (!force_generic() && (ctx_.vorn_ctx_flags & VORN_CTX_SELF_CHECK)) [[unlikely]]
      return true;
    return false;
  }

  // Whether a slot that the call would run is empty.  An entry asks after its checks and before it writes anything.
  bool lacks_kernel(uint32_t index) const {
    return is_empty(kernel(index)) || (has_self_check() && is_empty(vorn_dispatch_table[index]));
  }

  // The end of a call that lacks a kernel: reports it and returns the result of the call.
  uint32_t report_no_kernel(const char *message, const wanted_slot &slot) const {
    return report_empty_slot(ctx_, message, slot);
  }

  // The kernel that gives the result of the call.
  const vorn_kernel &kernel(uint32_t index) const {
    if (force_generic()) [[unlikely]]
      return vorn_dispatch_table[index];
    return vorn_global_ctx.vorn_global_ctx_dispatch[index];
  }

  // The dispatch rule: the generic kernel if it is forced, both kernels under the self-check, else the kernel in force.
  // invoke(kernel, res) calls a kernel.
  template <class Invoke>
  uint32_t run(uint32_t index, vorn_cv &res, const self_check_texts &texts, Invoke invoke) const {
    if (!has_self_check())
      return invoke(kernel(index), res);
    return run_both({texts, res.vorn_cv_nrows, vorn_dispatch_func_names[index]}, res, vorn_dispatch_table[index],
                    kernel(index), invoke);
  }

  // The self-check: the generic kernel fills a scratch result, which is compared with the result of the kernel in
  // force.
  template <class Kernel, class Invoke>
  uint32_t run_both(const self_check_subject &subject, vorn_cv &res, const Kernel &generic, const Kernel &in_force,
                    Invoke invoke) const {
    self_check_scratch scratch;
    begin_self_check(ctx_, res, subject, scratch);
    const uint32_t generic_code = invoke(generic, scratch.result);
    const uint32_t code = invoke(in_force, res);
    // Kernels that refuse their operands write nothing that could be compared.
    if (generic_code != VORN_RESULT_REFUSED || code != VORN_RESULT_REFUSED)
      compare_results(ctx_, res, subject, scratch);
    end_self_check(ctx_, scratch);
    return code;
  }

  void trace_diagnostic(const trace_point &point, const vorn_aux &aux) const {
    if (aux.vorn_aux_diag_code != 0)
      trace(point, aux.vorn_aux_diag_code);
  }

  // Increments the counters whose bits are set, in the host's statistics block if there is one.
  void count(const vorn_aux &aux, const operation &op) const {
    if (ctx_.vorn_ctx_stats != nullptr)
      add_to(ctx_.vorn_ctx_stats, aux, op);
  }

  // Ends a timed call: traces its time.  With an index it also updates the running mean of the slot, if the context
  // wants it.
  void finish(const trace_point &point, uint32_t nrows) const {
    if (timed_)
      trace_time(point, stop_clock(start_, nrows));
  }
  void finish(const trace_point &point, uint32_t nrows, uint32_t index) const {
    if (timed_) {
      const timing spent = stop_clock(start_, nrows);
      trace_time(point, spent);
      accumulate(ctx_, index, spent.rate);
    }
  }

private:
  // Microseconds and the rate in units of 2^20 rows a second.
  struct timing {
    double elapsed;
    double rate;
  };

  void trace_time(const trace_point &point, const timing &spent) const { trace(point, spent.elapsed, spent.rate); }

  // Functions of the source file do not take the object, so the object stays in registers.
  static void add_to(void *stats, const vorn_aux &aux, const operation &op);
  static void begin_self_check(const vorn_ctx &ctx, const vorn_cv &res, const self_check_subject &subject,
                               self_check_scratch &scratch);
  static void compare_results(const vorn_ctx &ctx, const vorn_cv &res, const self_check_subject &subject,
                              const self_check_scratch &scratch);
  static void end_self_check(const vorn_ctx &ctx, const self_check_scratch &scratch);
  static timing stop_clock(uint64_t start, uint32_t nrows);
  static void accumulate(const vorn_ctx &ctx, uint32_t index, double rate);

  const vorn_ctx &ctx_;
  const char *name_ = nullptr;
  const char *file_ = nullptr;
  bool timed_ = false;
  uint64_t start_ = 0;
};

} // namespace vorn
