/*
 * The layout that library, specialised libraries and host agree on: where every field lies and how large it is, the
 * sizes of the records, the values of codes and flags.  Including this file proves it at compile time, in C11 and in
 * C++17.
 */
#ifndef TESTS_FRAME_LAYOUT_H
#define TESTS_FRAME_LAYOUT_H

#include <assert.h>
#include <stddef.h>

#include "frame/vorn.h"

#define LIES(record, field, offset, size)                                                                              \
  (offsetof(record, field) == (offset) && sizeof(((record *) 0)->field) == (size))

#define CV(field, offset, size) LIES(vorn_cv, vorn_cv_##field, offset, size)
static_assert(CV(vals, 0, 8) && CV(lens, 8, 8) && CV(flgs, 16, 8) && CV(encoding_context, 24, 8) &&
                  CV(mask_bv, 32, 8) && CV(bv, 40, 8) && CV(popc, 48, 4) && CV(nrows, 52, 4) && CV(stream_len, 56, 4) &&
                  CV(stream_slot, 64, 8) && CV(stream_tag, 72, 8) && CV(autorid, 80, 8) && CV(size, 88, 8) &&
                  sizeof(vorn_cv) == 96,
              "layout of vorn_cv");

#define ENC(field, offset, size) LIES(vorn_enc_ctx, vorn_enc_ctx_##field, offset, size)
static_assert(ENC(type, 0, 8) && ENC(minor_type, 8, 8) && ENC(dict_syms, 16, 8) && ENC(dict_lens, 24, 8) &&
                  ENC(dict_cla, 32, 8) && ENC(dict_nsyms, 40, 4) && ENC(dict_layout, 44, 4) && ENC(rle_lens, 48, 8) &&
                  ENC(rle_width, 56, 1) && ENC(rle_nruns, 60, 4) && ENC(rle_cla, 64, 8) && ENC(burst_fn, 72, 8) &&
                  ENC(burst_res_bv, 80, 8) && ENC(prefix_group, 88, 1) && ENC(prefix_vlen, 90, 2) &&
                  ENC(prefix_nvals, 92, 4) && ENC(xlate_type, 96, 1) && ENC(bloom_ind, 97, 1) &&
                  ENC(bloom_mask, 100, 4) && ENC(ind_shift, 104, 4) && ENC(ind_mask, 108, 4) &&
                  ENC(dlp_shift, 112, 1) && ENC(dlp_table, 120, 8) && ENC(xlate_base, 128, 4) && ENC(flags, 132, 4) &&
                  ENC(width, 136, 4) && ENC(width_code, 140, 1) && ENC(unit, 141, 1) && ENC(row_a, 142, 2) &&
                  ENC(row_b, 144, 8) && ENC(num_type, 152, 1) && sizeof(vorn_enc_ctx) == 160,
              "layout of vorn_enc_ctx");

#define AUX(field, offset, size) LIES(vorn_aux, vorn_aux_##field, offset, size)
static_assert(AUX(ctx, 0, 8) && AUX(filter_bv, 8, 8) && AUX(flags, 16, 1) && AUX(flags2, 17, 1) && AUX(popc, 20, 4) &&
                  AUX(full_part, 24, 4) && AUX(start_slot, 28, 4) && AUX(run_idx, 32, 4) && AUX(run_end, 36, 4) &&
                  AUX(out_pos, 40, 8) && AUX(out_pos2, 48, 8) && AUX(ones_vec, 56, 8) && AUX(ones_vec_size, 64, 4) &&
                  AUX(diag_code, 68, 4) && AUX(start_row, 72, 4) && AUX(op_bits, 76, 3) && AUX(prefix_out, 80, 8) &&
                  AUX(xlate_enc, 88, 8) && AUX(xlate_tbl, 96, 8) && AUX(xlate_n, 104, 4) && sizeof(vorn_aux) == 112,
              "layout of vorn_aux");

#define CTX(field, offset, size) LIES(vorn_ctx, vorn_ctx_##field, offset, size)
static_assert(CTX(env, 0, 8) && CTX(heap, 8, 8) && CTX(trace, 16, 8) && CTX(alloc, 24, 8) && CTX(stack_alloc, 32, 8) &&
                  CTX(stack_free, 40, 8) && CTX(call_counts, 48, 8) && CTX(rates, 56, 8) && CTX(init_flags, 64, 4) &&
                  CTX(lib_name, 72, 8) && CTX(trace_level, 80, 4) && CTX(decompress, 88, 8) && CTX(stats, 96, 8) &&
                  CTX(flags, 104, 1) && sizeof(vorn_ctx) == 112,
              "layout of vorn_ctx");

