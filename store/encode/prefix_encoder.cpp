#include "store/encode/prefix_encoder.hpp"

#include "store/encode/encoded.hpp"

namespace store {

column_segment prefix_segment(std::string_view values, uint32_t value_bytes) {
  column_segment out;
  out.rows = static_cast<uint32_t>(values.size() / value_bytes);
  const size_t bytes = vornenc_prefix_bytes(values.data(), value_bytes, out.rows);
  vorn_host::aligned_vector<uint8_t> &lens = out.lens.made();
  lens.resize((size_t{out.rows} + prefix_group - 1) / prefix_group * sizeof(uint32_t) + vorn_host::cache_line);
  out.stream = encoded_stream(bytes, [&](uint8_t *stream, size_t room) {
    return vornenc_pack_prefix(stream, room, reinterpret_cast<uint32_t *>(lens.data()), lens.size(), values.data(),
                               value_bytes, out.rows);
  });
  out.stream_bytes = static_cast<uint32_t>(bytes - VORNENC_SLACK);
  return out;
}

} // namespace store
