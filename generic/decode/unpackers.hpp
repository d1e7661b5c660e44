// The unpack kernel of a column, within a level.
#pragma once

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

// By the type code of the column's encoding; null for one that has no kernel.
vorn_unary_fn unpacker_of(uint64_t type_code);

} // namespace vorn::inline VORN_LEVEL
