// The slots of a dispatch table, taken apart.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/vorn.h"

namespace vorn_test {

struct slot {
  uint32_t index;

  unsigned opcode() const { return index & 31; }
  unsigned encoding() const { return index >> 5 & 3; }
  unsigned width_code() const { return index >> 7 & 31; }
  bool flag() const { return index >> 12; }
  unsigned width() const { return static_cast<unsigned>(std::stoul(vorn_datawidth_name(width_code()))); }
  const char *name() const { return vorn_dispatch_func_names[index]; }
  bool predicate() const { return opcode() <= VORN_OPC_GE_LE; }
  bool range() const { return opcode() >= VORN_OPC_GT_LT && opcode() <= VORN_OPC_GE_LE; }
};

inline bool filled(const vorn_kernel &kernel) { return std::bit_cast<uintptr_t>(kernel) != 0; }

inline std::vector<slot> filled_slots(const vorn_kernel *table) {
  std::vector<slot> slots;
  for (uint32_t index = 0; index < VORN_DISPATCH_SLOTS; ++index)
    if (filled(table[index]))
      slots.push_back({index});
  return slots;
}

// The slots of the implementation in force that fulfil a condition.
template <class Condition>
std::vector<slot> slots_where(Condition condition) {
  std::vector<slot> slots = filled_slots(vorn_global_ctx.vorn_global_ctx_dispatch);
  std::erase_if(slots, [&](const slot &s) { return !condition(s); });
  return slots;
}

// Runs the kernel of a predicate or, with the set as lo, of a set.
inline uint32_t run(const vorn_kernel &kernel, const slot &where, vorn_cv &res, vorn_cv &src, const vorn_cv &lo,
                    const vorn_cv &hi, vorn_aux &aux) {
  return where.range() ? kernel.ternary(&res, &src, &lo, &hi, &aux) : kernel.binary(&res, &src, &lo, &aux);
}

} // namespace vorn_test
