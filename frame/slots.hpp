// Slots of the dispatch table: their numbers, and the report of a call whose slot is empty.
#pragma once

#include <cstdint>

#include "frame/names.hpp"
#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

inline uint32_t dispatch_index(uint64_t type_code, uint32_t opcode) {
  return static_cast<uint32_t>(type_code & 0xff) << 5 | opcode;
}

inline bool is_empty(const vorn_kernel &slot) { return slot.unary == nullptr; }

// A slot that a call needs: its operation, its number, and the encoding that led to it.
struct wanted_slot {
  uint32_t opcode;
  uint32_t index;
  const vorn_enc_ctx &enc;
};

// Reports that a slot has no kernel, and returns the result of the call.  Run lengths have a width of their own.
[[gnu::noinline, gnu::cold]] inline uint32_t report_empty_slot(const vorn_ctx &ctx, const char *message,
                                                               const wanted_slot &slot) {
  const auto &[opcode, index, enc] = slot;
  raise(ctx, message, opcode < opcode_names.size() ? opcode_names[opcode] : "unknown", index,
        opcode == VORN_OPC_BURST ? enc.vorn_enc_ctx_rle_width : enc.vorn_enc_ctx_width, enc.vorn_enc_ctx_flags);
  return VORN_RESULT_NO_IMPLEMENTATION;
}

} // namespace vorn::inline VORN_LEVEL
