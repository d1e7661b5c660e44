// Access to numbers in the byte order of the processor, at any address.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

template <class T>
inline T load(const void *bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <class T>
inline T load(const void *array, uint64_t index) {
  return load<T>(static_cast<const uint8_t *>(array) + index * sizeof(T));
}

// If the value has another type than the stored number, the caller names the stored type.
template <class T>
inline void store(void *bytes, std::type_identity_t<T> value) {
  std::memcpy(bytes, &value, sizeof value);
}

} // namespace vorn::inline VORN_LEVEL
