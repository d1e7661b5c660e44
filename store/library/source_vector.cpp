#include "store/library/source_vector.hpp"

#include <cstring>

namespace store {

vorn_enc_ctx predicate_encoding(const column &of, bool knows_nulls, uint32_t more_flags) {
  vorn_enc_ctx out{};
  const uint32_t flags =
      more_flags | (knows_nulls && of.has_nulls() ? VORN_NULLS : 0) | (of.compressed ? VORN_STREAM : 0);
  switch (of.form) {
  case encoding::dict:
  case encoding::rle:
    vorn_build_encoding_type_dict(&out, of.width, nullptr, nullptr, nullptr, 0, VORN_DICT_ONE_LENGTH, flags);
    break;
  case encoding::fixed:
    vorn_build_encoding_type_fixed(&out, of.width, flags);
    break;
  case encoding::dynp:
    vorn_build_encoding_type_dynp(&out, of.width, 0, 0, flags);
    break;
  case encoding::prefix:
    break; // has no predicates
  }
  return out;
}

vorn_cv source_vector(const column &of, const batch &rows, vorn_enc_ctx &encoding, uint64_t *run_bits) {
  vorn_cv out{};
  vorn_build_vector(&out, only_read(rows.stream.data()), only_read(rows.lens.data()), nullptr, &encoding, nullptr,
                    nullptr, rows.rows, rows.stream_bytes, of.compressed ? &rows.decompressed : nullptr, 0);
  if (of.form == encoding::rle)
    vorn_add_encoding_type_rle(&encoding, rows.lens.data(), rows.cla.data(), of.run_length_bits, rows.runs, run_bits);
  return out;
}

vorn_cv stored_constant::vector(vorn_enc_ctx &encoding) {
  vorn_cv out{};
  vorn_build_vector(&out, bytes, &length_code, nullptr, &encoding, nullptr, nullptr, 1, 0, nullptr, 0);
  return out;
}

stored_constant constant_of(const column &of, uint64_t ordinal) {
  stored_constant out;
  if (of.is_dictionary()) {
    const auto code = static_cast<uint32_t>(ordinal);
    std::memcpy(out.bytes, &code, sizeof code);
    return out;
  }
  for (uint32_t i = 0; i < of.width / 8; ++i)
    out.bytes[i] = static_cast<uint8_t>(ordinal >> (of.width - 8 * (i + 1)));
  out.length_code = static_cast<uint8_t>(of.width / 8 - 1);
  return out;
}

} // namespace store
