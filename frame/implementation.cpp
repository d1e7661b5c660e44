// The slots of an implementation that need no set-up of its own.
#include "frame/implementation.hpp"

extern "C" {

void vorn_init_sharedlib_dydi(vorn_ctx *) {}
uint32_t vorn_set_trace_level_dydi(uint32_t, void *, void *) { return 0; }
uint32_t vorn_thread_ctx_init_dydi(void *, void *, void *, void *) { return 0; }
uint32_t vorn_thread_ctx_fini_dydi(void *, void *, void *, void *) { return 0; }

} // extern "C"
