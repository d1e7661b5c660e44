// How many value bytes the rows of one byte of a length stream take, for the classes of 2, 4 and 8 bytes.
#pragma once

#include <cstdint>

#include "frame/vorn.h"

namespace vorn {

template <unsigned W>
constexpr const uint8_t *length_consumed = W == 16   ? vorn_length_consumed_dynp_8bit_idx_maxwidth2
                                           : W == 32 ? vorn_length_consumed_dynp_8bit_idx_maxwidth4
                                                     : vorn_length_consumed_dynp_8bit_idx_maxwidth8;

} // namespace vorn
