/*
 * The layout that library, specialised libraries and host agree on, as a list: FIELD(record, field, offset, size).
 * Including this file proves the list at compile time, in C11 and in C++17.
 */
#ifndef TESTS_FRAME_LAYOUT_H
#define TESTS_FRAME_LAYOUT_H

#include <assert.h>
#include <stddef.h>

#include "frame/vorn.h"

#define LAYOUT_VORN_CV(FIELD)                                                                                          \
  FIELD(vorn_cv, vorn_cv_vals, 0, 8)                                                                                   \
  FIELD(vorn_cv, vorn_cv_lens, 8, 8)                                                                                   \
  FIELD(vorn_cv, vorn_cv_flgs, 16, 8)                                                                                  \
  FIELD(vorn_cv, vorn_cv_encoding_context, 24, 8)                                                                      \
  FIELD(vorn_cv, vorn_cv_mask_bv, 32, 8)                                                                               \
  FIELD(vorn_cv, vorn_cv_bv, 40, 8)                                                                                    \
  FIELD(vorn_cv, vorn_cv_popc, 48, 4)                                                                                  \
  FIELD(vorn_cv, vorn_cv_nrows, 52, 4)                                                                                 \
  FIELD(vorn_cv, vorn_cv_stream_len, 56, 4)                                                                            \
  FIELD(vorn_cv, vorn_cv_stream_slot, 64, 8)                                                                           \
  FIELD(vorn_cv, vorn_cv_stream_tag, 72, 8)                                                                            \
  FIELD(vorn_cv, vorn_cv_autorid, 80, 8)                                                                               \
  FIELD(vorn_cv, vorn_cv_size, 88, 8)

#define LAYOUT_VORN_ENC_CTX(FIELD)                                                                                     \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_type, 0, 8)                                                                         \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_minor_type, 8, 8)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dict_syms, 16, 8)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dict_lens, 24, 8)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dict_cla, 32, 8)                                                                    \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dict_nsyms, 40, 4)                                                                  \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dict_layout, 44, 4)                                                                 \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_rle_lens, 48, 8)                                                                    \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_rle_width, 56, 1)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_rle_nruns, 60, 4)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_rle_cla, 64, 8)                                                                     \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_burst_fn, 72, 8)                                                                    \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_burst_res_bv, 80, 8)                                                                \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_prefix_group, 88, 1)                                                                \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_prefix_vlen, 90, 2)                                                                 \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_prefix_nvals, 92, 4)                                                                \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_xlate_type, 96, 1)                                                                  \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_bloom_ind, 97, 1)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_bloom_mask, 100, 4)                                                                 \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_ind_shift, 104, 4)                                                                  \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_ind_mask, 108, 4)                                                                   \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dlp_shift, 112, 1)                                                                  \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_dlp_table, 120, 8)                                                                  \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_xlate_base, 128, 4)                                                                 \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_flags, 132, 4)                                                                      \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_width, 136, 4)                                                                      \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_width_code, 140, 1)                                                                 \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_unit, 141, 1)                                                                       \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_row_a, 142, 2)                                                                      \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_row_b, 144, 8)                                                                      \
  FIELD(vorn_enc_ctx, vorn_enc_ctx_num_type, 152, 1)

