// The reader of run lengths.  Lengths are bytes, or big-endian 16-bit numbers at any address.
#pragma once

#include "generic/big_endian.hpp"

namespace vorn::inline VORN_LEVEL {

class run_lengths {
public:
  run_lengths(const void *lens, unsigned bits) : bytes_(static_cast<const uint8_t *>(lens)), wide_(bits != 8) {}

  uint32_t operator[](uint64_t run) const { return wide_ ? load_big<uint16_t>(bytes_ + 2 * run) : bytes_[run]; }

  // Calls loop(length).  length(run) does not test the width again for each run.
  template <class Loop>
  void over(Loop loop) const {
    const uint8_t *bytes = bytes_; // a copy stays in a register while the loop stores bytes
    if (wide_)
      loop([bytes](uint64_t run) -> uint32_t { return load_big<uint16_t>(bytes + 2 * run); });
    else
      loop([bytes](uint64_t run) -> uint32_t { return bytes[run]; });
  }

  // The lengths from a run on.
  run_lengths from(uint64_t run) const {
    run_lengths rest = *this;
    rest.bytes_ += wide_ ? 2 * run : run;
    return rest;
  }

private:
  const uint8_t *bytes_;
  bool wide_;
};

} // namespace vorn::inline VORN_LEVEL
