// Builders of the records: vectors, encoding contexts, type codes and cumulative length arrays.
#include "frame/vorn.h"

#include <cstring>

#include "frame/assertion.hpp"
#include "frame/names.hpp"

namespace {

constexpr const char source[] = "vorn";

void build(vorn_enc_ctx *enc, uint32_t flags) {
  *enc = vorn_enc_ctx{};
  enc->vorn_enc_ctx_flags = flags;
}

uint32_t big_endian_16(const uint8_t *bytes) { return static_cast<uint32_t>(bytes[0] << 8 | bytes[1]); }

// Entry i + 1 is entry i plus length(i), stored big-endian, modulo 2^32.
template <class Length>
void build_cla(uint32_t *res, uint32_t src_len, Length length) {
  uint32_t end = 0;
  res[0] = 0;
  for (uint32_t i = 0; i < src_len; ++i) {
    end += length(i);
    res[uint64_t{i} + 1] = __builtin_bswap32(end);
  }
}

} // namespace

extern "C" {

void vorn_build_vector(vorn_cv *cv, void *vals, void *lens, void *flgs, vorn_enc_ctx *enc, uint64_t *mask_bv,
                       uint64_t *bv, uint32_t nrows, uint32_t stream_len, void **stream_slot, uint64_t stream_tag) {
  cv->vorn_cv_vals = vals == nullptr && stream_slot != nullptr ? *stream_slot : vals;
  cv->vorn_cv_lens = lens;
  cv->vorn_cv_flgs = flgs;
  cv->vorn_cv_encoding_context = enc;
  cv->vorn_cv_mask_bv = mask_bv;
  cv->vorn_cv_bv = bv;
  cv->vorn_cv_popc = 0;
  cv->vorn_cv_nrows = nrows;
  cv->vorn_cv_stream_len = stream_len;
  cv->vorn_cv_stream_slot = stream_slot;
  cv->vorn_cv_stream_tag = stream_tag;
}

void vorn_add_vector_autorid(vorn_cv *cv, uint64_t first_rid) { cv->vorn_cv_autorid = first_rid; }
void vorn_add_vector_size(vorn_cv *cv, uint64_t size) { cv->vorn_cv_size = size; }

void vorn_build_encoding_type_dict(vorn_enc_ctx *enc, uint32_t width, const void *syms, const void *lens,
                                   const void *cla, uint32_t nsyms, uint32_t layout, uint32_t flags) {
  build(enc, flags | VORN_DICT);
  enc->vorn_enc_ctx_width = width;
  enc->vorn_enc_ctx_width_code = vorn_convert_width(width);
  enc->vorn_enc_ctx_dict_syms = syms;
  enc->vorn_enc_ctx_dict_lens = lens;
  enc->vorn_enc_ctx_dict_cla = cla;
  enc->vorn_enc_ctx_dict_nsyms = nsyms;
  enc->vorn_enc_ctx_dict_layout = layout;
  vorn_build_encoding_type(enc);
}

// The kernels of 32 and 64 bits serve every narrower width of their class.  The context keeps the width itself.
void vorn_build_encoding_type_fixed(vorn_enc_ctx *enc, uint32_t width, uint32_t flags) {
  build(enc, flags | VORN_FIXED);
  const bool wide = width > 16 && width <= 64;
  enc->vorn_enc_ctx_width = width;
  enc->vorn_enc_ctx_unit = 8;
  enc->vorn_enc_ctx_width_code = vorn_convert_width(!wide ? width : width <= 32 ? 32 : 64);
  vorn_build_encoding_type(enc);
}

void vorn_build_encoding_type_dynp(vorn_enc_ctx *enc, uint32_t width, uint64_t, uint64_t, uint32_t flags) {
  build(enc, flags | VORN_DYNP);
  enc->vorn_enc_ctx_width = width;
  enc->vorn_enc_ctx_width_code = vorn_convert_width(width);
  vorn_build_encoding_type(enc);
}

void vorn_build_encoding_type_lp_sep(vorn_enc_ctx *enc) { build(enc, VORN_LP_SEP); }
void vorn_build_encoding_type_lp(vorn_enc_ctx *enc) { build(enc, VORN_LP); }
void vorn_build_encoding_type_lv_sep(vorn_enc_ctx *enc) { build(enc, VORN_LV_SEP); }
void vorn_build_encoding_type_lv(vorn_enc_ctx *enc) { build(enc, VORN_LV); }
void vorn_build_encoding_type_gd(vorn_enc_ctx *enc) { build(enc, VORN_GD); }
void vorn_build_encoding_type_hashrid(vorn_enc_ctx *enc) { build(enc, VORN_HASHRID); }
void vorn_build_encoding_type_hashgdrid(vorn_enc_ctx *enc) { build(enc, VORN_HASHGDRID); }
void vorn_build_encoding_type_ridvalue(vorn_enc_ctx *enc) { build(enc, VORN_RIDVALUE); }
void vorn_build_encoding_type_hash_values(vorn_enc_ctx *enc) { build(enc, VORN_HASH_VALUES); }
void vorn_build_encoding_type_autorid(vorn_enc_ctx *enc) { build(enc, VORN_AUTORID); }

void vorn_build_encoding_type_dlp(vorn_enc_ctx *enc, uint8_t shift, void **table) {
  build(enc, VORN_DLP);
  enc->vorn_enc_ctx_dlp_shift = shift;
  enc->vorn_enc_ctx_dlp_table = table;
}

void vorn_build_encoding_type_row(vorn_enc_ctx *enc, uint16_t a, uint64_t b) {
  build(enc, VORN_ROW);
  enc->vorn_enc_ctx_row_a = a;
  enc->vorn_enc_ctx_row_b = b;
}

void vorn_add_encoding_type_rle(vorn_enc_ctx *enc, const void *lens, const void *cla, uint8_t width, uint32_t nruns,
                                uint64_t *burst_res_bv) {
  enc->vorn_enc_ctx_flags |= VORN_RLE;
  enc->vorn_enc_ctx_rle_lens = lens;
  enc->vorn_enc_ctx_rle_cla = cla;
  enc->vorn_enc_ctx_rle_width = width;
  enc->vorn_enc_ctx_rle_nruns = nruns;
  enc->vorn_enc_ctx_burst_res_bv = burst_res_bv;
  vorn_build_minor_encoding_type(enc);
}

void vorn_add_encoding_type_bloom(vorn_enc_ctx *enc, uint8_t ind, uint32_t mask, uint32_t shift, uint32_t ind_mask) {
  enc->vorn_enc_ctx_bloom_ind = ind;
  enc->vorn_enc_ctx_bloom_mask = mask;
  enc->vorn_enc_ctx_ind_shift = shift;
  enc->vorn_enc_ctx_ind_mask = ind_mask;
}

void vorn_add_encoding_type_xlate(vorn_enc_ctx *enc, uint8_t kind, int32_t width, uint32_t c2d, uint32_t shift,
                                  uint32_t mask) {
  enc->vorn_enc_ctx_xlate_type = kind;
  enc->vorn_enc_ctx_ind_shift = shift;
  enc->vorn_enc_ctx_ind_mask = mask;
  const uint32_t code = vorn_xlate_convert_type(kind) | static_cast<uint32_t>(vorn_xlate_convert_width(width)) << 2;
  enc->vorn_enc_ctx_type = code | (c2d != 0 ? 0x80U : 0U);
}

void vorn_add_encoding_type_imca(vorn_enc_ctx *enc, int32_t width) {
  enc->vorn_enc_ctx_type = static_cast<uint32_t>(vorn_xlate_convert_width(width)) << 2 | 0x83U;
}

void vorn_build_hash_table(vorn_hash_table *ht, void **tables, void *reserved, void **ovfl_cur, void **ovfl_end,
                           uint8_t part_hi_bit, uint8_t part_shift, uint8_t bucket_hi_bit, uint32_t type) {
  std::memset(ht, 0, sizeof *ht);
  ht->vorn_ht_type = type;
  ht->vorn_ht_bucket_hi_bit = bucket_hi_bit;
  ht->vorn_ht_part_hi_bit = part_hi_bit;
  ht->vorn_ht_part_shift = part_shift;
  ht->vorn_ht_tables = tables;
  ht->vorn_ht_reserved = reserved;
  ht->vorn_ht_ovfl_cur = ovfl_cur;
  ht->vorn_ht_ovfl_end = ovfl_end;
}

void vorn_build_partition_buffer(vorn_partition_buffer *pb, void *reserved, void **cur, void **end, uint8_t hi_bit,
                                 uint8_t shift, uint32_t type) {
  std::memset(pb, 0, sizeof *pb);
  pb->vorn_pb_type = type;
  pb->vorn_pb_hi_bit = hi_bit;
  pb->vorn_pb_shift = shift;
  pb->vorn_pb_reserved = reserved;
  pb->vorn_pb_cur = cur;
  pb->vorn_pb_end = end;
}

void vorn_build_transpose_table(vorn_transpose_table *tbl, uint8_t ncols, uint16_t width, uint64_t a, uint8_t hi_bit,
                                uint8_t row_bits, void **in_refs, void **refs, uint64_t b, void **dlp, uint64_t c,
                                uint64_t d, uint8_t e, void **cla, void **offsets, uint64_t f, void **data, void **pos,
                                void **end, uint32_t flags) {
  std::memset(tbl, 0, sizeof *tbl);
  tbl->vorn_tt_flags = flags;
  tbl->vorn_tt_ncols = ncols;
  tbl->vorn_tt_width = width;
  tbl->vorn_tt_opaque_a = a;
  tbl->vorn_tt_hi_bit = hi_bit;
  tbl->vorn_tt_row_bits = row_bits;
  tbl->vorn_tt_in_refs = in_refs;
  tbl->vorn_tt_refs = refs;
  tbl->vorn_tt_opaque_b = b;
  tbl->vorn_tt_dlp = dlp;
  tbl->vorn_tt_opaque_c = c;
  tbl->vorn_tt_opaque_d = d;
  tbl->vorn_tt_opaque_e = e;
  tbl->vorn_tt_cla = cla;
  tbl->vorn_tt_offsets = offsets;
  tbl->vorn_tt_opaque_f = f;
  tbl->vorn_tt_data = data;
  tbl->vorn_tt_pos = pos;
  tbl->vorn_tt_end = end;
}

void vorn_build_encoding_type(vorn_enc_ctx *enc) {
  const uint32_t flags = enc->vorn_enc_ctx_flags;
  const uint32_t encoding = flags & VORN_DICT ? VORN_ENC_DICT : flags & VORN_DYNP ? VORN_ENC_DYNP : VORN_ENC_FIXED;
  const bool flag = flags & (encoding == VORN_ENC_DICT ? VORN_NULLS : VORN_TZ);
  enc->vorn_enc_ctx_type = encoding | static_cast<uint32_t>(enc->vorn_enc_ctx_width_code) << 2 | (flag ? 0x80U : 0U);
}

// The burst kernels have the width codes of 7 and 15 bits without a CLA, and of 8 and 16 bits with a CLA.
void vorn_build_minor_encoding_type(vorn_enc_ctx *enc) {
  enc->vorn_enc_ctx_minor_type = 0;
  if (!(enc->vorn_enc_ctx_flags & VORN_RLE))
    return;
  const uint32_t width = enc->vorn_enc_ctx_rle_width;
  if (width != 8 && width != 16)
    VORN_INVALID_NUMBER(width, source);
  const uint32_t code = vorn::width_code(enc->vorn_enc_ctx_rle_cla != nullptr ? width : width - 1);
  enc->vorn_enc_ctx_minor_type = code << 2 | VORN_ENC_RLE;
}

uint8_t vorn_convert_width(uint32_t width) {
  const uint8_t code = vorn::width_code(width);
  if (code == vorn::no_width_code)
    VORN_INVALID_NUMBER(width, source);
  return code;
}

uint8_t vorn_xlate_convert_width(int32_t width) {
  switch (width) {
  case -1:
    return 0;
  case -4:
    return 1;
  case 1:
    return 2;
  case 2:
    return 3;
  case 4:
    return 4;
  default:
    VORN_INVALID_NUMBER(width, source);
  }
}

uint8_t vorn_xlate_convert_type(uint32_t kind) {
  if (kind < 1 || kind > 3)
    VORN_INVALID_NUMBER(kind, source);
  return static_cast<uint8_t>(kind - 1);
}

void vorn_build_cla_1_ub1(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len) {
  VORN_ASSERT(res_len > src_len, "res_len >= (src_len + 1)", source);
  const auto *lens = static_cast<const uint8_t *>(src);
  build_cla(res, src_len, [&](uint64_t i) { return uint32_t{lens[i]}; });
}

void vorn_build_cla_1_ub2(uint32_t *res, uint32_t res_len, const void *src, uint32_t src_len) {
  VORN_ASSERT(res_len > src_len, "res_len >= (src_len + 1)", source);
  const auto *lens = static_cast<const uint8_t *>(src);
  build_cla(res, src_len, [&](uint64_t i) { return big_endian_16(lens + 2 * i); });
}

} // extern "C"
