// Checks results of the library.  The store gives correct arguments, so another result is a fault.
#pragma once

#include <cstdint>
#include <string_view>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

// Throws store::error for a result other than the expected one.
inline void expect(uint32_t code, uint32_t expected, std::string_view step) {
  if (code != expected)
    throw error(fmt::format("{} gave result {}", step, code));
}

} // namespace store
