// What a level brings into a specialised library.
#pragma once

#include <cstdint>

#include "frame/vorn.h"

// record: the level's record without a name, which belongs to the library.
// replaced_kernels: the slots in which a kernel of an engine of the level stands.
#define VORN_DECLARE_LEVEL(level)                                                                                      \
  namespace vorn::level {                                                                                              \
  extern const vorn_global_ctx_t record;                                                                               \
  extern const uint32_t replaced_kernels;                                                                              \
  }
