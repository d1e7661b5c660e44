// Block-compressed streams that are damaged, and what a decoder does with them between guards.
#pragma once

#include "host.h"
#include "host/qpak_format.hpp"

#include <algorithm>
#include <vector>

#include "tests/support/guarded.hpp"

namespace vorn_test {

inline uint32_t decode(const uint8_t *stream, uint8_t *out, size_t size, uint32_t &length) {
  return qpak_decode(nullptr, nullptr, stream, out, &length, static_cast<uint32_t>(size), 0, 0, 0);
}

// Makes the checks of header and directory right again, so that what they cover is believed.
inline void reseal(std::vector<uint8_t> &stream) {
  namespace qpak = vorn_host::qpak;
  const uint32_t raw_size = qpak::load_u32(&stream[qpak::raw_size_at]);
  const uint32_t block_size = qpak::load_u32(&stream[qpak::block_size_at]);
  qpak::store_u32(&stream[qpak::header_check_at], qpak::check_of(stream.data(), qpak::header_check_at, 0));
  if (block_size == 0)
    return;
  const size_t directory = qpak::block_count(raw_size, block_size) * qpak::entry_size;
  if (qpak::directory_at + directory <= stream.size())
    qpak::store_u32(&stream[qpak::directory_check_at],
                    qpak::check_of(stream.data() + qpak::directory_at, directory, 0));
}

// Where the decoder finds and leaves its bytes: both end, or the output begins, at unreadable memory.
struct between_guards {
  between_guards(const std::vector<uint8_t> &stream, size_t out_size, bool ends)
      : in_memory(stream.size()), out_memory(out_size), in(in_memory.last(stream.size())),
        out(ends ? out_memory.last(out_size) : out_memory.behind(0, out_size)), size(out_size), at_end(ends) {
    std::copy(stream.begin(), stream.end(), in);
  }
  bool holds(const std::vector<uint8_t> &expected) const {
    return std::equal(out, out + size, expected.begin(), expected.end());
  }
  bool intact() const { return at_end ? out_memory.intact(size) : out_memory.intact_around(0, size); }

  guarded in_memory, out_memory;
  uint8_t *in, *out;
  size_t size;
  bool at_end;
};

} // namespace vorn_test