/* The iterators of both families of bit vectors. */
#define ITERATOR(record)                                                                                               \
  (LIES(record, record##_next, 0, 8) && LIES(record, record##_nbits, 8, 4) && LIES(record, record##_base, 12, 4) &&    \
   LIES(record, record##_offset, 16, 8) && LIES(record, record##_word, 24, 8) && sizeof(record) == 32)
static_assert(ITERATOR(vorn_lbiv_ictx) && ITERATOR(vorn_lbiwv_ictx), "layout of the iterators");

#define QPAK(field, offset, size) LIES(vorn_qpak_ctx, vorn_qpak_ctx_##field, offset, size)
static_assert(QPAK(env, 0, 8) && QPAK(heap, 8, 8) && QPAK(stack_alloc, 16, 8) && QPAK(stack_free, 24, 8) &&
                  QPAK(generic, 32, 4) && sizeof(vorn_qpak_ctx) == 40,
              "layout of vorn_qpak_ctx");

#define GLOBAL(field, offset, size) LIES(vorn_global_ctx_t, field, offset, size)
/* The routines follow each other: bit vectors of bytes, bit vectors of words, then the others. */
#define ROUTINE(name, place)   GLOBAL(vorn_##name##_dydi, 136 + 8 * (place), 8)
#define BOTH(operation, place) (ROUTINE(lbiv##operation, place) && ROUTINE(lbiwv##operation, 17 + (place)))
static_assert(GLOBAL(vorn_global_ctx_magic, 0, 8) && GLOBAL(vorn_global_ctx_version, 8, 8) &&
                  GLOBAL(vorn_global_ctx_status, 16, 4) && GLOBAL(vorn_global_ctx_flags, 20, 4) &&
                  GLOBAL(vorn_global_ctx_lib_name, 24, 8) && GLOBAL(VORN_MAX_ALIGN, 32, 8) &&
                  GLOBAL(VORN_DATASTREAM_ALIGN, 40, 8) && GLOBAL(VORN_BITWVEC_ALIGN, 48, 8) &&
                  GLOBAL(VORN_OUTPUT_BITWVEC_ALIGN, 56, 8) && GLOBAL(VORN_JOIN_BITWVEC_ALIGN, 64, 8) &&
                  GLOBAL(vorn_global_ctx_qpak_in_align, 72, 8) && GLOBAL(vorn_global_ctx_qpak_out_align, 80, 8) &&
                  GLOBAL(vorn_global_ctx_pad_output, 88, 8) && GLOBAL(vorn_global_ctx_pad_spare, 96, 8) &&
                  GLOBAL(vorn_global_ctx_end_cu, 104, 4) && GLOBAL(vorn_global_ctx_dispatch, 112, 8) &&
                  GLOBAL(vorn_global_ctx_init_sharedlib, 120, 8) && GLOBAL(vorn_global_ctx_set_trace_level, 128, 8) &&
                  BOTH(popcnt, 0) && BOTH(not, 1) && BOTH(and, 2) && BOTH(or, 3) && BOTH(xor, 4) && BOTH(andnot, 5) &&
                  BOTH(and3, 6) && BOTH(or3, 7) && BOTH(xor3, 8) && BOTH(set_range, 9) && BOTH(clr_range, 10) &&
                  BOTH(_ictx_ini2, 11) && BOTH(iter, 12) && BOTH(iter_clr, 13) && BOTH(ones, 14) && BOTH(run, 15) &&
                  BOTH(runs, 16) && ROUTINE(bloom, 34) && ROUTINE(spatial_pip, 35) && ROUTINE(groupkey, 36) &&
                  ROUTINE(gby_sum, 37) && ROUTINE(convert, 38) && ROUTINE(prefix_decode, 39) && ROUTINE(hash, 40) &&
                  ROUTINE(ht_build, 41) && ROUTINE(ht_probe, 42) && ROUTINE(partition, 43) && ROUTINE(gather, 44) &&
                  ROUTINE(transpose_reference, 45) && ROUTINE(transpose_convert, 46) && ROUTINE(qpak_decode, 47) &&
                  ROUTINE(thread_ctx_init, 48) && ROUTINE(thread_ctx_fini, 49) && sizeof(vorn_global_ctx_t) == 536,
              "layout of vorn_global_ctx_t");

#define HT(field, offset, size) LIES(vorn_hash_table, vorn_ht_##field, offset, size)
static_assert(HT(type, 4, 4) && HT(bucket_hi_bit, 17, 1) && HT(part_hi_bit, 18, 1) && HT(part_shift, 19, 1) &&
                  HT(tables, 24, 8) && HT(reserved, 32, 8) && HT(ovfl_cur, 40, 8) && HT(ovfl_end, 48, 8) &&
                  HT(part_low_bits, 72, 1) && sizeof(vorn_hash_table) == 80,
              "layout of vorn_hash_table");

#define PB(field, offset, size) LIES(vorn_partition_buffer, vorn_pb_##field, offset, size)
static_assert(PB(type, 4, 4) && PB(hi_bit, 8, 1) && PB(shift, 9, 1) && PB(fixed_width, 28, 2) && PB(reserved, 32, 8) &&
                  PB(cur, 40, 8) && PB(end, 48, 8) && sizeof(vorn_partition_buffer) == 56,
              "layout of vorn_partition_buffer");

#define TT(field, offset, size) LIES(vorn_transpose_table, vorn_tt_##field, offset, size)
static_assert(TT(flags, 4, 4) && TT(ncols, 8, 2) && TT(width, 10, 2) && TT(opaque_a, 16, 8) && TT(hi_bit, 24, 1) &&
                  TT(row_bits, 25, 1) && TT(in_refs, 40, 8) && TT(refs, 48, 8) && TT(opaque_b, 56, 8) &&
                  TT(dlp, 64, 8) && TT(opaque_c, 72, 8) && TT(opaque_d, 80, 8) && TT(opaque_e, 88, 1) &&
                  TT(cla, 96, 8) && TT(offsets, 104, 8) && TT(opaque_f, 112, 8) && TT(data, 120, 8) &&
                  TT(pos, 128, 8) && TT(end, 136, 8) && sizeof(vorn_transpose_table) == 144,
              "layout of vorn_transpose_table");

static_assert(sizeof(vorn_kernel) == 8, "size of vorn_kernel");

static_assert(VORN_DISPATCH_SLOTS == 8192 && VORN_CTX_ACCUMULATE == 0x04 && VORN_CTX_PRINT_LOAD == 0x08 &&
                  VORN_CTX_FORCE_GENERIC == 0x10 && VORN_CTX_SELF_CHECK == 0x20 && VORN_CTX_MAX_PADS == 0x80 &&
                  VORN_INIT_SPECIALIZED == 0x1 && VORN_STATUS_GENERIC == 2 && VORN_STATUS_SPECIALIZED == 3,
              "flags of a context, states, slots");
static_assert(VORN_RESULT_DONE == 0 && VORN_RESULT_EMPTY == 1 && VORN_RESULT_REFUSED == 2 &&
                  VORN_RESULT_KEY_SPACE == 3 && VORN_RESULT_PARTITION_FULL == 5 && VORN_RESULT_NO_OVERFLOW == 6 &&
                  VORN_RESULT_PROBE_FULL == 7 && VORN_RESULT_TRANSPOSE_FULL == 8 && VORN_RESULT_OUTPUT_FULL == 9 &&
                  VORN_RESULT_NO_IMPLEMENTATION == 10,
              "result codes");
/* The others are proved by what the builders set. */
static_assert(VORN_NATIVE == 0x1 && VORN_CONST == 0x4 && VORN_STREAM == 0x10000 && VORN_UNIFORM_LENS == 0x1000000,
              "flags of an encoding");
static_assert(VORN_AUX_INVERT_FILTER == 0x01 && VORN_AUX_FORCE_SELECTIVE == 0x02 && VORN_AUX_UNPACK_UB4 == 0x04 &&
                  VORN_AUX_MULTIPLY == 0x10 && VORN_AUX_RID == 0x20 && VORN_AUX_SUM == 0x80 &&
                  VORN_AUX_COPY_VALUES == 0x01,
              "flags of a call");

#endif
