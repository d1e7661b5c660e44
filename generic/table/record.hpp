// The record of a level.  The records differ in status, name and the kernels in their slots.
#pragma once

#include "frame/level.hpp"
#include "frame/vorn.h"
#include "frame/vorn_specialized.h"
#include "generic/bitvec/family.hpp"

// NOLINTBEGIN(readability-redundant-declaration): vorn.h declares the generic ones too
VORN_KERNELS_BEGIN
VORN_DECLARE_BIT_VECTORS(lbiv, void)
VORN_DECLARE_BIT_VECTORS(lbiwv, uint64_t)
uint32_t vorn_groupkey_dydi(vorn_cv *res, uint32_t *nkeys, vorn_cv *cols, uint32_t ncols, vorn_cv *tmp, vorn_aux *aux);
VORN_KERNELS_END

VORN_BASE_KERNELS_BEGIN
uint32_t vorn_prefix_decode_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
uint32_t vorn_hash_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn, vorn_aux *aux);
uint32_t vorn_ht_build_dydi(vorn_hash_table *ht, vorn_cv *src, vorn_cv *values, int32_t part, vorn_hashfn hashfn,
                            vorn_aux *aux);
uint32_t vorn_ht_probe_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *left, vorn_hash_table *ht, vorn_hashfn hashfn,
                            vorn_aux *aux);
uint32_t vorn_partition_dydi(vorn_partition_buffer *pb, vorn_cv *src, vorn_cv *payload, vorn_hashfn hashfn,
                             vorn_aux *aux);
uint32_t vorn_gather_dydi(vorn_cv *res, vorn_cv *src, vorn_transpose_table *tbl, vorn_aux *aux);
uint32_t vorn_transpose_reference_dydi(vorn_transpose_table *tbl, vorn_cv *src, uint32_t col, int32_t arr,
                                       vorn_aux *aux);
uint32_t vorn_transpose_convert_dydi(vorn_transpose_table *dst, vorn_transpose_table *src, int32_t dst_arr,
                                     int32_t src_arr, uint32_t first, uint32_t last, vorn_aux *aux);
uint32_t vorn_gby_sum_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *grp, vorn_aux *aux);
uint32_t vorn_convert_dydi(vorn_cv *res, vorn_cv *src, vorn_aux *aux);
uint32_t vorn_spatial_pip_dydi(vorn_cv *res, vorn_cv *xs, vorn_cv *ys, vorn_cv *px, vorn_cv *py, vorn_aux *aux);
uint32_t vorn_bloom_dydi(vorn_cv *res, vorn_cv *src, vorn_cv *filter, vorn_aux *aux);
uint32_t vorn_qpak_decode_dydi(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen);
void vorn_init_sharedlib_dydi(vorn_ctx *ctx);
uint32_t vorn_set_trace_level_dydi(uint32_t level, void *a, void *b);
uint32_t vorn_thread_ctx_init_dydi(void *a, void *b, void *c, void *d);
uint32_t vorn_thread_ctx_fini_dydi(void *a, void *b, void *c, void *d);
VORN_KERNELS_END
// NOLINTEND(readability-redundant-declaration)

