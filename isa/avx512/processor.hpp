// The extensions that a processor with AVX-512 may have.
#pragma once

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

// Whether the processor has VBMI, VBMI2, BITALG and VPOPCNTDQ.  It is set while the library is loaded.  A test may
// force it to false.
extern bool has_vbmi;

} // namespace vorn::inline VORN_LEVEL
