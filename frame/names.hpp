// The names of the codes of a dispatch index, and the code of a width.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "frame/level.hpp"

namespace vorn::inline VORN_LEVEL {

inline constexpr auto opcode_names = std::to_array<const char *>({"eq",
                                                                  "lt",
                                                                  "gt",
                                                                  "le",
                                                                  "ge",
                                                                  "ne",
                                                                  "gt_lt",
                                                                  "gt_le",
                                                                  "ge_lt",
                                                                  "ge_le",
                                                                  "decode",
                                                                  "decode_unpack",
                                                                  "decode_symbol",
                                                                  "set",
                                                                  "burst",
                                                                  "sum",
                                                                  "distinct",
                                                                  "xlate",
                                                                  "bloom",
                                                                  "add",
                                                                  "sub",
                                                                  "mul"});

inline constexpr auto encoding_names = std::to_array<const char *>({"fixed", "dict", "dynp", "rle"});

inline constexpr auto width_names =
    std::to_array<const char *>({"1",  "2",  "3",  "4",  "5",  "6",  "7",  "8",  "9",  "10", "11", "12",
                                 "13", "14", "15", "16", "17", "18", "19", "20", "24", "32", "64"});

inline constexpr uint8_t no_width_code = 0xff;

constexpr uint8_t width_code(uint32_t width) {
  if (width >= 1 && width <= 20)
    return static_cast<uint8_t>(width - 1);
  return width == 24 ? 20 : width == 32 ? 21 : width == 64 ? 22 : no_width_code;
}

} // namespace vorn::inline VORN_LEVEL
