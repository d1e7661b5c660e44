// Values of one short length in groups that share a prefix, the form that vorn_prefix_decode reads.
#pragma once

#include <cstdint>
#include <string_view>

#include "store/encode/column.hpp"
#include <vorn/encode.h>

namespace store {

// Values of a group; the last one of a batch may have fewer.
inline constexpr uint32_t prefix_group = VORNENC_PREFIX_GROUP;
inline constexpr uint32_t longest_prefix_value = 8;

// The groups of a batch.  Its values, of 1 to 8 bytes each, lie back to back.  A record is the length of the prefix
// that the values of the group share, as long as can be, in a byte, the prefix, and what is left of each value.
batch prefix_batch(std::string_view values, uint32_t value_bytes);

} // namespace store
