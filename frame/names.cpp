// Names for diagnostics, the version and the sizes of the records, and the dump of the statistics by name.
#include "frame/names.hpp"

#include <cstdio>
#include <iterator>

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

const char *vorn_result_text(uint32_t code) {
  switch (code) {
  case VORN_RESULT_DONE:
    return "done";
  case VORN_RESULT_EMPTY:
    return "done, the result is empty";
  case VORN_RESULT_REFUSED:
    return "refused: the kernel does not handle an operand or a combination";
  case VORN_RESULT_KEY_SPACE:
    return "there are too many possible group keys";
  case VORN_RESULT_PARTITION_FULL:
    return "a partition is full";
  case VORN_RESULT_NO_OVERFLOW:
    return "the hash table has no overflow bucket left";
  case VORN_RESULT_PROBE_FULL:
    return "the output of the probe is full";
  case VORN_RESULT_TRANSPOSE_FULL:
    return "the output of the transposition is full";
  case VORN_RESULT_OUTPUT_FULL:
    return "the output is full";
  case VORN_RESULT_NO_IMPLEMENTATION:
    return "there is no implementation";
  default:
    return "unknown result code";
  }
}

uint32_t vorn_version() { return VORN_VERSION_NUMBER; }

uint64_t vorn_record_size(uint32_t record) {
  // In the order of VORN_RECORD_CV to VORN_RECORD_GLOBAL_CTX.
  constexpr uint64_t sizes[] = {sizeof(vorn_cv),
                                sizeof(vorn_enc_ctx),
                                sizeof(vorn_aux),
                                sizeof(vorn_ctx),
                                sizeof(vorn_lbiv_ictx),
                                sizeof(vorn_lbiwv_ictx),
                                sizeof(vorn_qpak_ctx),
                                sizeof(vorn_hash_table),
                                sizeof(vorn_partition_buffer),
                                sizeof(vorn_transpose_table),
                                sizeof(vorn_global_ctx_t)};
  static_assert(std::size(sizes) == VORN_RECORD_GLOBAL_CTX + 1);
  return record < std::size(sizes) ? sizes[record] : 0;
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
