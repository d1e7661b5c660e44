// Values of one short length in groups that share a prefix, the form that vorn_prefix_decode reads.
#pragma once

#include <cstdint>
#include <string_view>

#include "store/encode/column.hpp"
#include <vorn/encode.h>

namespace store {

// Values of a group.  The last group of a segment may have fewer.
inline constexpr uint32_t prefix_group = VORNENC_PREFIX_GROUP;
inline constexpr uint32_t longest_prefix_value = 8;

// The groups of a segment.  Its values have 1 to 8 bytes each and lie back to back.  A record has one byte with the
// length of the longest common prefix of the group, then the prefix, then the rest of each value.
column_segment prefix_segment(std::string_view values, uint32_t value_bytes);

} // namespace store
