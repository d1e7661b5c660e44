// Memory for the output of the encoders.
#pragma once

#include <cstddef>
#include <cstdint>

#include <fmt/format.h>

#include "store/error.hpp"
#include <vorn/aligned.hpp>
#include <vorn/encode.h>

namespace store {

using byte_vector = vorn_host::aligned_vector<uint8_t>;

// Throws store::error for a result other than success.
inline void expect_encoded(uint32_t result) {
  if (result != VORNENC_DONE)
    throw error(fmt::format("encoding: {}", vornenc_result_text(result)));
}

// A stream of a given size.  Another cache line after its end is readable.  `encode` gets the memory and its number of
// bytes.
template <class Encode>
byte_vector encoded_stream(size_t bytes, Encode encode) {
  static_assert(vorn_host::cache_line >= VORNENC_SLACK);
  byte_vector out(bytes - VORNENC_SLACK + vorn_host::cache_line);
  expect_encoded(encode(out.data(), out.size()));
  return out;
}

} // namespace store
