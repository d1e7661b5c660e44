// Start-up: the choice and the load of a specialised library, and queries of the implementation in force.
#include "frame/vorn.h"

#include <cstring>

#include "frame/host.h"
#include "frame/raise.hpp"
#include "frame/vorn_specialized.h"

using namespace vorn;

namespace {

// The words from VORN_MAX_ALIGN to vorn_global_ctx_end_cu, 64 bits each, if a host wants the maximum.
constexpr uint64_t vorn_pad_constants_max[10] = {64, 8, 8, 64, 64, 64, 64, 64, 64, 16};
constexpr size_t pad_constants_offset = offsetof(vorn_global_ctx_t, VORN_MAX_ALIGN);
static_assert(pad_constants_offset + sizeof vorn_pad_constants_max ==
              offsetof(vorn_global_ctx_t, vorn_global_ctx_dispatch));

bool present(uint32_t capability) {
  uint32_t answer[3] = {};
  return cpucap_query(capability, answer) == 0 && answer[0] == 0 && answer[2] == 1;
}

const char *best_library() {
#define VORN_IF_PRESENT(capability, name)                                                                              \
  if (present(capability))                                                                                             \
    return name;
  VORN_SPECIALIZED_LIBRARIES(VORN_IF_PRESENT)
  return nullptr;
}

// 0 passes as well.
bool power_of_two(uint64_t x) { return ((x - 1) & x) == 0; }

void print_load_report(const vorn_ctx &ctx) {
  void *env = ctx.vorn_ctx_env;
  const auto print = static_cast<const host_env *>(env)->host_env_fns->host_env_print;
  const vorn_global_ctx_t &global = vorn_global_ctx;
  const auto number = [](uint64_t value) { return static_cast<long long>(value); };
  print(env, "vorn_load_global_ctx dispatch_table: %p status: %d lib: %s\n",
        static_cast<const void *>(global.vorn_global_ctx_dispatch), static_cast<int>(global.vorn_global_ctx_status),
        global.vorn_global_ctx_lib_name);
  print(env, "align max: %lld datastream: %lld bv: %lld output: %lld join: %lld\n", number(global.VORN_MAX_ALIGN),
        number(global.VORN_DATASTREAM_ALIGN), number(global.VORN_BITWVEC_ALIGN),
        number(global.VORN_OUTPUT_BITWVEC_ALIGN), number(global.VORN_JOIN_BITWVEC_ALIGN));
  print(env, "pad output: %lld end_cu: %d \n", number(global.vorn_global_ctx_pad_output),
        static_cast<int>(global.vorn_global_ctx_end_cu));
}

} // namespace

