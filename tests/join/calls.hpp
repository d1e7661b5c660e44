// What the tests of partitions, gather, transposition and the bloom test have in common.
#pragma once

#include "generic/join/families.hpp"
#include "tests/join/rows.hpp"

namespace vorn_test {

constexpr uint32_t with_later(uint32_t form) { return ~(form - 1); } // most flags are looked at in their order

// The parts of a kernel's name, which are taken one after the other.
using flag_names = std::vector<std::pair<std::string, uint32_t>>;
inline const flag_names value_forms = {{"_fixed", VORN_FIXED},   {"_lv_sep", VORN_LV_SEP}, {"_lv", VORN_LV},
                                       {"_lp_sep", VORN_LP_SEP}, {"_lp", VORN_LP},         {"_dlp", VORN_DLP}};
inline uint32_t take(std::string &kernel, const flag_names &names) {
  for (const auto &[name, flag] : names)
    if (kernel.starts_with(name))
      return kernel.erase(0, name.size()), flag;
  return 0;
}

inline std::string length_bytes(size_t length) { return bytes_of(static_cast<uint16_t>(length)); }

struct join_test : kernel_test {
  template <class... Numbers>
  uint32_t one_of(Numbers... numbers) {
    return std::array{static_cast<uint32_t>(numbers)...}[random.below(sizeof...(numbers))];
  }

  // Values of one size; with size 0 of several, of which one is the longest.
  std::vector<std::string> values(size_t n, size_t size, size_t longest = 0) {
    std::vector<std::string> all;
    for (size_t i = 0; i < n; ++i)
      all.push_back(value(size != 0 ? size : i == 1 ? longest : i * 7 % 23));
    return all;
  }
};

} // namespace vorn_test
