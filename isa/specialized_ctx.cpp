// The one exported symbol of a specialised library.  Everything in it, the dispatch table included, is the library's
// own, compiled for its instruction set.
#include "frame/implementation.hpp"
#include "frame/vorn_specialized.h"

extern "C" constinit const vorn_global_ctx_t vorn_global_specialized_ctx =
    vorn::implementation(VORN_STATUS_SPECIALIZED, VORN_ISA_LIB_NAME);
