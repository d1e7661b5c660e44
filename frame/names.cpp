// Names for diagnostics, and the dump of the statistics by name.
#include "frame/names.hpp"

#include <cstdio>

#include "frame/vorn.h"

extern "C" {

const char *vorn_overload_opc_name(uint32_t opc, uint32_t enc) {
  const bool known = enc == VORN_ENC_RLE ? opc == VORN_OPC_BURST : opc < vorn::opcode_names.size();
  return known ? vorn::opcode_names[opc] : "E^R^R^O^R";
}

const char *vorn_flag_name(uint32_t flag) { return flag == 0 ? "Yo" : flag == 1 ? "flag1" : nullptr; }

const char *vorn_enc_name(uint32_t enc) {
  return enc < vorn::encoding_names.size() ? vorn::encoding_names[enc] : nullptr;
}

const char *vorn_datawidth_name(uint32_t code) {
  return code < vorn::width_names.size() ? vorn::width_names[code] : nullptr;
}

void vorn_stats_dump(const vorn_ctx *ctx, uint32_t only_called) {
  for (uint32_t flag = 0; flag < 2; ++flag)
    for (uint32_t encoding = 0; encoding < 4; ++encoding)
      for (uint32_t opcode = 0; opcode < 32; ++opcode)
        for (uint32_t width_code = 0; width_code < 32; ++width_code) {
          const uint32_t slot = flag << 12 | width_code << 7 | encoding << 5 | opcode;
          const uint32_t calls = ctx->vorn_ctx_call_counts[slot];
          if (only_called != 0 && calls == 0)
            continue;
          std::printf("%-30s", vorn_dispatch_func_names[slot]);
          std::printf("Call Freq: %d\tMrowsPerSec: %0.0f\n", static_cast<int>(calls), ctx->vorn_ctx_rates[slot]);
        }
}

} // extern "C"
