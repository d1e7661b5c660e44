// The one exported symbol of a specialised library.  All its code and its dispatch table are compiled for its
// instruction set.  The build passes the name of the library and the level.  VORN_VBMI_LEVEL names a better level for
// processors that also have VBMI and its companions, if the library contains one.
#include "frame/vorn_specialized.h"
#include "isa/level.hpp"

VORN_DECLARE_LEVEL(VORN_LEVEL)
#ifdef VORN_VBMI_LEVEL
VORN_DECLARE_LEVEL(VORN_VBMI_LEVEL)
#endif

vorn_global_ctx_t vorn_global_specialized_ctx;

static const vorn_global_ctx_t &best_record() {
#ifdef VORN_VBMI_LEVEL
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
      __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("avx512vpopcntdq") &&
      __builtin_cpu_supports("gfni"))
    return vorn::VORN_VBMI_LEVEL::record;
#endif
  return vorn::VORN_LEVEL::record;
}

// Runs while the library is loaded, before a host can look up its symbol.
[[gnu::constructor]] static void fill_record() {
  vorn_global_specialized_ctx = best_record();
  vorn_global_specialized_ctx.vorn_global_ctx_lib_name = VORN_LIBRARY_NAME;
}