extern "C" {

void vorn_nfy(uint32_t event, vorn_ctx *ctx) {
  if (event != VORN_NFY_LOAD)
    return;
  vorn_init_global_ctx(ctx);
  if (ctx->vorn_ctx_trace_level != 0)
    vorn_global_ctx.vorn_global_ctx_set_trace_level(ctx->vorn_ctx_trace_level, nullptr, nullptr);
}

void vorn_init_global_ctx(vorn_ctx *ctx) {
  const char *name = nullptr;
  if (ctx->vorn_ctx_init_flags & VORN_INIT_SPECIALIZED) {
    name = best_library();
    if (ctx->vorn_ctx_lib_name != nullptr)
      name = ctx->vorn_ctx_lib_name;
  }
  if (name != nullptr)
    vorn_load_global_ctx(ctx, name);
  else
    vorn_global_ctx.vorn_global_ctx_status = VORN_STATUS_GENERIC;
  vorn_global_ctx.vorn_global_ctx_init_sharedlib(ctx);
}

void vorn_load_global_ctx(vorn_ctx *ctx, const char *name) {
  void *handle = nullptr;
  if (svorn_dlopen(ctx, name, &handle) == 0 || handle == nullptr) {
    raise(*ctx, "vorn_load_global_ctx: library load failed", name);
    return;
  }
  const auto *loaded = static_cast<const vorn_global_ctx_t *>(svorn_dlsym(ctx, handle, VORN_SPECIALIZED_SYMBOL));
  if (loaded == nullptr) {
    raise(*ctx, "vorn_load_global_ctx: Cannot load vorn_global_ctx");
    return;
  }

  if (std::strcmp(loaded->vorn_global_ctx_version, vorn_global_ctx.vorn_global_ctx_version) != 0)
    raise(*ctx, "Unexpected VXL library version", loaded->vorn_global_ctx_version,
          vorn_global_ctx.vorn_global_ctx_version);
  if (loaded->vorn_global_ctx_magic != vorn_global_ctx.vorn_global_ctx_magic)
    raise(*ctx, "VXL Library on-load check failed", loaded->vorn_global_ctx_magic,
          vorn_global_ctx.vorn_global_ctx_magic);
  if (std::strcmp(name, loaded->vorn_global_ctx_lib_name) != 0)
    raise_soft(*ctx, "Wrong library name in loaded VXL", name, loaded->vorn_global_ctx_lib_name);
  if (loaded->vorn_global_ctx_status != VORN_STATUS_SPECIALIZED)
    raise(*ctx, "Loaded VXL context status is not SPECIALIZED");

  std::memcpy(&vorn_global_ctx, loaded, sizeof vorn_global_ctx);
  if (ctx->vorn_ctx_flags & VORN_CTX_MAX_PADS)
    std::memcpy(reinterpret_cast<char *>(&vorn_global_ctx) + pad_constants_offset, vorn_pad_constants_max,
                sizeof vorn_pad_constants_max);

  if (!power_of_two(vorn_global_ctx.VORN_MAX_ALIGN))
    raise(*ctx, "vorn_load_global_ctx: VORN_MAX_ALIGN is not power of 2");
  if (!power_of_two(vorn_global_ctx.VORN_DATASTREAM_ALIGN))
    raise(*ctx, "vorn_load_global_ctx: VORN_DATASTREAM_ALIGN is not power of 2");
  if (!power_of_two(vorn_global_ctx.VORN_BITWVEC_ALIGN))
    raise(*ctx, "vorn_load_global_ctx: VORN_BITWVEC_ALIGN is not power of 2");
  if (!power_of_two(vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN))
    raise(*ctx, "vorn_load_global_ctx: VORN_OUTPUT_BITWVEC_ALIGN is not power of 2");
  if (!power_of_two(vorn_global_ctx.VORN_JOIN_BITWVEC_ALIGN))
    raise(*ctx, "vorn_load_global_ctx: VORN_JOIN_BITWVEC_ALIGN is not power of 2");

  if (ctx->vorn_ctx_flags & VORN_CTX_PRINT_LOAD)
    print_load_report(*ctx);
}

uint32_t vorn_set_trace_level_callback(void *, uint32_t *level, void *c) {
  return vorn_global_ctx.vorn_global_ctx_set_trace_level(*level, level, c);
}

uint32_t vorn_thread_ctx_init(void *a, void *b, void *c, void *d) {
  const auto slot = vorn_global_ctx.vorn_thread_ctx_init_dydi;
  return slot != nullptr ? slot(a, b, c, d) : uint32_t{VORN_RESULT_NO_IMPLEMENTATION};
}

uint32_t vorn_thread_ctx_fini(void *a, void *b, void *c, void *d) {
  const auto slot = vorn_global_ctx.vorn_thread_ctx_fini_dydi;
  return slot != nullptr ? slot(a, b, c, d) : uint32_t{VORN_RESULT_NO_IMPLEMENTATION};
}

uint32_t vorn_is_qpak_packed_dict_required(void) {
  return vorn_global_ctx.vorn_global_ctx_flags & VORN_REQUIRES_QPAK_PACKED_DICT;
}
uint32_t vorn_is_byte_aligned_widths_required(void) {
  return vorn_global_ctx.vorn_global_ctx_flags & VORN_REQUIRES_BYTE_ALIGNED_WIDTHS;
}
uint32_t vorn_is_byte_aligned_widths_required_over_2bytes(void) {
  return vorn_global_ctx.vorn_global_ctx_flags & VORN_REQUIRES_BYTE_ALIGNED_WIDTHS_OVER_2BYTES;
}
uint32_t vorn_is_decode_bitwvec_required(void) {
  return vorn_global_ctx.vorn_global_ctx_flags & VORN_REQUIRES_DECODE_BITWVEC;
}
uint32_t vorn_is_qpak_datastream_allowed(void) {
  return vorn_global_ctx.vorn_global_ctx_flags & VORN_ALLOWS_QPAK_DATASTREAM;
}

uint32_t vorn_dispatch_table_size(void) { return VORN_DISPATCH_SLOTS; }

uint32_t vorn_null(vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *) { return VORN_RESULT_REFUSED; }

} // extern "C"
