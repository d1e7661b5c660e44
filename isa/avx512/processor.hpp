// What a processor with AVX-512 has beyond it.
#pragma once

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

// VBMI, VBMI2, BITALG and VPOPCNTDQ.  Looked up when the library is loaded; a test may force it to false.
extern bool has_vbmi;

} // namespace vorn::inline VORN_LEVEL
