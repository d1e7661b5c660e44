// The kernels of the placeholder slots: they write nothing and answer done.
#include "frame/vorn.h"
#include "generic/placeholders.kernels.hpp"

#define VORN_DEFINE_PLACEHOLDER(op, OP, enc, ENC, w)                                                                   \
  extern "C" uint32_t vorn_##op##_##enc##_##w##bit(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *) {                \
    return VORN_RESULT_DONE;                                                                                           \
  }
VORN_PLACEHOLDER_KERNELS(VORN_DEFINE_PLACEHOLDER)