#define LAYOUT_VORN_AUX(FIELD)                                                                                         \
  FIELD(vorn_aux, vorn_aux_ctx, 0, 8)                                                                                  \
  FIELD(vorn_aux, vorn_aux_filter_bv, 8, 8)                                                                            \
  FIELD(vorn_aux, vorn_aux_flags, 16, 1)                                                                               \
  FIELD(vorn_aux, vorn_aux_flags2, 17, 1)                                                                              \
  FIELD(vorn_aux, vorn_aux_popc, 20, 4)                                                                                \
  FIELD(vorn_aux, vorn_aux_full_part, 24, 4)                                                                           \
  FIELD(vorn_aux, vorn_aux_start_slot, 28, 4)                                                                          \
  FIELD(vorn_aux, vorn_aux_run_idx, 32, 4)                                                                             \
  FIELD(vorn_aux, vorn_aux_run_end, 36, 4)                                                                             \
  FIELD(vorn_aux, vorn_aux_out_pos, 40, 8)                                                                             \
  FIELD(vorn_aux, vorn_aux_out_pos2, 48, 8)                                                                            \
  FIELD(vorn_aux, vorn_aux_ones_vec, 56, 8)                                                                            \
  FIELD(vorn_aux, vorn_aux_ones_vec_size, 64, 4)                                                                       \
  FIELD(vorn_aux, vorn_aux_diag_code, 68, 4)                                                                           \
  FIELD(vorn_aux, vorn_aux_start_row, 72, 4)                                                                           \
  FIELD(vorn_aux, vorn_aux_op_bits, 76, 3)                                                                             \
  FIELD(vorn_aux, vorn_aux_prefix_out, 80, 8)                                                                          \
  FIELD(vorn_aux, vorn_aux_xlate_enc, 88, 8)                                                                           \
  FIELD(vorn_aux, vorn_aux_xlate_tbl, 96, 8)                                                                           \
  FIELD(vorn_aux, vorn_aux_xlate_n, 104, 4)

#define LAYOUT_VORN_CTX(FIELD)                                                                                         \
  FIELD(vorn_ctx, vorn_ctx_env, 0, 8)                                                                                  \
  FIELD(vorn_ctx, vorn_ctx_heap, 8, 8)                                                                                 \
  FIELD(vorn_ctx, vorn_ctx_trace, 16, 8)                                                                               \
  FIELD(vorn_ctx, vorn_ctx_alloc, 24, 8)                                                                               \
  FIELD(vorn_ctx, vorn_ctx_stack_alloc, 32, 8)                                                                         \
  FIELD(vorn_ctx, vorn_ctx_stack_free, 40, 8)                                                                          \
  FIELD(vorn_ctx, vorn_ctx_call_counts, 48, 8)                                                                         \
  FIELD(vorn_ctx, vorn_ctx_rates, 56, 8)                                                                               \
  FIELD(vorn_ctx, vorn_ctx_init_flags, 64, 4)                                                                          \
  FIELD(vorn_ctx, vorn_ctx_lib_name, 72, 8)                                                                            \
  FIELD(vorn_ctx, vorn_ctx_trace_level, 80, 4)                                                                         \
  FIELD(vorn_ctx, vorn_ctx_decompress, 88, 8)                                                                          \
  FIELD(vorn_ctx, vorn_ctx_stats, 96, 8)                                                                               \
  FIELD(vorn_ctx, vorn_ctx_flags, 104, 1)

#define LAYOUT_VORN_LBIWV_ICTX(FIELD)                                                                                  \
  FIELD(vorn_lbiwv_ictx, vorn_lbiwv_ictx_next, 0, 8)                                                                   \
  FIELD(vorn_lbiwv_ictx, vorn_lbiwv_ictx_nbits, 8, 4)                                                                  \
  FIELD(vorn_lbiwv_ictx, vorn_lbiwv_ictx_base, 12, 4)                                                                  \
  FIELD(vorn_lbiwv_ictx, vorn_lbiwv_ictx_offset, 16, 8)                                                                \
  FIELD(vorn_lbiwv_ictx, vorn_lbiwv_ictx_word, 24, 8)

#define LAYOUT_VORN_LBIV_ICTX(FIELD)                                                                                   \
  FIELD(vorn_lbiv_ictx, vorn_lbiv_ictx_next, 0, 8)                                                                     \
  FIELD(vorn_lbiv_ictx, vorn_lbiv_ictx_nbits, 8, 4)                                                                    \
  FIELD(vorn_lbiv_ictx, vorn_lbiv_ictx_base, 12, 4)                                                                    \
  FIELD(vorn_lbiv_ictx, vorn_lbiv_ictx_offset, 16, 8)                                                                  \
  FIELD(vorn_lbiv_ictx, vorn_lbiv_ictx_word, 24, 8)