namespace vorn::inline VORN_LEVEL {

constexpr vorn_global_ctx_t record_of(uint32_t status, const char *lib_name, const vorn_kernel *dispatch_table) {
  return {
      .vorn_global_ctx_magic = VORN_GLOBAL_CTX_MAGIC,
      .vorn_global_ctx_version = VORN_GLOBAL_CTX_VERSION,
      .vorn_global_ctx_status = status,
      .vorn_global_ctx_flags = 0,
      .vorn_global_ctx_lib_name = lib_name,
      .VORN_MAX_ALIGN = 8,
      .VORN_DATASTREAM_ALIGN = 8,
      .VORN_BITWVEC_ALIGN = 8,
      .VORN_OUTPUT_BITWVEC_ALIGN = 8,
      .VORN_JOIN_BITWVEC_ALIGN = 8,
      .vorn_global_ctx_qpak_in_align = 8,
      .vorn_global_ctx_qpak_out_align = 8,
      .vorn_global_ctx_pad_output = 16,
      .vorn_global_ctx_pad_spare = 0,
      .vorn_global_ctx_end_cu = 16,
      .vorn_global_ctx_dispatch = dispatch_table,
      .vorn_global_ctx_init_sharedlib = vorn_init_sharedlib_dydi,
      .vorn_global_ctx_set_trace_level = vorn_set_trace_level_dydi,

      .vorn_lbivpopcnt_dydi = vorn_lbivpopcnt_dydi,
      .vorn_lbivnot_dydi = vorn_lbivnot_dydi,
      .vorn_lbivand_dydi = vorn_lbivand_dydi,
      .vorn_lbivor_dydi = vorn_lbivor_dydi,
      .vorn_lbivxor_dydi = vorn_lbivxor_dydi,
      .vorn_lbivandnot_dydi = vorn_lbivandnot_dydi,
      .vorn_lbivand3_dydi = vorn_lbivand3_dydi,
      .vorn_lbivor3_dydi = vorn_lbivor3_dydi,
      .vorn_lbivxor3_dydi = vorn_lbivxor3_dydi,
      .vorn_lbivset_range_dydi = vorn_lbivset_range_dydi,
      .vorn_lbivclr_range_dydi = vorn_lbivclr_range_dydi,
      .vorn_lbiv_ictx_ini2_dydi = vorn_lbiv_ictx_ini2_dydi,
      .vorn_lbiviter_dydi = vorn_lbiviter_dydi,
      .vorn_lbiviter_clr_dydi = vorn_lbiviter_clr_dydi,
      .vorn_lbivones_dydi = vorn_lbivones_dydi,
      .vorn_lbivrun_dydi = vorn_lbivrun_dydi,
      .vorn_lbivruns_dydi = vorn_lbivruns_dydi,

      .vorn_lbiwvpopcnt_dydi = vorn_lbiwvpopcnt_dydi,
      .vorn_lbiwvnot_dydi = vorn_lbiwvnot_dydi,
      .vorn_lbiwvand_dydi = vorn_lbiwvand_dydi,
      .vorn_lbiwvor_dydi = vorn_lbiwvor_dydi,
      .vorn_lbiwvxor_dydi = vorn_lbiwvxor_dydi,
      .vorn_lbiwvandnot_dydi = vorn_lbiwvandnot_dydi,
      .vorn_lbiwvand3_dydi = vorn_lbiwvand3_dydi,
      .vorn_lbiwvor3_dydi = vorn_lbiwvor3_dydi,
      .vorn_lbiwvxor3_dydi = vorn_lbiwvxor3_dydi,
      .vorn_lbiwvset_range_dydi = vorn_lbiwvset_range_dydi,
      .vorn_lbiwvclr_range_dydi = vorn_lbiwvclr_range_dydi,
      .vorn_lbiwv_ictx_ini2_dydi = vorn_lbiwv_ictx_ini2_dydi,
      .vorn_lbiwviter_dydi = vorn_lbiwviter_dydi,
      .vorn_lbiwviter_clr_dydi = vorn_lbiwviter_clr_dydi,
      .vorn_lbiwvones_dydi = vorn_lbiwvones_dydi,
      .vorn_lbiwvrun_dydi = vorn_lbiwvrun_dydi,
      .vorn_lbiwvruns_dydi = vorn_lbiwvruns_dydi,

      .vorn_bloom_dydi = vorn_bloom_dydi,
      .vorn_spatial_pip_dydi = vorn_spatial_pip_dydi,
      .vorn_groupkey_dydi = vorn_groupkey_dydi,
      .vorn_gby_sum_dydi = vorn_gby_sum_dydi,
      .vorn_convert_dydi = vorn_convert_dydi,
      .vorn_prefix_decode_dydi = vorn_prefix_decode_dydi,
      .vorn_hash_dydi = vorn_hash_dydi,
      .vorn_ht_build_dydi = vorn_ht_build_dydi,
      .vorn_ht_probe_dydi = vorn_ht_probe_dydi,
      .vorn_partition_dydi = vorn_partition_dydi,
      .vorn_gather_dydi = vorn_gather_dydi,
      .vorn_transpose_reference_dydi = vorn_transpose_reference_dydi,
      .vorn_transpose_convert_dydi = vorn_transpose_convert_dydi,
      .vorn_qpak_decode_dydi = vorn_qpak_decode_dydi,

      .vorn_thread_ctx_init_dydi = vorn_thread_ctx_init_dydi,
      .vorn_thread_ctx_fini_dydi = vorn_thread_ctx_fini_dydi,
  };
}

} // namespace vorn::inline VORN_LEVEL
