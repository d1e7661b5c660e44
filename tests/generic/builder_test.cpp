// What the builder of dispatch tables rejects, which elsewhere ends the compilation.
#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "generic/table/dispatch_table.hpp"
#include "tests/support/slots.hpp"

namespace {

#define COUNT(family, KERNELS, shape, count) +count
constexpr uint64_t all_kernels = 0 VORN_FAMILIES(COUNT);

vorn::dispatch_builder with_all_families() {
  vorn::dispatch_builder builder;
#define ADD(family, KERNELS, shape, count) builder.add(#family, vorn::family, count);
  VORN_FAMILIES(ADD)
  return builder;
}

TEST(dispatch_builder, tells_what_is_wrong_with_which_kernel) {
  using entries = std::vector<vorn::dispatch_entry>;
  const vorn::dispatch_entry eq(0x03a0, vorn_eq_dict_8bit, "vorn_eq_dict_8bit");
  const auto add = [](const entries &kernels) {
    return [=](vorn::dispatch_builder &builder) { builder.add("family", kernels, kernels.size()); };
  };
  const char *const count_off = "the number of kernels is not the one expected";
  struct rejected {
    std::function<void(vorn::dispatch_builder &)> step;
    uint64_t number;
    const char *name, *reason;
  };
  std::vector<rejected> cases = {
      {[&](auto &builder) { builder.add("family", entries{eq}, 2); }, 1, "family", count_off},
      {[](auto &builder) { builder.finish(all_kernels - 1); }, all_kernels, "all families", count_off},
      {add({eq}), 0x03a0, "vorn_eq_dict_8bit", "two kernels claim the slot"}};
  for (const auto &[slot, name] : std::initializer_list<std::pair<uint32_t, const char *>>{
           {0x03a1, "vorn_eq_dict_8bit"},
           {0x0420, "vorn_eq_dict_8bit"},
           {0x13a0, "vorn_eq_dict_8bit"},
           {0x03e0, "vorn_eq_dict_8bit"},
           {0x03a0, "vorn_eq_dict_8bits"},
           {0x13ee, "vorn_burst_rle_8bit_cla"}, // with the flag, whose name would be none
           {0x0291, "vorn_xlate_sim_bit"},      // the first width behind the last
           {0x0011, "vorn_xlate_sim_nib"},
           {0x00b3, "vorn_add_double_n_n"}, // of an encoding
           {0x0113, "vorn_add_float_n_n"},  // with a bit of the width that means nothing
           {0x0013, "vorn_add_float_n_c"}})
    cases.push_back({add({{slot, vorn_eq_dict_8bit, name}}), slot, name, "the name does not fit the slot"});
  EXPECT_STREQ(with_all_families().finish(all_kernels).fault.reason, "");
  for (const auto &[step, number, name, reason] : cases) {
    vorn::dispatch_builder builder = with_all_families();
    step(builder);
    const vorn::dispatch_fault fault = builder.finish(0).fault; // the first one is kept
    EXPECT_STREQ(fault.name, name);
    EXPECT_EQ(fault.number, number) << name << ' ' << reason;
    EXPECT_STREQ(fault.reason, reason);
  }
}

} // namespace