#define LAYOUT_VORN_QPAK_CTX(FIELD)                                                                                    \
  FIELD(vorn_qpak_ctx, vorn_qpak_ctx_env, 0, 8)                                                                        \
  FIELD(vorn_qpak_ctx, vorn_qpak_ctx_heap, 8, 8)                                                                       \
  FIELD(vorn_qpak_ctx, vorn_qpak_ctx_stack_alloc, 16, 8)                                                               \
  FIELD(vorn_qpak_ctx, vorn_qpak_ctx_stack_free, 24, 8)                                                                \
  FIELD(vorn_qpak_ctx, vorn_qpak_ctx_generic, 32, 4)

#define LAYOUT_VORN_GLOBAL_CTX_T(FIELD)                                                                                \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_magic, 0, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_version, 8, 8)                                                              \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_status, 16, 4)                                                              \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_flags, 20, 4)                                                               \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_lib_name, 24, 8)                                                            \
  FIELD(vorn_global_ctx_t, VORN_MAX_ALIGN, 32, 8)                                                                      \
  FIELD(vorn_global_ctx_t, VORN_DATASTREAM_ALIGN, 40, 8)                                                               \
  FIELD(vorn_global_ctx_t, VORN_BITWVEC_ALIGN, 48, 8)                                                                  \
  FIELD(vorn_global_ctx_t, VORN_OUTPUT_BITWVEC_ALIGN, 56, 8)                                                           \
  FIELD(vorn_global_ctx_t, VORN_JOIN_BITWVEC_ALIGN, 64, 8)                                                             \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_qpak_in_align, 72, 8)                                                       \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_qpak_out_align, 80, 8)                                                      \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_pad_output, 88, 8)                                                          \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_pad_spare, 96, 8)                                                           \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_end_cu, 104, 4)                                                             \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_dispatch, 112, 8)                                                           \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_init_sharedlib, 120, 8)                                                     \
  FIELD(vorn_global_ctx_t, vorn_global_ctx_set_trace_level, 128, 8)                                                    \
  FIELD(vorn_global_ctx_t, vorn_lbivpopcnt_dydi, 136, 8)                                                               \
  FIELD(vorn_global_ctx_t, vorn_lbivnot_dydi, 144, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbivand_dydi, 152, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbivor_dydi, 160, 8)                                                                   \
  FIELD(vorn_global_ctx_t, vorn_lbivxor_dydi, 168, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbivandnot_dydi, 176, 8)                                                               \
  FIELD(vorn_global_ctx_t, vorn_lbivand3_dydi, 184, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbivor3_dydi, 192, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbivxor3_dydi, 200, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbivset_range_dydi, 208, 8)                                                            \
  FIELD(vorn_global_ctx_t, vorn_lbivclr_range_dydi, 216, 8)                                                            \
  FIELD(vorn_global_ctx_t, vorn_lbiv_ictx_ini2_dydi, 224, 8)                                                           \
  FIELD(vorn_global_ctx_t, vorn_lbiviter_dydi, 232, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiviter_clr_dydi, 240, 8)                                                             \
  FIELD(vorn_global_ctx_t, vorn_lbivones_dydi, 248, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbivrun_dydi, 256, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbivruns_dydi, 264, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvpopcnt_dydi, 272, 8)                                                              \
  FIELD(vorn_global_ctx_t, vorn_lbiwvnot_dydi, 280, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvand_dydi, 288, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvor_dydi, 296, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_lbiwvxor_dydi, 304, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvandnot_dydi, 312, 8)                                                              \
  FIELD(vorn_global_ctx_t, vorn_lbiwvand3_dydi, 320, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_lbiwvor3_dydi, 328, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvxor3_dydi, 336, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_lbiwvset_range_dydi, 344, 8)                                                           \
  FIELD(vorn_global_ctx_t, vorn_lbiwvclr_range_dydi, 352, 8)                                                           \
  FIELD(vorn_global_ctx_t, vorn_lbiwv_ictx_ini2_dydi, 360, 8)                                                          \
  FIELD(vorn_global_ctx_t, vorn_lbiwviter_dydi, 368, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_lbiwviter_clr_dydi, 376, 8)                                                            \
  FIELD(vorn_global_ctx_t, vorn_lbiwvones_dydi, 384, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_lbiwvrun_dydi, 392, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_lbiwvruns_dydi, 400, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_bloom_dydi, 408, 8)                                                                    \
  FIELD(vorn_global_ctx_t, vorn_spatial_pip_dydi, 416, 8)                                                              \
  FIELD(vorn_global_ctx_t, vorn_groupkey_dydi, 424, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_gby_sum_dydi, 432, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_convert_dydi, 440, 8)                                                                  \
  FIELD(vorn_global_ctx_t, vorn_prefix_decode_dydi, 448, 8)                                                            \
  FIELD(vorn_global_ctx_t, vorn_hash_dydi, 456, 8)                                                                     \
  FIELD(vorn_global_ctx_t, vorn_ht_build_dydi, 464, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_ht_probe_dydi, 472, 8)                                                                 \
  FIELD(vorn_global_ctx_t, vorn_partition_dydi, 480, 8)                                                                \
  FIELD(vorn_global_ctx_t, vorn_gather_dydi, 488, 8)                                                                   \
  FIELD(vorn_global_ctx_t, vorn_transpose_reference_dydi, 496, 8)                                                      \
  FIELD(vorn_global_ctx_t, vorn_transpose_convert_dydi, 504, 8)                                                        \
  FIELD(vorn_global_ctx_t, vorn_qpak_decode_dydi, 512, 8)                                                              \
  FIELD(vorn_global_ctx_t, vorn_thread_ctx_init_dydi, 520, 8)                                                          \
  FIELD(vorn_global_ctx_t, vorn_thread_ctx_fini_dydi, 528, 8)

