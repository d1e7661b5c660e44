// The declaration of a level's record, for a specialised library.
#pragma once

#include <cstdint>

#include "frame/vorn.h"

// The record has no name, since the name belongs to the library.
#define VORN_DECLARE_LEVEL(level)                                                                                      \
  namespace vorn::level {                                                                                              \
  extern const vorn_global_ctx_t record;                                                                               \
  }
