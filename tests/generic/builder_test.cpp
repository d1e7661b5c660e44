// The faults that the builder of dispatch tables rejects.  In the library a fault stops the compilation.
#include <gtest/gtest.h>

#include <functional>
#include <utility>
#include <vector>

#include "generic/table/dispatch_table.hpp"
#include "tests/support/slots.hpp"

namespace {

#define COUNT(family, KERNELS, shape, count) +count
constexpr uint64_t all_kernels = 0 VORN_FAMILIES(COUNT);

constexpr uint32_t slot_at(uint32_t opcode, uint32_t encoding, uint32_t width_code, bool flag = false) {
  return uint32_t{flag} << 12 | width_code << 7 | encoding << 5 | opcode;
}

vorn::dispatch_builder with_all_families() {
  vorn::dispatch_builder builder;
#define ADD(family, KERNELS, shape, count) builder.add(#family, vorn::family, count);
  VORN_FAMILIES(ADD)
  return builder;
}

TEST(dispatch_builder, reports_the_kernel_and_the_fault) {
  using entries = std::vector<vorn::dispatch_entry>;
  const uint32_t eq_slot = slot_at(VORN_OPC_EQ, VORN_ENC_DICT, 7);
  const vorn::dispatch_entry eq(eq_slot, vorn_eq_dict_8bit, "vorn_eq_dict_8bit");
  const auto add = [](const entries &kernels) {
    return [=](vorn::dispatch_builder &builder) { builder.add("family", kernels, kernels.size()); };
  };
  const char *const wrong_count = "the number of kernels is not the one expected";
  struct rejected {
    std::function<void(vorn::dispatch_builder &)> step;
    uint64_t number;
    const char *name, *reason;
  };
  std::vector<rejected> cases = {
      {[&](auto &builder) { builder.add("family", entries{eq}, 2); }, 1, "family", wrong_count},
      {[](auto &builder) { builder.finish(all_kernels - 1); }, all_kernels, "all families", wrong_count},
      {add({eq}), eq_slot, "vorn_eq_dict_8bit", "two kernels claim the slot"}};
  for (const auto &[slot, name] : std::initializer_list<std::pair<uint32_t, const char *>>{
           {slot_at(VORN_OPC_LT, VORN_ENC_DICT, 7), "vorn_eq_dict_8bit"},
           {slot_at(VORN_OPC_EQ, VORN_ENC_DICT, 8), "vorn_eq_dict_8bit"},
           {slot_at(VORN_OPC_EQ, VORN_ENC_DICT, 7, true), "vorn_eq_dict_8bit"},
           {slot_at(VORN_OPC_EQ, VORN_ENC_RLE, 7), "vorn_eq_dict_8bit"},
           {eq_slot, "vorn_eq_dict_8bits"},
           {slot_at(VORN_OPC_BURST, VORN_ENC_RLE, 7, true), "vorn_burst_rle_8bit_cla"}, // no burst has the flag
           {slot_at(VORN_OPC_XLATE, VORN_ENC_FIXED, 5), "vorn_xlate_sim_bit"},          // after the last width
           {slot_at(VORN_OPC_XLATE, VORN_ENC_FIXED, 0), "vorn_xlate_sim_nib"},
           {slot_at(VORN_OPC_ADD, VORN_ENC_DICT, 1), "vorn_add_double_n_n"}, // arithmetic has no encoding
           {slot_at(VORN_OPC_ADD, VORN_ENC_FIXED, 2), "vorn_add_float_n_n"}, // this bit of the width has no meaning
           {slot_at(VORN_OPC_ADD, VORN_ENC_FIXED, 0), "vorn_add_float_n_c"}})
    cases.push_back({add({{slot, vorn_eq_dict_8bit, name}}), slot, name, "the name does not fit the slot"});
  EXPECT_STREQ(with_all_families().finish(all_kernels).fault.reason, "");
  for (const auto &[step, number, name, reason] : cases) {
    vorn::dispatch_builder builder = with_all_families();
    step(builder);
    const vorn::dispatch_fault fault = builder.finish(0).fault; // the first fault
    EXPECT_STREQ(fault.name, name);
    EXPECT_EQ(fault.number, number) << name << ' ' << reason;
    EXPECT_STREQ(fault.reason, reason);
  }
}

} // namespace
