#include "store/encode/packing.hpp"

#include "store/encode/encoded.hpp"
#include <vorn/vorn.h>

namespace store {

uint32_t least_width(uint64_t count) {
  const uint32_t width = vornenc_code_width(count);
  if (width == 0)
    throw error("a column has more than 2^32 distinct values");
  return width;
}

vorn_host::aligned_vector<uint8_t> packed(std::span<const uint32_t> codes, uint32_t width) {
  const auto rows = static_cast<uint32_t>(codes.size());
  return encoded_stream(vornenc_codes_bytes(rows, width), [&](uint8_t *out, size_t bytes) {
    return vornenc_pack_codes(out, bytes, codes.data(), rows, width);
  });
}

const uint8_t *bytes_of_lengths(uint32_t width) {
  return width == 16   ? vorn_length_consumed_dynp_8bit_idx_maxwidth2
         : width == 32 ? vorn_length_consumed_dynp_8bit_idx_maxwidth4
                       : vorn_length_consumed_dynp_8bit_idx_maxwidth8;
}

} // namespace store
