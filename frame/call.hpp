// The steps that entry points share.  Each entry point calls them in its own order, so that a step that it lacks shows
// by its absence.
#pragma once

#include <cstdint>

#include "frame/operations.hpp"
#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn {

inline bool over_runs(const vorn_cv &src) { return src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_RLE; }

inline uint32_t dispatch_index(const vorn_enc_ctx &enc, uint32_t opcode) {
  return static_cast<uint32_t>(enc.vorn_enc_ctx_type & 0xff) << 5 | opcode;
}

inline void check_aligned(const vorn_ctx &ctx, const void *address, uint64_t alignment, const char *message) {
  if ((reinterpret_cast<uintptr_t>(address) & (alignment - 1)) != 0)
    raise(ctx, message, address);
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

// The slot of the table that the call runs on.
inline const vorn_kernel &kernel_in_force(const vorn_ctx &ctx, uint32_t index) {
  return ctx.vorn_ctx_flags & VORN_CTX_FORCE_GENERIC ? vorn_dispatch_table[index]
                                                     : vorn_global_ctx.vorn_global_ctx_dispatch[index];
}

} // namespace vorn
