// The number of a slot of the dispatch table, taken apart.
#pragma once

#include <cstdint>

namespace vorn {

struct slot_bits {
  uint32_t index;

  constexpr uint32_t opcode() const { return index & 31; }
  constexpr uint32_t encoding() const { return index >> 5 & 3; }
  constexpr uint32_t width_code() const { return index >> 7 & 31; }
  constexpr bool flag() const { return index >> 12 & 1; }
};

} // namespace vorn
