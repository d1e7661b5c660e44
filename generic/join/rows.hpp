// The row forms: where the value of each row is and how long it is.  One type per form, a walk over rows in their
// order.
#pragma once

#include <array>

#include "frame/bits.hpp"
#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL {

enum class row_form : uint8_t { fixed, dict, lv_sep, lv, lp_sep, lp, dlp, hash_values, gd, hashrid, hashgdrid, none };
inline constexpr uint32_t row_forms = static_cast<uint32_t>(row_form::none);

// The flag that names a form.
struct form_flag {
  uint32_t flag;
  row_form form;
};

namespace flagged {
inline constexpr form_flag fixed = {VORN_FIXED, row_form::fixed};
inline constexpr form_flag dict = {VORN_DICT, row_form::dict};
inline constexpr form_flag lv_sep = {VORN_LV_SEP, row_form::lv_sep};
inline constexpr form_flag lv = {VORN_LV, row_form::lv};
inline constexpr form_flag lp_sep = {VORN_LP_SEP, row_form::lp_sep};
inline constexpr form_flag lp = {VORN_LP, row_form::lp};
inline constexpr form_flag dlp = {VORN_DLP, row_form::dlp};
inline constexpr form_flag hash_values = {VORN_HASH_VALUES, row_form::hash_values};
inline constexpr form_flag gd = {VORN_GD, row_form::gd};
inline constexpr form_flag hashrid = {VORN_HASHRID, row_form::hashrid};
inline constexpr form_flag hashgdrid = {VORN_HASHGDRID, row_form::hashgdrid};
} // namespace flagged

// The forms that an operation takes are an array, in the order in which their flags are looked at: the first one that
// is set counts.
inline constexpr std::array value_forms = {flagged::fixed, flagged::lv_sep, flagged::lv, flagged::lp_sep, flagged::lp};

template <size_t N>
inline row_form form_of(const std::array<form_flag, N> &order, uint32_t flags) {
  for (const auto &[flag, form] : order)
    if (flags & flag)
      return form;
  return row_form::none;
}

inline uint32_t flags_of(const vorn_cv &cv) { return cv.vorn_cv_encoding_context->vorn_enc_ctx_flags; }

// Bytes of a row in the fixed form.
inline uint16_t stride_of(const vorn_enc_ctx &enc) {
  return static_cast<uint16_t>(static_cast<uint16_t>(enc.vorn_enc_ctx_width) / 8);
}
inline uint16_t stride_of(const vorn_cv &cv) { return stride_of(*cv.vorn_cv_encoding_context); }

struct value {
  const uint8_t *at;
  uint16_t length;
};

// A length-pointer record: 16-bit length, 6 bytes that are neither read nor written, pointer.
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
    const value here = {at, stride};
    at += stride;
    return here;
  }
};

struct lv_sep_rows {
  const uint8_t *at;
  const uint8_t *lens;

  value next() {
    const value here = {at, load<uint16_t>(lens)};
    at += here.length;
    lens += sizeof here.length;
    return here;
  }
};

struct lv_rows {
  const uint8_t *at;

  value next() {
    const value here = {at + sizeof(uint16_t), load<uint16_t>(at)};
    at = here.at + here.length;
    return here;
  }
};

// Forms whose rows are found by walking: a walk that is left is taken up again at a byte.
template <class Rows>
inline constexpr bool is_walk = std::is_same_v<Rows, lv_sep_rows> || std::is_same_v<Rows, lv_rows>;
constexpr bool is_walked(row_form form) { return form == row_form::lv_sep || form == row_form::lv; }

struct lp_sep_rows {
  const uint8_t *pointers;
  const uint8_t *lens;

  value next() {
    const value here = {load<const uint8_t *>(pointers), load<uint16_t>(lens)};
    pointers += sizeof here.at;
    lens += sizeof here.length;
    return here;
  }
};

struct lp_rows {
  const uint8_t *records;

  value next() {
    const value here = load_lp(records);
    records += lp_size;
    return here;
  }
};

// The symbols of packed codes.  A code is read with the three bytes behind its first one, as far as there are any.
struct dict_rows {
  explicit dict_rows(const vorn_cv &cv)
      : stream(static_cast<const uint8_t *>(cv.vorn_cv_vals)), width(cv.vorn_cv_encoding_context->vorn_enc_ctx_width),
        stream_bytes((uint64_t{cv.vorn_cv_nrows} * width + 7) / 8),
        cla(static_cast<const uint8_t *>(cv.vorn_cv_encoding_context->vorn_enc_ctx_dict_cla)),
        symbols(static_cast<const uint8_t *>(cv.vorn_cv_encoding_context->vorn_enc_ctx_dict_syms)) {}

  value next() {
    const uint64_t byte = bit / 8;
    const uint64_t readable = stream_bytes - byte;
    const auto word = readable >= 4 ? load_big<uint32_t>(stream + byte)
                                    : static_cast<uint32_t>(read_big(stream + byte, static_cast<unsigned>(readable))
                                                            << 8 * (4 - readable));
    const uint32_t code = word << bit % 8 >> (32 - width) % 32;
    bit += width;
    const uint8_t *entry = cla + uint64_t{code} * 4;
    const auto offset = load_big<uint32_t>(entry);
    return {symbols + offset, static_cast<uint16_t>(load_big<uint32_t>(entry + 4) - offset)};
  }

  const uint8_t *stream;
  uint32_t width;
  uint64_t stream_bytes;
  const uint8_t *cla;
  const uint8_t *symbols;
  uint64_t bit = 0;
};

// Places in a partitioned store: the length in the low 16 bits, above it the offset field, whose high part selects a
// partition.
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

// Where a call takes up a vector again: the row, and the byte at which it stands in a form that has to be walked.
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

} // namespace vorn::inline VORN_LEVEL
