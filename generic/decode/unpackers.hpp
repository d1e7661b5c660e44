// Finds the unpack kernel of a column, within a level.
#pragma once

#include "frame/level.hpp"
#include "frame/vorn.h"

namespace vorn::inline VORN_LEVEL {

// Takes the type code of the column's encoding.  Returns null if there is no kernel for it.
vorn_unary_fn unpacker_of(uint64_t type_code);

} // namespace vorn::inline VORN_LEVEL
