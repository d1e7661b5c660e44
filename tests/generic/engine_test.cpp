// How an engine gets into a table: a reader with a pass of its own, the kernels that a list stamps with it, and the
// builder that puts them over those that stand there.  And what the builder rejects, which elsewhere ends the
// compilation.
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "generic/scan/define_predicates.hpp"
#include "generic/scan/dict.hpp"
#include "generic/table/dispatch_table.hpp"
#include "tests/support/slots.hpp"

namespace {

namespace trial {

struct counting_pass : vorn::word_pass {
  static inline unsigned runs = 0;

  template <class Reader, class Predicate>
  static uint32_t select(Reader &rows, const Predicate &predicate, uint64_t *out, uint32_t nrows) {
    ++runs;
    return word_pass::select(rows, predicate, out, nrows);
  }
};

template <unsigned W, bool Nulls>
struct row_form {
  struct reader : vorn::dict<W> {
    using vorn::dict<W>::dict;
    using pass = counting_pass;
  };
  static constexpr bool nulls = Nulls;
};

#define TRIAL_KERNELS(X) VORN_COMPARES(8, X, dict, DICT, )
TRIAL_KERNELS(VORN_DEFINE_COMPARE)
constexpr auto compares = std::to_array<vorn::dispatch_entry>({TRIAL_KERNELS(VORN_DISPATCH_ENTRY)});

} // namespace trial

#define COUNT(family, KERNELS, shape, count) +count
constexpr uint64_t all_kernels = 0 VORN_FAMILIES(COUNT);

vorn::dispatch_builder with_all_families() {
  vorn::dispatch_builder builder;
#define ADD(family, KERNELS, shape, count) builder.add(#family, vorn::family, count);
  VORN_FAMILIES(ADD)
  return builder;
}

TEST(engine, runs_its_pass_in_the_slots_that_it_replaces) {
  vorn::dispatch_builder builder = with_all_families();
  builder.replace("trial", trial::compares, 6);
  const vorn::dispatch table = builder.finish(all_kernels);
  EXPECT_EQ(table.replaced, 6U);

  uint8_t codes[8] = {0, 1, 2, 3, 4, 5, 6, 7};
  uint64_t out[1], filter[1] = {0x3f};
  uint32_t constant = 5;
  vorn_enc_ctx enc;
  vorn_build_encoding_type_dict(&enc, 8, nullptr, nullptr, nullptr, 0, 0, 0);
  vorn_cv res = vorn_test::result_of(out, 8), src = vorn_test::vector_of(codes, enc, 8);
  const vorn_cv cst = vorn_test::vector_of(&constant, enc, 1);
  vorn_aux aux = {};
  const auto run = [&](uint32_t slot) {
    trial::counting_pass::runs = 0;
    EXPECT_EQ(table.kernels[slot].binary(&res, &src, &cst, &aux), uint32_t{VORN_RESULT_DONE});
    return out[0];
  };
  EXPECT_EQ(run(0x03a4), 0xe0U);
  EXPECT_EQ(trial::counting_pass::runs, 1U);
  EXPECT_EQ(run(0x13a4), 0xe0U);
  EXPECT_EQ(trial::counting_pass::runs, 0U) << "with NULL, which the engine leaves alone";
  aux.vorn_aux_filter_bv = filter;
  EXPECT_EQ(run(0x03a4), 0x20U);
  EXPECT_EQ(trial::counting_pass::runs, 1U);
  aux.vorn_aux_flags = VORN_AUX_FORCE_SELECTIVE;
  EXPECT_EQ(run(0x03a4), 0x20U);
  EXPECT_EQ(trial::counting_pass::runs, 0U) << "a visit of rows";
}

TEST(dispatch_builder, tells_what_is_wrong_with_which_kernel) {
  using entries = std::vector<vorn::dispatch_entry>;
  const vorn::dispatch_entry eq(0x03a0, vorn_eq_dict_8bit, "vorn_eq_dict_8bit");
  const vorn::dispatch_entry trial_eq(0x03a0, trial::vorn_eq_dict_8bit, "vorn_eq_dict_8bit");
  const auto add = [](const entries &kernels) {
    return [=](vorn::dispatch_builder &builder) { builder.add("family", kernels, kernels.size()); };
  };
  const auto replace = [](const entries &kernels) {
    return [=](vorn::dispatch_builder &builder) { builder.replace("engine", kernels, kernels.size()); };
  };
  const char *const count_off = "the number of kernels is not the one expected";
  const char *const misnamed = "the name does not fit the slot";
  const char *const nothing_there = "there is no kernel of this name in the slot";
  const struct {
    std::function<void(vorn::dispatch_builder &)> step;
    uint64_t number;
    const char *name, *reason;
  } cases[] = {
      {[&](auto &builder) { builder.add("family", entries{eq}, 2); }, 1, "family", count_off},
      {[](auto &builder) { builder.finish(all_kernels - 1); }, all_kernels, "all families", count_off},
      {add({eq}), 0x03a0, "vorn_eq_dict_8bit", "two kernels claim the slot"},
      {add({{0x03a1, vorn_eq_dict_8bit, "vorn_eq_dict_8bit"}}), 0x03a1, "vorn_eq_dict_8bit", misnamed},
      {add({{0x0420, vorn_eq_dict_8bit, "vorn_eq_dict_8bit"}}), 0x0420, "vorn_eq_dict_8bit", misnamed},
      {add({{0x13a0, vorn_eq_dict_8bit, "vorn_eq_dict_8bit"}}), 0x13a0, "vorn_eq_dict_8bit", misnamed},
      {add({{0x03e0, vorn_eq_dict_8bit, "vorn_eq_dict_8bit"}}), 0x03e0, "vorn_eq_dict_8bit", misnamed},
      {add({{0x03a0, vorn_eq_dict_8bit, "vorn_eq_dict_8bits"}}), 0x03a0, "vorn_eq_dict_8bits", misnamed},
      {replace({eq}), 0x03a0, "vorn_eq_dict_8bit", "the kernel is the one that stands there"},
      {replace({{0x0820, trial::vorn_eq_dict_8bit, "vorn_eq_dict_8bit"}}), 0x0820, "vorn_eq_dict_8bit", nothing_there},
      {replace({{0x0b30, trial::vorn_eq_dict_8bit, "vorn_invalid_dispatch"}}), 0x0b30, "vorn_invalid_dispatch",
       nothing_there},
      {[&](auto &builder) { builder.replace("engine", entries{trial_eq}, 6); }, 1, "engine", count_off}};
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
