// Finds the unpack kernel of a column, within a level.
#pragma once

#include <array>

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

struct unpack_kernel {
  vorn_unary_fn run;     // null where there is no kernel
  uint32_t element_size; // the least that holds a code
};

// By the low byte of the type code of the column's encoding.
extern const std::array<unpack_kernel, 256> unpackers;

inline const unpack_kernel &unpacker_of(const vorn_enc_ctx &column) {
  return unpackers[column.vorn_enc_ctx_type & 0xff];
}

} // namespace vorn::inline VORN_LEVEL
