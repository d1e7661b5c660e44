#include "store/decode/prefix_decoder.hpp"

#include <fmt/format.h>

#include "store/decode/key_decoder.hpp"
#include "store/encode/encoded.hpp"
#include "store/error.hpp"

namespace store {

void prefix_decoder::open(const batch &rows, const uint64_t *filter, uint32_t /*count*/) {
  const uint32_t value_bytes = of_.width / 8;
  values_.resize(size_t{rows.rows} * value_bytes);
  vornenc_column groups{};
  groups.form = VORNENC_PREFIX;
  groups.width = of_.width;
  groups.nrows = rows.rows;
  groups.vals = rows.stream.data();
  groups.lens = rows.lens.data();
  vorn_enc_ctx encoding;
  vorn_cv source{};
  expect_encoded(vornenc_build_column(&source, &encoding, &groups));
  vorn_cv result{};
  vornenc_vector output{};
  output.vals = values_.data();
  output.nrows = rows.rows;
  vornenc_build_vector(&result, &output);
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
