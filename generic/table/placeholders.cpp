// The kernels of the placeholder slots.  They write nothing and return VORN_RESULT_DONE.
#include "frame/level.hpp"
#include "frame/vorn.h"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_PLACEHOLDER(op, OP, enc, ENC, w, suffix)                                                           \
  uint32_t VORN_KERNEL_NAME(op, enc, w, suffix)(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *) {                   \
    return VORN_RESULT_DONE;                                                                                           \
  }
VORN_PLACEHOLDER_KERNELS(VORN_DEFINE_PLACEHOLDER)

VORN_KERNELS_END
