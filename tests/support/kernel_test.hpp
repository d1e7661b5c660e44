// What the tests of kernels against random rows have in common.
#pragma once

#include <algorithm>
#include <string_view>

#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"

namespace vorn_test {

constexpr uint32_t done = VORN_RESULT_DONE, refused = VORN_RESULT_REFUSED, all_flags = UINT32_MAX;

// The bytes of numbers or pointers, one after the other.
template <class... Number>
std::string bytes_of(Number... numbers) {
  return (std::string(reinterpret_cast<const char *>(&numbers), sizeof numbers) + ...);
}

template <class Record>
bool same(const Record &a, const Record &b) {
  const auto bytes = [](const Record &of) { return std::string_view(reinterpret_cast<const char *>(&of), sizeof of); };
  return bytes(a) == bytes(b);
}

struct kernel_test : implementation_test {
  // The bytes of a long value follow from one number.
  std::string value(size_t size) {
    std::string bytes(size, 0);
    if (size <= 64)
      std::ranges::generate(bytes, [&] { return static_cast<char>(random.below(256)); });
    else
      std::ranges::generate(bytes, [state = random()]() mutable {
        return static_cast<char>((state = state * 0x5851f42d4c957f2d + 0x14057b7ef767814f) >> 56);
      });
    return bytes;
  }

  uint32_t below(uint64_t limit) { return static_cast<uint32_t>(random.below(limit)); }

  random_source random{20240917};
};

} // namespace vorn_test
