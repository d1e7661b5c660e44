// Reader of run lengths: bytes, or big-endian 16-bit numbers at any address.
#pragma once

#include "generic/vornc_generic.hpp"

namespace vorn {

template <class Length>
class run_lengths {
public:
  explicit run_lengths(const void *lens) : bytes_(static_cast<const uint8_t *>(lens)) {}

  uint32_t operator[](uint64_t run) const { return load_big<Length>(address(run)); }

  const uint8_t *address(uint64_t run) const { return bytes_ + run * sizeof(Length); }

private:
  const uint8_t *bytes_;
};

} // namespace vorn
