#include "store/filter.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

// Rows of a batch.  A multiple of 64: the result of a batch begins with a word, and its codes, whatever their width,
// on an 8-byte boundary.
constexpr uint64_t batch_rows = 65536;

} // namespace

void filter(const vorn_ctx &ctx, const column &on, code_comparison compared, selection &out) {
  const uint64_t rows = on.codes.rows();
  out.words.resize((rows + 63) / 64);
  out.count = 0;

  // Comparisons look at the codes only, so the contexts carry no dictionary.
  vorn_enc_ctx encoding;
  vorn_enc_ctx constant_encoding;
  const uint32_t flags = on.has_nulls ? VORN_NULLS : 0;
  vorn_build_encoding_type_dict(&encoding, on.codes.width(), nullptr, nullptr, nullptr, 0, VORN_DICT_ONE_LENGTH, flags);
  vorn_build_encoding_type_dict(&constant_encoding, on.codes.width(), nullptr, nullptr, nullptr, 0,
                                VORN_DICT_ONE_LENGTH, flags | VORN_CONST);
  vorn_cv constant{};
  vorn_build_vector(&constant, &compared.code, nullptr, nullptr, &constant_encoding, nullptr, nullptr, 1, 0, nullptr,
                    0);

  for (uint64_t first = 0; first < rows; first += batch_rows) {
    const auto batch = static_cast<uint32_t>(std::min(batch_rows, rows - first));
    // A vector serves as source and as result, so its pointers are not const; kernels only read a source.
    auto *stream = const_cast<uint8_t *>(on.codes.from(first));
    vorn_cv source{};
    vorn_cv result{};
    vorn_build_vector(&source, stream, nullptr, nullptr, &encoding, nullptr, nullptr, batch, 0, nullptr, 0);
    vorn_build_vector(&result, nullptr, nullptr, nullptr, nullptr, nullptr, out.words.data() + first / 64, batch, 0,
                      nullptr, 0);
    const uint32_t code = vorn_cmp(&ctx, &result, &source, &constant, nullptr, static_cast<uint32_t>(compared.op));
    if (code != VORN_RESULT_DONE && code != VORN_RESULT_EMPTY)
      throw error(
          fmt::format("comparison {} on {} bits gave result {}", sql_name(compared.op), on.codes.width(), code));
    out.count += result.vorn_cv_popc;
  }
}

} // namespace store