#define LAYOUT_VORN_HASH_TABLE(FIELD)                                                                                  \
  FIELD(vorn_hash_table, vorn_ht_type, 4, 4)                                                                           \
  FIELD(vorn_hash_table, vorn_ht_bucket_hi_bit, 17, 1)                                                                 \
  FIELD(vorn_hash_table, vorn_ht_part_hi_bit, 18, 1)                                                                   \
  FIELD(vorn_hash_table, vorn_ht_part_shift, 19, 1)                                                                    \
  FIELD(vorn_hash_table, vorn_ht_tables, 24, 8)                                                                        \
  FIELD(vorn_hash_table, vorn_ht_reserved, 32, 8)                                                                      \
  FIELD(vorn_hash_table, vorn_ht_ovfl_cur, 40, 8)                                                                      \
  FIELD(vorn_hash_table, vorn_ht_ovfl_end, 48, 8)                                                                      \
  FIELD(vorn_hash_table, vorn_ht_part_low_bits, 72, 1)

#define LAYOUT_VORN_PARTITION_BUFFER(FIELD)                                                                            \
  FIELD(vorn_partition_buffer, vorn_pb_type, 4, 4)                                                                     \
  FIELD(vorn_partition_buffer, vorn_pb_hi_bit, 8, 1)                                                                   \
  FIELD(vorn_partition_buffer, vorn_pb_shift, 9, 1)                                                                    \
  FIELD(vorn_partition_buffer, vorn_pb_fixed_width, 28, 2)                                                             \
  FIELD(vorn_partition_buffer, vorn_pb_reserved, 32, 8)                                                                \
  FIELD(vorn_partition_buffer, vorn_pb_cur, 40, 8)                                                                     \
  FIELD(vorn_partition_buffer, vorn_pb_end, 48, 8)

