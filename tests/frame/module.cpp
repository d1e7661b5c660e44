// A specialised library without kernels, right or wrong in one point as the build defines it.
#include <cstring>

#include "frame/host.h"
#include "frame/vorn_specialized.h"

#ifndef MODULE_VERSION
  #define MODULE_VERSION VORN_GLOBAL_CTX_VERSION
#endif
#ifndef MODULE_MAGIC
  #define MODULE_MAGIC VORN_GLOBAL_CTX_MAGIC
#endif
#ifndef MODULE_STATUS
  #define MODULE_STATUS VORN_STATUS_SPECIALIZED
#endif
#ifndef MODULE_ALIGNS
  #define MODULE_ALIGNS 64, 8, 16, 32, 128
#endif

#ifdef MODULE_WITHOUT_RECORD
extern "C" VORN_API const int module_without_record = 1;
#else
namespace {

void *env;

// The hooks tell the host that they ran.
void init_sharedlib(vorn_ctx *ctx) {
  env = ctx->vorn_ctx_env;
  host_trace_write(env, "init_sharedlib of %s", 1, uint32_t{HOST_TAG_TEXT}, MODULE_NAME);
}

uint32_t set_trace_level(uint32_t level, void *, void *) {
  host_trace_write(env, "set_trace_level %d", 1, uint32_t{HOST_TAG_INT}, static_cast<int32_t>(level));
  return 0;
}

constexpr uint64_t aligns[5] = {MODULE_ALIGNS};
constexpr vorn_kernel dispatch[VORN_DISPATCH_SLOTS] = {};

// The slots of the operations and of the threads are null.
constexpr vorn_global_ctx_t make_record() {
  vorn_global_ctx_t record = {};
  record.vorn_global_ctx_magic = MODULE_MAGIC;
  record.vorn_global_ctx_version = MODULE_VERSION;
  record.vorn_global_ctx_status = MODULE_STATUS;
  record.vorn_global_ctx_flags = 0x1f;
  record.vorn_global_ctx_lib_name = MODULE_NAME;
  record.VORN_MAX_ALIGN = aligns[0];
  record.VORN_DATASTREAM_ALIGN = aligns[1];
  record.VORN_BITWVEC_ALIGN = aligns[2];
  record.VORN_OUTPUT_BITWVEC_ALIGN = aligns[3];
  record.VORN_JOIN_BITWVEC_ALIGN = aligns[4];
  record.vorn_global_ctx_qpak_in_align = 256;
  record.vorn_global_ctx_qpak_out_align = 512;
  record.vorn_global_ctx_pad_output = 1024;
  record.vorn_global_ctx_pad_spare = 2048;
  record.vorn_global_ctx_end_cu = 4096;
  record.vorn_global_ctx_dispatch = dispatch;
  record.vorn_global_ctx_init_sharedlib = init_sharedlib;
  record.vorn_global_ctx_set_trace_level = set_trace_level;
  return record;
}

} // namespace

// The exported record, defined under a name of its own: it has to be writable for a moment, so that the padding in it
// can be told from bytes that nobody wrote.
VORN_API constinit vorn_global_ctx_t module_record __asm__(VORN_SPECIALIZED_SYMBOL) = make_record();

[[gnu::constructor]] static void mark_padding() {
  constexpr size_t padding = offsetof(vorn_global_ctx_t, vorn_global_ctx_end_cu) + sizeof(uint32_t);
  std::memset(reinterpret_cast<char *>(&module_record) + padding, 0xee, sizeof(uint32_t));
}
#endif
