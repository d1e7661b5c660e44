// The bytes of a value, padding included, for comparisons.
#pragma once

#include <span>
#include <string_view>

namespace vorn_test {

template <class Value>
std::string_view bytes_of(const Value &value) {
  const auto bytes = std::as_bytes(std::span(&value, 1));
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

} // namespace vorn_test
