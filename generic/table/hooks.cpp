// The hooks of a level.  No level needs a set-up of its own, so they do nothing.
#include "generic/table/record.hpp"

VORN_KERNELS_BEGIN

void vorn_init_sharedlib_dydi(vorn_ctx *) {}
uint32_t vorn_set_trace_level_dydi(uint32_t, void *, void *) { return 0; }
uint32_t vorn_thread_ctx_init_dydi(void *, void *, void *, void *) { return 0; }
uint32_t vorn_thread_ctx_fini_dydi(void *, void *, void *, void *) { return 0; }

VORN_KERNELS_END
