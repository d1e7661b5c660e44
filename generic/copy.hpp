// Copies of a few bytes, where a library call would take most of the time.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

// Copies `size` bytes as two numbers that may overlap: the head and the tail.
template <class Half>
inline void copy_ends(uint8_t *dst, const uint8_t *src, uint32_t size) {
  Half head, tail;
  std::memcpy(&head, src, sizeof head);
  std::memcpy(&tail, src + size - sizeof tail, sizeof tail);
  std::memcpy(dst, &head, sizeof head);
  std::memcpy(dst + size - sizeof tail, &tail, sizeof tail);
}

// Copies up to 8 bytes.
inline void copy_short(uint8_t *dst, const uint8_t *src, uint32_t size) {
  if (size >= 4)
    copy_ends<uint32_t>(dst, src, size);
  else if (size >= 2)
    copy_ends<uint16_t>(dst, src, size);
  else if (size == 1)
    *dst = *src;
}

inline void copy_bytes(uint8_t *dst, const uint8_t *src, uint32_t size) {
  if (size > 16)
    std::memcpy(dst, src, size);
  else if (size >= 8)
    copy_ends<uint64_t>(dst, src, size);
  else
    copy_short(dst, src, size);
}

} // namespace vorn::inline VORN_LEVEL
