// Finds the unpack kernel of a column, within a level.
#pragma once

#include <array>

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

// By the low byte of the type code of the column's encoding.  Null where there is no kernel.
extern const std::array<vorn_unary_fn, 256> unpackers;

inline vorn_unary_fn unpacker_of(const vorn_enc_ctx &column) { return unpackers[column.vorn_enc_ctx_type & 0xff]; }

} // namespace vorn::inline VORN_LEVEL
