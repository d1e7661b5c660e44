// The scripted services: the program's own go before those of the stand-in host, to which they hand on.
#include "tests/frame/services.hpp"

#include <dlfcn.h>

#include <algorithm>

#include "frame/host.h"

namespace {

template <class Function>
Function *of_the_stand_in_host(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

} // namespace

uint32_t cpucap_query(uint32_t code, void *answer) {
  const auto script = frame_test::scripts.capabilities.find(code);
  if (script == frame_test::scripts.capabilities.end())
    return of_the_stand_in_host(cpucap_query, "cpucap_query")(code, answer);
  std::ranges::copy(script->second.words, static_cast<uint32_t *>(answer));
  return script->second.result;
}

uint32_t svorn_dlopen(vorn_ctx *ctx, const char *name, void **handle) {
  if (!frame_test::scripts.open)
    return of_the_stand_in_host(svorn_dlopen, "svorn_dlopen")(ctx, name, handle);
  *handle = frame_test::scripts.open->handle;
  return frame_test::scripts.open->result;
}
