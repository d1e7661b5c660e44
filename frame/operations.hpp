// The bits of vorn_aux_op_bits and the places in the host's statistics, by operation.
#pragma once

#include <cstdint>

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

struct op_bit {
  uint8_t byte;
  uint8_t mask; // 0: the operation has no such bit
};

inline bool is_set(const vorn_aux &aux, op_bit bit) { return aux.vorn_aux_op_bits[bit.byte] & bit.mask; }

inline void set(vorn_aux &aux, op_bit bit) { aux.vorn_aux_op_bits[bit.byte] |= bit.mask; }

inline void clear(vorn_aux &aux, op_bit bit) {
  aux.vorn_aux_op_bits[bit.byte] = static_cast<uint8_t>(aux.vorn_aux_op_bits[bit.byte] & ~bit.mask);
}

struct operation {
  op_bit called;         // set by the entry point before the kernel
  op_bit selective;      // set by the kernel when a filter took effect
  op_bit third;          // set by specialised kernels only
  uint8_t counter;       // position among the called and the selective counters
  uint8_t third_counter; // position among the third counters
};

// Cleared by every entry point that prepares an aux.
inline constexpr op_bit shared_bit = {0, 0x08};

namespace operations {
inline constexpr operation compare = {{0, 0x01}, {1, 0x02}, {2, 0x02}, 0, 0};
inline constexpr operation decode = {{0, 0x02}, {1, 0x04}, {2, 0x04}, 1, 1};
inline constexpr operation rle_burst = {{0, 0x04}, {1, 0x08}, {2, 0x08}, 2, 2};
inline constexpr operation in_set = {{0, 0x10}, {1, 0x10}, {2, 0x10}, 3, 3};
inline constexpr operation bloom = {{0, 0x20}, {1, 0x20}, {}, 4, 0};
inline constexpr operation decode_unpack = {{0, 0x40}, {1, 0x40}, {2, 0x20}, 6, 4};
inline constexpr operation decode_symbol = {{0, 0x80}, {1, 0x80}, {}, 7, 0};
inline constexpr operation xlate = {{1, 0x01}, {2, 0x01}, {}, 5, 0};
} // namespace operations

// The counters of the host's statistics block: three arrays of 64-bit counters, back to back.
inline constexpr uint64_t called_counters = 384;
inline constexpr uint64_t selective_counters = called_counters + 8 * sizeof(uint64_t);
inline constexpr uint64_t third_counters = selective_counters + 8 * sizeof(uint64_t);

} // namespace vorn::inline VORN_LEVEL
