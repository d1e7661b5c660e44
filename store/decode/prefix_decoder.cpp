#include "store/decode/prefix_decoder.hpp"

#include <fmt/format.h>

#include "store/decode/key_decoder.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"
#include "store/library/source_vector.hpp"

namespace store {

void prefix_decoder::open(const batch &rows, const uint64_t *filter, uint32_t /*count*/) {
  const uint32_t value_bytes = of_.width / 8;
  values_.resize(size_t{rows.rows} * value_bytes);
  vorn_enc_ctx encoding{};
  encoding.vorn_enc_ctx_prefix_group = prefix_group;
  encoding.vorn_enc_ctx_prefix_vlen = static_cast<uint16_t>(value_bytes);
  encoding.vorn_enc_ctx_prefix_nvals = rows.rows;
  vorn_cv source{};
  vorn_cv result{};
  vorn_build_vector(&source, only_read(rows.stream.data()), only_read(rows.lens.data()), nullptr, &encoding, nullptr,
                    nullptr, (rows.rows + prefix_group - 1) / prefix_group, 0, nullptr, 0);
  vorn_build_vector(&result, values_.data(), nullptr, nullptr, nullptr, nullptr, nullptr, rows.rows, 0, nullptr, 0);
  if (const uint32_t code = vorn_prefix_decode(&ctx_, &result, &source, nullptr); code != VORN_RESULT_DONE)
    throw error(fmt::format("decoding column '{}' gave result {}", of_.name, code));
  cursor_.open(rows, filter);
}

void prefix_decoder::next(std::span<cell> out) {
  const uint32_t value_bytes = of_.width / 8;
  const std::span<uint32_t> rows = cursor_.next(out.size());
  for (size_t i = 0; i < out.size(); ++i) {
    const uint8_t *bytes = values_.data() + size_t{rows[i]} * value_bytes;
    if (of_.type.is_bytes())
      out[i] = std::string_view(reinterpret_cast<const char *>(bytes), value_bytes);
    else
      out[i] = stored_key(of_, bytes, value_bytes);
  }
}

} // namespace store
