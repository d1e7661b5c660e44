// The row forms: where the value of each row lies and how long it is.  Each form has a type that reads its rows in
// order.
#pragma once

#include <array>

#include "frame/bits.hpp"
#include "frame/vorn.h"
#include "generic/codes.hpp"
#include "generic/decode/symbols.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL::join {

// A form is the flag that names it.
enum class row_form : uint32_t {
  none = 0,
  fixed = VORN_FIXED,
  dict = VORN_DICT,
  lv_sep = VORN_LV_SEP,
  lv = VORN_LV,
  lp_sep = VORN_LP_SEP,
  lp = VORN_LP,
  dlp = VORN_DLP,
  hash_values = VORN_HASH_VALUES,
  gd = VORN_GD,
  hashrid = VORN_HASHRID,
  hashgdrid = VORN_HASHGDRID
};

// The first flag of an order that is set.  Each operation has its own order.
template <class Flag, size_t N>
constexpr Flag first_set(const std::array<Flag, N> &flags_in_order, uint32_t flags) {
  for (const Flag flag : flags_in_order)
    if (flags & static_cast<uint32_t>(flag))
      return flag;
  return Flag::none;
}

inline constexpr std::array value_forms = {row_form::fixed, row_form::lv_sep, row_form::lv, row_form::lp_sep,
                                           row_form::lp};

inline uint32_t flags_of(const vorn_cv &cv) { return cv.vorn_cv_encoding_context->vorn_enc_ctx_flags; }

// Bytes of a row in the fixed form.
inline uint16_t stride_of(const vorn_cv &cv) {
  return static_cast<uint16_t>(static_cast<uint16_t>(cv.vorn_cv_encoding_context->vorn_enc_ctx_width) / 8);
}

struct value {
  const uint8_t *at;
  uint16_t length;
};

// A length-pointer record: a 16-bit length, 6 bytes that are neither read nor written, and a pointer.
inline constexpr uint32_t lp_size = 16;

inline value load_lp(const uint8_t *record) { return {load<const uint8_t *>(record + 8), load<uint16_t>(record)}; }

inline void store_lp(uint8_t *record, value referred) {
  store<uint16_t>(record, referred.length);
  store<const uint8_t *>(record + 8, referred.at);
}

struct fixed_rows {
  const uint8_t *at;
  uint16_t stride;

  value next() {
    const value row = {at, stride};
    at += stride;
    return row;
  }
};

struct lv_sep_rows {
  const uint8_t *at;
  const uint8_t *lens;

  value next() {
    const value row = {at, load<uint16_t>(lens)};
    at += row.length;
    lens += sizeof row.length;
    return row;
  }
};

struct lv_rows {
  const uint8_t *at;

  value next() {
    const value row = {at + sizeof(uint16_t), load<uint16_t>(at)};
    at = row.at + row.length;
    return row;
  }
};

// In these forms the position of a row depends on the lengths of all rows before it.  A call that stops saves the byte
// position of its next row.
template <class Rows>
inline constexpr bool needs_byte_position = std::is_same_v<Rows, lv_sep_rows> || std::is_same_v<Rows, lv_rows>;
constexpr bool has_byte_position(row_form form) { return form == row_form::lv_sep || form == row_form::lv; }

struct lp_sep_rows {
  const uint8_t *pointers;
  const uint8_t *lens;

  value next() {
    const value row = {load<const uint8_t *>(pointers), load<uint16_t>(lens)};
    pointers += sizeof row.at;
    lens += sizeof row.length;
    return row;
  }
};

struct lp_rows {
  const uint8_t *records;

  value next() {
    const value row = load_lp(records);
    records += lp_size;
    return row;
  }
};

// Values of a dictionary, by packed codes.
struct dict_rows {
  explicit dict_rows(const vorn_cv &cv)
      : codes(static_cast<const uint8_t *>(cv.vorn_cv_vals), cv.vorn_cv_nrows,
              cv.vorn_cv_encoding_context->vorn_enc_ctx_width),
        symbols(*cv.vorn_cv_encoding_context) {}

  value next() {
    const symbol of_code = symbols.at(static_cast<uint32_t>(codes.at(row++)));
    return {of_code.bytes, static_cast<uint16_t>(of_code.length)};
  }

  code_reader<any_width> codes;
  offset_symbols symbols;
  uint64_t row = 0;
};

// References into a partitioned store, one word each.  The low 16 bits hold the length.  The offset field lies above
// them, and the high part of the field selects a partition.
struct dlp_rows {
  const uint8_t *words;
  uint8_t shift;
  void *const *partitions;

  value next() {
    const auto word = load<uint64_t>(words);
    words += sizeof word;
    const uint64_t field = word >> 16;
    const auto *base = static_cast<const uint8_t *>(partitions[shift < 64 ? field >> shift : 0]);
    return {base + (field & low_bits(shift)), static_cast<uint16_t>(word)};
  }
};

// Where a call resumes: at a row, and at a byte in the forms with a byte position.
struct row_position {
  uint32_t row = 0;
  uint64_t byte = 0;
};

inline fixed_rows fixed_rows_of(const vorn_cv &cv, uint32_t first) {
  const uint16_t stride = stride_of(cv);
  return {static_cast<const uint8_t *>(cv.vorn_cv_vals) + uint64_t{first} * stride, stride};
}

inline dlp_rows dlp_rows_of(const vorn_cv &cv, uint32_t first) {
  const vorn_enc_ctx &enc = *cv.vorn_cv_encoding_context;
  return {static_cast<const uint8_t *>(cv.vorn_cv_vals) + uint64_t{first} * sizeof(uint64_t),
          enc.vorn_enc_ctx_dlp_shift, enc.vorn_enc_ctx_dlp_table};
}

// Calls visit with the rows of a vector in one of the value forms, from a position on.
template <class Visit>
inline uint32_t visit_values(const vorn_cv &cv, row_form form, row_position from, Visit visit) {
  const auto *vals = static_cast<const uint8_t *>(cv.vorn_cv_vals);
  const auto lens = [&] { return static_cast<const uint8_t *>(cv.vorn_cv_lens) + uint64_t{from.row} * 2; };
  switch (form) {
  case row_form::fixed:
    return visit(fixed_rows_of(cv, from.row));
  case row_form::lv_sep:
    return visit(lv_sep_rows{vals + from.byte, lens()});
  case row_form::lv:
    return visit(lv_rows{vals + from.byte});
  case row_form::lp_sep:
    return visit(lp_sep_rows{vals + uint64_t{from.row} * sizeof(uint64_t), lens()});
  default: // lp
    return visit(lp_rows{vals + uint64_t{from.row} * lp_size});
  }
}

} // namespace vorn::inline VORN_LEVEL::join
