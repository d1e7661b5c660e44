// A program with the stand-in host: prints the kernels that it loads.
#include <cstdio>
#include <vorn/stand_in.hpp>
#include <vorn/vorn.h>

int main() {
  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_init_flags = VORN_INIT_SPECIALIZED;
  vorn_nfy(VORN_NFY_LOAD, &ctx);
  std::printf("kernels: %s\n", vorn_global_ctx.vorn_global_ctx_lib_name);
}
