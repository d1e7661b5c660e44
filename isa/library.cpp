// The one exported symbol of a specialised library.  Everything in it, the dispatch table included, is the library's
// own, compiled for its instruction set.  The build names the library and the level that it holds.
#include "frame/vorn_specialized.h"
#include "isa/level.hpp"

VORN_DECLARE_LEVEL(VORN_LEVEL)

vorn_global_ctx_t vorn_global_specialized_ctx;

// Runs when the library is loaded, before its symbol can be looked up.
[[gnu::constructor]] static void fill_record() {
  vorn_global_specialized_ctx = vorn::VORN_LEVEL::record;
  vorn_global_specialized_ctx.vorn_global_ctx_lib_name = VORN_LIBRARY_NAME;
}
