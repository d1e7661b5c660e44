// Codes packed into one big-endian bit string, the form that the dictionary kernels read.
#pragma once

#include <cstdint>
#include <span>

#include <vorn/aligned.hpp>

namespace store {

// The narrowest width that has kernels and holds the codes 0 to count - 1.  Throws store::error beyond 2^32 codes.
uint32_t least_width(uint64_t count);

// The stream of some codes.  A cache line after the last code is readable.  No kernel needs more slack.
vorn_host::aligned_vector<uint8_t> packed(std::span<const uint32_t> codes, uint32_t width);

// For each byte of length codes the number of bytes of its values, in a dynp column of a width.
const uint8_t *bytes_of_lengths(uint32_t width);

} // namespace store
