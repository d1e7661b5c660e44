// The encoder of block-compressed streams, the counterpart of qpak_decode.
#pragma once

#include "vorn.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorn_host {

// Compresses `size` bytes.  Throws std::length_error when they, or the result, do not fit 32 bits.
//
// The decoder takes a stream at any address.  vorn_qpak_decode wants it at a multiple of
// vorn_global_ctx_qpak_in_align: a vector's memory is enough for the usual 8, but with the maximum words, 64, the
// caller copies the stream to aligned memory.
VORN_API std::vector<uint8_t> qpak_encode(const void *data, size_t size);

// The bytes of a whole stream, as the header tells that its first bytes are; 0 when they are none.  The decoder is not
// told where its input ends, so who has a stream from somewhere else asks first whether it has as many.
VORN_API uint32_t qpak_stream_size(const void *data, size_t size);

} // namespace vorn_host
