// The slots of a dispatch table.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/vorn.h"
#include "generic/table/slot_bits.hpp"

namespace vorn_test {

struct slot : vorn::slot_bits {
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(width_code()))); }
  const char *name() const { return vorn_dispatch_func_names[index]; }
  bool predicate() const { return opcode() <= VORN_OPC_GE_LE; }
  bool range() const { return opcode() >= VORN_OPC_GT_LT && opcode() <= VORN_OPC_GE_LE; }

  // An encoding that dispatches to the slot.
  vorn_enc_ctx encoding_context(uint32_t flags = 0) const {
    vorn_enc_ctx enc;
    if (flag())
      flags |= encoding() == VORN_ENC_DICT ? uint32_t{VORN_NULLS} : uint32_t{VORN_TZ};
    if (encoding() == VORN_ENC_DICT)
      vorn_build_encoding_type_dict(&enc, width(), nullptr, nullptr, nullptr, 0, 0, flags);
    else if (encoding() == VORN_ENC_FIXED)
      vorn_build_encoding_type_fixed(&enc, width(), flags);
    else
      vorn_build_encoding_type_dynp(&enc, width(), 0, 0, flags);
    return enc;
  }

  // Runs the kernel in force: a predicate or, with the set as lo, a set; a decoder or a burst.
  uint32_t run(vorn_cv &res, vorn_cv &src, const vorn_cv &lo, const vorn_cv &hi, vorn_aux &aux) const {
    const vorn_kernel &kernel = vorn_global_ctx.vorn_global_ctx_dispatch[index];
    return range() ? kernel.ternary(&res, &src, &lo, &hi, &aux) : kernel.binary(&res, &src, &lo, &aux);
  }
  uint32_t run(vorn_cv &res, vorn_cv &src, vorn_aux &aux) const {
    return vorn_global_ctx.vorn_global_ctx_dispatch[index].unary(&res, &src, &aux);
  }
};

// A source or a constant, and the result of a predicate.
inline vorn_cv vector_of(const void *vals, vorn_enc_ctx &enc, uint32_t nrows, const void *lens = nullptr) {
  vorn_cv cv = {};
  vorn_build_vector(&cv, const_cast<void *>(vals), const_cast<void *>(lens), nullptr, &enc, nullptr, nullptr, nrows, 0,
                    nullptr, 0);
  return cv;
}
inline vorn_cv result_of(uint64_t *bv, uint32_t nrows) {
  vorn_cv cv = {};
  vorn_build_vector(&cv, nullptr, nullptr, nullptr, nullptr, nullptr, bv, nrows, 0, nullptr, 0);
  return cv;
}
inline vorn_aux selective_by(uint64_t *filter, bool selective = true) {
  vorn_aux aux = {};
  aux.vorn_aux_filter_bv = filter;
  aux.vorn_aux_flags = selective ? VORN_AUX_FORCE_SELECTIVE : 0;
  return aux;
}

inline bool filled(const vorn_kernel &kernel) { return std::bit_cast<uintptr_t>(kernel) != 0; }

inline std::vector<slot> filled_slots(const vorn_kernel *table) {
  std::vector<slot> slots;
  for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index)
    if (filled(table[index]))
      slots.push_back({index});
  return slots;
}

// The slots of the implementation in force that meet a condition.
template <class Condition>
std::vector<slot> slots_where(Condition condition) {
  std::vector<slot> slots = filled_slots(vorn_global_ctx.vorn_global_ctx_dispatch);
  std::erase_if(slots, [&](const slot &s) { return !condition(s); });
  return slots;
}

// The slots of an operation.  The caller knows their number.
inline std::vector<slot> slots_of(unsigned opcode, size_t count) {
  std::vector<slot> slots = slots_where([&](const slot &s) { return s.opcode() == opcode; });
  EXPECT_EQ(slots.size(), count);
  return slots;
}

} // namespace vorn_test
