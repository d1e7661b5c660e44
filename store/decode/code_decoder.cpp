#include "store/decode/code_decoder.hpp"

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

constexpr uint16_t null_flag = 2;

// A list of rows takes one call of the library rather than two, which tells as long as the rows are few.  Microseconds
// for 65,536 rows of codes of 10 bits, unpacking against the list, with the kernels of AVX2: 1.2 against 1.1 for 4
// rows, 2.5 against 2.4 for 64, 4.8 against 5.0 for 256.  With more rows the list stays behind.
bool is_sparse(const batch &rows, uint32_t count) { return count <= rows.rows / 1024; }

} // namespace

code_decoder::code_decoder(const vorn_ctx &ctx, const column &of)
    : ctx_(ctx), of_(of), entries_(std::get<dictionary>(of_.values)), unpacker_(ctx_, of_) {}

void code_decoder::open(const batch &rows, const uint64_t *filter, uint32_t count) {
  // Over runs a list of rows would number runs, and it gives no codes to tell NULL by.
  by_list_ = of_.form == encoding::dict && filter != nullptr && entries_.flags_tell_null() && is_sparse(rows, count);
  unpacker_.open(rows, filter);
  if (by_list_)
    cursor_.open(rows, filter);
}

void code_decoder::next(std::span<cell> out) {
  const auto count = static_cast<uint32_t>(out.size());
  symbols_.resize(count);
  lengths_.resize(count);
  flags_.resize(count);
  vorn_cv result{};
  vorn_build_vector(&result, symbols_.data(), lengths_.data(), flags_.data(), nullptr, nullptr, nullptr, count, 0,
                    nullptr, 0);
  vorn_aux aux{};
  if (by_list_) {
    const std::span<uint32_t> rows = cursor_.next(count);
    aux.vorn_aux_ones_vec = rows.data();
    aux.vorn_aux_ones_vec_size = count;
    check(result, vorn_decode(&ctx_, &result, &unpacker_.packed(), &aux), count);
  } else {
    check(result, vorn_decode_symbol(&ctx_, &result, &unpacker_.next(count), &aux), count);
  }
  for (uint32_t i = 0; i < count; ++i) {
    const bool is_null =
        entries_.has_null() && (entries_.flags_tell_null() ? flags_[i] == null_flag : unpacker_.code_at(i) == 0);
    if (is_null)
      out[i] = std::monostate{};
    else if (lengths_[i] != 0)
      out[i] = dictionary::value_of({reinterpret_cast<const char *>(symbols_[i]), lengths_[i]}, of_.type.kind);
    else // where every symbol has length 0, its address is not written
      out[i] = std::string_view();
  }
}

void code_decoder::check(const vorn_cv &result, uint32_t code, uint32_t count) const {
  if (code != VORN_RESULT_DONE || result.vorn_cv_popc != count)
    throw error(fmt::format("decoding {} rows of column '{}' gave result {} and {} rows", count, of_.name, code,
                            result.vorn_cv_popc));
}

} // namespace store
