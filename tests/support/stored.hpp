// Stored forms beside unreadable memory.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/model/predicate.hpp"
#include "tests/support/guarded.hpp"

namespace vorn_test {

inline void store_big(uint8_t *at, uint64_t number, unsigned bytes) {
  for (unsigned i = 0; i < bytes; ++i)
    at[i] = static_cast<uint8_t>(number >> 8 * (bytes - 1 - i));
}

// `size` bytes directly after unreadable memory or directly before it.
inline uint8_t *place(guarded &memory, size_t size, bool in_front) {
  return in_front ? memory.last(size) : memory.behind(0, size);
}

// Packed codes code(0) to code(n - 1); the padding bits after the last code are ones.
template <class Code>
uint8_t *store_codes(guarded &memory, bool in_front, unsigned width, size_t n, Code code) {
  const size_t size = (n * width + 7) / 8;
  uint8_t *bytes = place(memory, size, in_front);
  std::fill_n(bytes, size, uint8_t{0xff});
  for (uint32_t i = 0; i < n; ++i)
    vorn_model::put_code(bytes, width, i, code(i));
  return bytes;
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