#define LAYOUT_VORN_TRANSPOSE_TABLE(FIELD)                                                                             \
  FIELD(vorn_transpose_table, vorn_tt_flags, 4, 4)                                                                     \
  FIELD(vorn_transpose_table, vorn_tt_ncols, 8, 2)                                                                     \
  FIELD(vorn_transpose_table, vorn_tt_width, 10, 2)                                                                    \
  FIELD(vorn_transpose_table, vorn_tt_opaque_a, 16, 8)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_hi_bit, 24, 1)                                                                   \
  FIELD(vorn_transpose_table, vorn_tt_row_bits, 25, 1)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_in_refs, 40, 8)                                                                  \
  FIELD(vorn_transpose_table, vorn_tt_refs, 48, 8)                                                                     \
  FIELD(vorn_transpose_table, vorn_tt_opaque_b, 56, 8)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_dlp, 64, 8)                                                                      \
  FIELD(vorn_transpose_table, vorn_tt_opaque_c, 72, 8)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_opaque_d, 80, 8)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_opaque_e, 88, 1)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_cla, 96, 8)                                                                      \
  FIELD(vorn_transpose_table, vorn_tt_offsets, 104, 8)                                                                 \
  FIELD(vorn_transpose_table, vorn_tt_opaque_f, 112, 8)                                                                \
  FIELD(vorn_transpose_table, vorn_tt_data, 120, 8)                                                                    \
  FIELD(vorn_transpose_table, vorn_tt_pos, 128, 8)                                                                     \
  FIELD(vorn_transpose_table, vorn_tt_end, 136, 8)

