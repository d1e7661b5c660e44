// The bytes of a value, padding included, for comparisons.
#pragma once

#include <string_view>

namespace vorn_test {

template <class Value>
std::string_view bytes_of(const Value &value) {
  return {reinterpret_cast<const char *>(&value), sizeof(Value)};
}

} // namespace vorn_test
