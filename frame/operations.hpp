// The bits of vorn_aux_op_bits and the places in the host's statistics, by operation.
#pragma once

#include <cstdint>

#include "frame/vorn.h"

namespace vorn {

struct op_bit {
  uint8_t byte;
  uint8_t mask; // 0: the operation has no such bit
};

inline void set(vorn_aux &aux, op_bit bit) { aux.vorn_aux_op_bits[bit.byte] |= bit.mask; }

inline void clear(vorn_aux &aux, op_bit bit) {
  aux.vorn_aux_op_bits[bit.byte] = static_cast<uint8_t>(aux.vorn_aux_op_bits[bit.byte] & ~bit.mask);
}

struct operation {
  op_bit called;    // set by the entry point before the kernel
  op_bit selective; // set by the kernel when a filter took effect
  op_bit third;     // set by specialised kernels only
};

// Cleared by every entry point that prepares an aux.
inline constexpr op_bit shared_bit = {0, 0x08};

namespace operations {
inline constexpr operation compare = {{0, 0x01}, {1, 0x02}, {2, 0x02}};
} // namespace operations

} // namespace vorn
