#include "store/decode/code_unpacker.hpp"

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/library/source_vector.hpp"

namespace store {

namespace {

uint32_t bytes_of(uint32_t width, code_unpacker::element form) {
  return form == code_unpacker::element::four_bytes ? 4 : width <= 8 ? 1 : width <= 16 ? 2 : 4;
}

} // namespace

code_unpacker::code_unpacker(const vorn_ctx &context, const column &of_codes, element form)
    : ctx(context), of(of_codes), code_bytes(bytes_of(of.width, form)),
      // Decoders know no code of NULL but only symbols of length 0, so the flag of the predicates is not theirs.
      encoding(std::get<dictionary>(of.values).encoding(of.width, of.compressed ? VORN_STREAM : 0)),
      unpacked_encoding(std::get<dictionary>(of.values).encoding(8 * code_bytes, 0)) {}

void code_unpacker::open(const batch &rows, const uint64_t *filter) {
  source = source_vector(of, rows, encoding);
  aux = {};
  aux.vorn_aux_flags = code_bytes == 4 ? VORN_AUX_UNPACK_UB4 : 0;
  aux.vorn_aux_filter_bv = only_read(filter);
}

vorn_cv &code_unpacker::next(uint32_t count) {
  codes.resize(size_t{count} * code_bytes);
  vorn_build_vector(&unpacked, codes.data(), nullptr, nullptr, &unpacked_encoding, nullptr, nullptr, count, 0, nullptr,
                    0);
  const uint32_t code = vorn_decode_unpack(&ctx, &unpacked, &source, &aux);
  if (code != VORN_RESULT_DONE || unpacked.vorn_cv_popc != count)
    throw error(fmt::format("unpacking {} rows of column '{}' gave result {} and {} rows", count, of.name, code,
                            unpacked.vorn_cv_popc));
  ++aux.vorn_aux_start_slot;
  return unpacked;
}

} // namespace store
