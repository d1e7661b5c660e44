// What the tests of kernels that stop and are called again have in common.
#pragma once

#include <random>

#include "generic/join/families.hpp"
#include "tests/join/rows.hpp"
#include "tests/support/implementation.hpp"

namespace vorn_test {

constexpr uint32_t done = VORN_RESULT_DONE, refused = VORN_RESULT_REFUSED, all_flags = UINT32_MAX;
constexpr uint32_t value_flags = VORN_FIXED | VORN_LV_SEP | VORN_LV | VORN_LP_SEP | VORN_LP;
constexpr uint32_t with_later(uint32_t form) { return ~(form - 1); } // most flags are looked at in their order

// The names in a kernel's name are taken one after the other.
using flag_names = std::vector<std::pair<std::string, uint32_t>>;
inline const flag_names value_forms = {
    {"_fixed", VORN_FIXED}, {"_lv_sep", VORN_LV_SEP}, {"_lv", VORN_LV}, {"_lp_sep", VORN_LP_SEP}, {"_lp", VORN_LP}};
inline uint32_t take(std::string &kernel, const flag_names &names, const flag_names &more = {}) {
  for (const auto &some : {names, more})
    for (const auto &[name, flag] : some)
      if (kernel.starts_with(name))
        return kernel.erase(0, name.size()), flag;
  return 0;
}

template <class Record>
bool same(const Record &a, const Record &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
inline std::string length_bytes(size_t length) { return bytes_of(static_cast<uint16_t>(length)); }

struct join_test : implementation_test {
  std::string value(size_t size) {
    std::string bytes(size, 0);
    std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
    return bytes;
  }

  std::mt19937_64 random{20240917};
};

} // namespace vorn_test