#define LAYOUT_PROVE_FIELD(record, field, offset, size)                                                                \
  static_assert(offsetof(record, field) == (offset), "offset of " #field);                                             \
  static_assert(sizeof(((record *) 0)->field) == (size), "size of " #field);
#define LAYOUT_PROVE_SIZE(record, size) static_assert(sizeof(record) == (size), "size of " #record);

LAYOUT_VORN_CV(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_ENC_CTX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_AUX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_CTX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_LBIWV_ICTX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_LBIV_ICTX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_QPAK_CTX(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_GLOBAL_CTX_T(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_HASH_TABLE(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_PARTITION_BUFFER(LAYOUT_PROVE_FIELD)
LAYOUT_VORN_TRANSPOSE_TABLE(LAYOUT_PROVE_FIELD)

LAYOUT_PROVE_SIZE(vorn_cv, 96)
LAYOUT_PROVE_SIZE(vorn_enc_ctx, 160)
LAYOUT_PROVE_SIZE(vorn_aux, 112)
LAYOUT_PROVE_SIZE(vorn_ctx, 112)
LAYOUT_PROVE_SIZE(vorn_lbiwv_ictx, 32)
LAYOUT_PROVE_SIZE(vorn_lbiv_ictx, 32)
LAYOUT_PROVE_SIZE(vorn_qpak_ctx, 40)
LAYOUT_PROVE_SIZE(vorn_global_ctx_t, 536)
LAYOUT_PROVE_SIZE(vorn_hash_table, 80)
LAYOUT_PROVE_SIZE(vorn_partition_buffer, 56)
LAYOUT_PROVE_SIZE(vorn_transpose_table, 144)
LAYOUT_PROVE_SIZE(vorn_kernel, 8)

#define LAYOUT_PROVE_VALUE(name, value) static_assert((name) == (value), "value of " #name);

LAYOUT_PROVE_VALUE(VORN_DISPATCH_SLOTS, 8192)
LAYOUT_PROVE_VALUE(VORN_RESULT_DONE, 0)
LAYOUT_PROVE_VALUE(VORN_RESULT_EMPTY, 1)
LAYOUT_PROVE_VALUE(VORN_RESULT_REFUSED, 2)
LAYOUT_PROVE_VALUE(VORN_RESULT_KEY_SPACE, 3)
LAYOUT_PROVE_VALUE(VORN_RESULT_PARTITION_FULL, 5)
LAYOUT_PROVE_VALUE(VORN_RESULT_NO_OVERFLOW, 6)
LAYOUT_PROVE_VALUE(VORN_RESULT_PROBE_FULL, 7)
LAYOUT_PROVE_VALUE(VORN_RESULT_TRANSPOSE_FULL, 8)
LAYOUT_PROVE_VALUE(VORN_RESULT_OUTPUT_FULL, 9)
LAYOUT_PROVE_VALUE(VORN_RESULT_NO_IMPLEMENTATION, 10)
LAYOUT_PROVE_VALUE(VORN_NATIVE, 0x1)
LAYOUT_PROVE_VALUE(VORN_CONST, 0x4)
LAYOUT_PROVE_VALUE(VORN_TZ, 0x8)
LAYOUT_PROVE_VALUE(VORN_NULLS, 0x40)
LAYOUT_PROVE_VALUE(VORN_HASH_VALUES, 0x80)
LAYOUT_PROVE_VALUE(VORN_DICT, 0x100)
LAYOUT_PROVE_VALUE(VORN_RLE, 0x200)
LAYOUT_PROVE_VALUE(VORN_DYNP, 0x400)
LAYOUT_PROVE_VALUE(VORN_FIXED, 0x800)
LAYOUT_PROVE_VALUE(VORN_LV_SEP, 0x1000)
LAYOUT_PROVE_VALUE(VORN_LV, 0x2000)
LAYOUT_PROVE_VALUE(VORN_LP_SEP, 0x4000)
LAYOUT_PROVE_VALUE(VORN_LP, 0x8000)
LAYOUT_PROVE_VALUE(VORN_STREAM, 0x10000)
LAYOUT_PROVE_VALUE(VORN_HASHRID, 0x20000)
LAYOUT_PROVE_VALUE(VORN_RIDVALUE, 0x40000)
LAYOUT_PROVE_VALUE(VORN_AUTORID, 0x80000)
LAYOUT_PROVE_VALUE(VORN_DLP, 0x100000)
LAYOUT_PROVE_VALUE(VORN_ROW, 0x200000)
LAYOUT_PROVE_VALUE(VORN_GD, 0x400000)
LAYOUT_PROVE_VALUE(VORN_HASHGDRID, 0x800000)
LAYOUT_PROVE_VALUE(VORN_UNIFORM_LENS, 0x1000000)
LAYOUT_PROVE_VALUE(VORN_AUX_INVERT_FILTER, 0x01)
LAYOUT_PROVE_VALUE(VORN_AUX_FORCE_SELECTIVE, 0x02)
LAYOUT_PROVE_VALUE(VORN_AUX_UNPACK_UB4, 0x04)
LAYOUT_PROVE_VALUE(VORN_AUX_MULTIPLY, 0x10)
LAYOUT_PROVE_VALUE(VORN_AUX_RID, 0x20)
LAYOUT_PROVE_VALUE(VORN_AUX_SUM, 0x80)
LAYOUT_PROVE_VALUE(VORN_AUX_COPY_VALUES, 0x01)
LAYOUT_PROVE_VALUE(VORN_CTX_ACCUMULATE, 0x04)
LAYOUT_PROVE_VALUE(VORN_CTX_PRINT_LOAD, 0x08)
LAYOUT_PROVE_VALUE(VORN_CTX_FORCE_GENERIC, 0x10)
LAYOUT_PROVE_VALUE(VORN_CTX_SELF_CHECK, 0x20)
LAYOUT_PROVE_VALUE(VORN_CTX_MAX_PADS, 0x80)
LAYOUT_PROVE_VALUE(VORN_INIT_SPECIALIZED, 0x1)
LAYOUT_PROVE_VALUE(VORN_STATUS_GENERIC, 2)
LAYOUT_PROVE_VALUE(VORN_STATUS_SPECIALIZED, 3)

#endif
