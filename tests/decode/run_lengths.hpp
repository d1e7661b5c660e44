// Run-length arrays that end at unreadable memory.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/guarded.hpp"

namespace vorn_test {

inline void store_big(uint8_t *at, uint64_t number, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i)
    at[i] = static_cast<uint8_t>(number >> 8 * (bytes - 1 - i));
}

// Lengths of 8 or 16 bits.
class run_length_array {
public:
  run_length_array(const std::vector<uint32_t> &lengths, unsigned width)
      : memory_(lengths.size() * width / 8), lens_(memory_.last(lengths.size() * width / 8)) {
    for (size_t run = 0; run < lengths.size(); ++run)
      store_big(lens_ + run * width / 8, lengths[run], width / 8);
  }

  const uint8_t *data() const { return lens_; }

private:
  guarded memory_;
  uint8_t *lens_;
};

} // namespace vorn_test
