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

code_unpacker::code_unpacker(const vorn_ctx &ctx, const column &of, element form)
    : ctx_(ctx), of_(of), code_bytes_(bytes_of(of_.width, form)),
      // Decoders know no code of NULL but only symbols of length 0, so the flag of the predicates is not theirs.
      encoding_(std::get<dictionary>(of_.values).encoding(of_.width, of_.compressed ? VORN_STREAM : 0)),
      unpacked_encoding_(std::get<dictionary>(of_.values).encoding(8 * code_bytes_, 0)) {}

void code_unpacker::open(const batch &rows, const uint64_t *filter) {
  source_ = source_vector(of_, rows, encoding_);
  aux_ = {};
  aux_.vorn_aux_flags = code_bytes_ == 4 ? VORN_AUX_UNPACK_UB4 : 0;
  aux_.vorn_aux_filter_bv = only_read(filter);
}

vorn_cv &code_unpacker::next(uint32_t count) {
  codes_.resize(size_t{count} * code_bytes_);
  vorn_build_vector(&unpacked_, codes_.data(), nullptr, nullptr, &unpacked_encoding_, nullptr, nullptr, count, 0,
                    nullptr, 0);
  const uint32_t code = vorn_decode_unpack(&ctx_, &unpacked_, &source_, &aux_);
  if (code != VORN_RESULT_DONE || unpacked_.vorn_cv_popc != count)
    throw error(fmt::format("unpacking {} rows of column '{}' gave result {} and {} rows", count, of_.name, code,
                            unpacked_.vorn_cv_popc));
  ++aux_.vorn_aux_start_slot;
  return unpacked_;
}

} // namespace store
