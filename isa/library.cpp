// The one exported symbol of a specialised library.  All its code and its dispatch table are compiled for its
// instruction set.  The build passes the name of the library and the level.
#include "frame/vorn_specialized.h"
#include "isa/level.hpp"

VORN_DECLARE_LEVEL(VORN_LEVEL)

vorn_global_ctx_t vorn_global_specialized_ctx;

// Runs while the library is loaded, before a host can look up its symbol.
[[gnu::constructor]] static void fill_record() {
  vorn_global_specialized_ctx = vorn::VORN_LEVEL::record;
  vorn_global_specialized_ctx.vorn_global_ctx_lib_name = VORN_LIBRARY_NAME;
}
