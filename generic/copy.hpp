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

// A short value is copied as 16 bytes, since its size is not predictable.  The bytes after it lie in a page of the
// value, and what they hold has no effect.  They may belong to others, so the address sanitizer must not look.
inline constexpr uint32_t wide_copy = 16;
inline bool can_copy_wide(const uint8_t *src) {
  constexpr uint32_t page = 4096;
  return reinterpret_cast<uintptr_t>(src) % page <= page - wide_copy;
}
__attribute__((no_sanitize("address"))) inline void copy_wide(uint8_t *dst, const uint8_t *src) {
  typedef uint8_t bytes [[gnu::vector_size(wide_copy)]];
  bytes all;
  std::memcpy(&all, src, wide_copy);
  std::memcpy(dst, &all, wide_copy);
}

// Copies a value to a place with bytes up to `end` that will be written later.
inline void copy_value(uint8_t *dst, const uint8_t *end, const uint8_t *src, uint32_t size) {
  if (size - 1 < wide_copy && end - dst >= wide_copy && can_copy_wide(src))
    copy_wide(dst, src);
  else
    copy_bytes(dst, src, size);
}

} // namespace vorn::inline VORN_LEVEL
