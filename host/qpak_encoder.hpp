// The encoder of block-compressed streams, the counterpart of qpak_decode.
#pragma once

#include "vorn.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vorn_host {

// Compresses `size` bytes.  Throws std::length_error when they, or the result, do not fit 32 bits.
//
// The decoder accepts a stream at any address.  vorn_qpak_decode wants a multiple of vorn_global_ctx_qpak_in_align. The
// memory of a std::vector is enough for the usual 8.  With the maximum of 64 the caller copies the stream.
VORN_API std::vector<uint8_t> qpak_encode(const void *data, size_t size);

// The size of a whole stream, read from the header in its first bytes; 0 if they are no header.  The decoder does not
// know where its input ends, so a caller with a stream from elsewhere checks first that the stream has this size.
VORN_API uint32_t qpak_stream_size(const void *data, size_t size);

} // namespace vorn_host
