// Shared by the tests of partitions, gather, transposition and the bloom test.
#pragma once

#include "tests/join/rows.hpp"

namespace vorn_test {

// A flag, and the part of a kernel's name that it stands for.
struct named_flag {
  const char *name;
  uint32_t flag;
};
inline constexpr named_flag result_forms[] = {{"fixed", VORN_FIXED},   {"lv_sep", VORN_LV_SEP}, {"lv", VORN_LV},
                                              {"lp_sep", VORN_LP_SEP}, {"lp", VORN_LP},         {"dlp", VORN_DLP}};
inline constexpr std::span value_forms(result_forms, 5);

// Kernels test most flags in ascending order: a flag and all flags that are tested after it.
constexpr uint32_t with_later(uint32_t flag) { return ~(flag - 1); }
constexpr uint32_t all_except(uint32_t flags) { return ~flags; }
constexpr uint32_t all_value_forms = VORN_FIXED | VORN_LV_SEP | VORN_LV | VORN_LP_SEP | VORN_LP;

// A kernel reads 16 bits of the width of a row, and whole bytes of those: these bits have no effect.
constexpr uint32_t ignored_width_bits = 0x70003;

inline std::string length_bytes(size_t length) { return bytes_of(static_cast<uint16_t>(length)); }

struct join_test : kernel_test {
  template <class... Numbers>
  uint32_t one_of(Numbers... numbers) {
    return std::array{static_cast<uint32_t>(numbers)...}[random.below(sizeof...(numbers))];
  }

  // Values of one size; with size 0 of several sizes, and one value of the longest size.
  std::vector<std::string> values(size_t n, size_t size, size_t longest = 0) {
    std::vector<std::string> all;
    for (size_t i = 0; i < n; ++i)
      all.push_back(value(size != 0 ? size : i == 1 ? longest : i * 7 % 23));
    return all;
  }
};

} // namespace vorn_test
