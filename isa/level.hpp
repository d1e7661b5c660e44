// What a level brings into a specialised library.
#pragma once

#include <cstdint>

#include "frame/vorn.h"

// The level's record, without a name, which belongs to the library.
#define VORN_DECLARE_LEVEL(level)                                                                                      \
  namespace vorn::level {                                                                                              \
  extern const vorn_global_ctx_t record;                                                                               \
  }
