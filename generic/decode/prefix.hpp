// Prefix compression: groups of 16 short values that share a prefix.
#pragma once

#include <algorithm>

#include "frame/vorn.h"
#include "generic/big_endian.hpp"
#include "generic/copy.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr uint32_t group_size = 16;
inline constexpr uint32_t longest_value = 8;

// What a caller can ask for beside each value.
struct descriptor {
  const uint8_t *value;
  uint16_t length;
  uint16_t flags;
  uint32_t unused; // never written
};
static_assert(sizeof(descriptor) == 16);

inline void write_values(uint8_t *out, uint32_t values, const uint8_t *prefix, uint32_t prefix_length,
                         const uint8_t *suffix, uint32_t suffix_length) {
  for (uint32_t i = 0; i < values; ++i) {
    copy_short(out, prefix, prefix_length);
    copy_short(out + prefix_length, suffix, suffix_length);
    out += prefix_length + suffix_length;
    suffix += suffix_length;
  }
}

inline descriptor *describe(descriptor *out, const uint8_t *value, uint32_t values, uint32_t length) {
  for (uint32_t i = 0; i < values; ++i, ++out, value += length) {
    out->value = value;
    out->length = static_cast<uint16_t>(length);
    out->flags = 0;
  }
  return out;
}

inline uint32_t prefix_decode(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const uint32_t length = enc.vorn_enc_ctx_prefix_vlen;
  if (enc.vorn_enc_ctx_prefix_group != group_size || length == 0 || length > longest_value)
    return VORN_RESULT_NO_IMPLEMENTATION;

  const auto *records = static_cast<const uint8_t *>(src->vorn_cv_vals);
  const auto *offsets = static_cast<const uint8_t *>(src->vorn_cv_lens);
  auto *out = static_cast<uint8_t *>(res->vorn_cv_vals);
  auto *described = aux == nullptr ? nullptr : static_cast<descriptor *>(aux->vorn_aux_prefix_out);
  uint32_t left = enc.vorn_enc_ctx_prefix_nvals;
  for (uint32_t group = 0; group < src->vorn_cv_nrows; ++group) {
    const uint8_t *prefix = records + load_big<uint32_t>(offsets + uint64_t{group} * 4);
    const uint32_t prefix_length = *prefix++;
    if (prefix_length > length) // no such record is ever written
      return VORN_RESULT_NO_IMPLEMENTATION;
    const uint32_t suffix_length = length - prefix_length;
    const uint8_t *suffix = prefix + prefix_length;
    const uint32_t values = std::min(left, group_size);
    if (described != nullptr)
      described = describe(described, out, values, length);
    write_values(out, values, prefix, prefix_length, suffix, suffix_length);
    out += values * length;
    left -= values;
  }
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
