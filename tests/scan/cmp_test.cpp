// The entry point of the comparisons: its checks and their order, what it writes into aux, which table it runs.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/entry_call.hpp"

namespace {

using vorn_host::value;

// A kernel that records what it is called with.
struct call {
  vorn_cv *res;
  vorn_cv *src;
  const vorn_cv *operand;
  vorn_aux *aux;
  vorn_aux aux_contents;
};
std::vector<call> kernel_calls;
uint32_t kernel_result = 0;
uint32_t recording_kernel(vorn_cv *res, vorn_cv *src, const vorn_cv *operand, vorn_aux *aux) {
  kernel_calls.push_back({res, src, operand, aux, *aux});
  return kernel_result;
}

class cmp_test : public testing::Test, public vorn_test::entry_call {
protected:
  void SetUp() override {
    kernel_calls.clear();
    kernel_result = 0;
  }
  void put_recording_table_in_force() { put_in_force({.binary = recording_kernel}); }
};

TEST_F(cmp_test, wrappers_select_their_opcode) {
  using wrapper = uint32_t (*)(const vorn_ctx *, vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *);
  const std::pair<wrapper, uint64_t> expected[] = {{vorn_eq, 0x20},
                                                   {vorn_lt, 0x1f},
                                                   {vorn_gt, ~uint64_t{0x3f}},
                                                   {vorn_le, 0x3f},
                                                   {vorn_ge, ~uint64_t{0x1f}},
                                                   {vorn_ne, ~uint64_t{0x20}}};
  for (const auto &[compare, bits] : expected) {
    EXPECT_EQ(compare(&ctx, &res, &src, &lo, nullptr), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(out[0], bits);
  }
  EXPECT_TRUE(env.errors().empty());
}

TEST_F(cmp_test, every_check_reports_and_the_call_goes_on) {
  enc.vorn_enc_ctx_flags |= VORN_RLE;
  enc.vorn_enc_ctx_type |= uint64_t{1} << 40; // beyond the byte that dispatches
  lo_enc.vorn_enc_ctx_flags = VORN_DICT;
  auto *const misaligned_out = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(out.data()) + 4);
  auto *const misaligned_filter = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(filter.data()) + 2);
  res.vorn_cv_bv = misaligned_out;
  src.vorn_cv_vals = codes.data() + 1;
  aux.vorn_aux_filter_bv = misaligned_filter;
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
  put_recording_table_in_force();
  kernel_result = VORN_RESULT_REFUSED;
  uint8_t lens[] = {9, 8};
  lo.vorn_cv_lens = lens;

  EXPECT_EQ(vorn_cmp(&ctx, &res, &src, &lo, &aux, VORN_OPC_LT), uint32_t{VORN_RESULT_REFUSED});
  const std::pair<const char *, std::vector<value>> expected[] = {
      {"vorn_cmp: src1 missing burst resvec", {}},
      {"vorn_cmp: encoding does not match", {}},
      {"vorn_cmp: src2 is not constant", {}},
      {"vorn_cmp: res is not aligned", {static_cast<const void *>(misaligned_out)}},
      {"vorn_cmp: src is not aligned", {static_cast<const void *>(codes.data() + 1)}},
      {"vorn_cmp: aux bv is not aligned", {static_cast<const void *>(misaligned_filter)}},
      {"vorn_cmp: invert filter not supported", {static_cast<const void *>(&aux)}},
      {"vorn_cmp: invalid constant length", {std::string("vorn_lt_dict_8bit"), int32_t{9}}}};
  const auto errors = env.errors();
  ASSERT_EQ(errors.size(), std::size(expected));
  for (size_t i = 0; i < errors.size(); ++i) {
    EXPECT_EQ(errors[i].message, expected[i].first);
    EXPECT_EQ(errors[i].values, expected[i].second) << errors[i].message;
    EXPECT_EQ(errors[i].error_arg, env.host_env_error_arg);
  }
  ASSERT_EQ(kernel_calls.size(), 1U);
  EXPECT_EQ(aux.vorn_aux_filter_bv, nullptr); // the filter of a run-length source is dropped for good
}

TEST_F(cmp_test, an_unwinding_reporter_stops_at_the_first_check_and_leaves_all_as_it_was) {
  env.on_error = vorn_host::error_policy::unwind;
  put_recording_table_in_force();
  enc.vorn_enc_ctx_flags |= VORN_RLE;
  lo_enc.vorn_enc_ctx_flags = 0;
  aux.vorn_aux_filter_bv = filter.data();
  aux.vorn_aux_diag_code = 3;
  EXPECT_THROW(vorn_eq(&ctx, &res, &src, &lo, &aux), vorn_host::internal_error);
  EXPECT_EQ(messages(), std::vector<std::string>{"vorn_cmp: src1 missing burst resvec"});
  EXPECT_TRUE(kernel_calls.empty());
  EXPECT_EQ(aux.vorn_aux_filter_bv, filter.data());
  EXPECT_EQ(aux.vorn_aux_diag_code, 3U);
  EXPECT_EQ(aux.vorn_aux_ctx, nullptr);
}

TEST_F(cmp_test, alignment_is_that_of_the_record_in_force) {
  vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 64;
  vorn_global_ctx.VORN_DATASTREAM_ALIGN = 32;
  vorn_global_ctx.VORN_BITWVEC_ALIGN = 16;
  aux.vorn_aux_filter_bv = filter.data() + 1;
  res.vorn_cv_bv = out.data() + 1;
  src.vorn_cv_vals = codes.data() + 16;
  src.vorn_cv_nrows = res.vorn_cv_nrows = 16;
  vorn_eq(&ctx, &res, &src, &lo, &aux);
  EXPECT_EQ(messages(), (std::vector<std::string>{"vorn_cmp: res is not aligned", "vorn_cmp: src is not aligned",
                                                  "vorn_cmp: aux bv is not aligned"}));
  // An invert flag without a filter is no fault, and no filter is aligned.
  env.clear_errors();
  vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = vorn_global_ctx.VORN_DATASTREAM_ALIGN = 8;
  aux = {};
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
  vorn_eq(&ctx, &res, &src, &lo, &aux);
  EXPECT_TRUE(env.errors().empty());
}

TEST_F(cmp_test, aux_is_prepared_for_the_kernel) {
  put_recording_table_in_force();
  aux.vorn_aux_filter_bv = filter.data();
  aux.vorn_aux_popc = 8;
  for (uint8_t &bits : aux.vorn_aux_op_bits)
    bits = 0xff;
  aux.vorn_aux_diag_code = 17;
  EXPECT_EQ(vorn_ge(&ctx, &res, &src, &lo, &aux), 0U);
  ASSERT_EQ(kernel_calls.size(), 1U);
  EXPECT_EQ(kernel_calls[0].res, &res);
  EXPECT_EQ(kernel_calls[0].src, &src);
  EXPECT_EQ(kernel_calls[0].operand, &lo);
  EXPECT_EQ(kernel_calls[0].aux, &aux);
  EXPECT_EQ(aux.vorn_aux_ctx, &ctx);
  EXPECT_EQ(aux.vorn_aux_diag_code, 0U);
  EXPECT_EQ(aux.vorn_aux_op_bits[0], 0xf7);
  EXPECT_EQ(aux.vorn_aux_op_bits[1], 0xfd);
  EXPECT_EQ(aux.vorn_aux_op_bits[2], 0xfd);
  EXPECT_EQ(aux.vorn_aux_filter_bv, filter.data());
  EXPECT_EQ(aux.vorn_aux_popc, 8U);

  // Without one the kernel gets a cleared record of the call's own.
  vorn_ge(&ctx, &res, &src, &lo, nullptr);
  const vorn_aux &local = kernel_calls.at(1).aux_contents;
  EXPECT_EQ(local.vorn_aux_ctx, &ctx);
  EXPECT_EQ(local.vorn_aux_filter_bv, nullptr);
  EXPECT_EQ(local.vorn_aux_flags, 0);
  EXPECT_EQ(local.vorn_aux_op_bits[0], 0x01);
  EXPECT_EQ(local.vorn_aux_op_bits[1], 0);
}

TEST_F(cmp_test, force_generic_runs_the_generic_table) {
  put_recording_table_in_force();
  ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  EXPECT_EQ(vorn_eq(&ctx, &res, &src, &lo, nullptr), uint32_t{VORN_RESULT_DONE});
  EXPECT_TRUE(kernel_calls.empty());
  EXPECT_EQ(out[0], 0x20U);
}

TEST_F(cmp_test, a_refusal_without_a_length_reports_zero) {
  put_recording_table_in_force();
  kernel_result = VORN_RESULT_REFUSED;
  vorn_ne(&ctx, &res, &src, &lo, nullptr);
  ASSERT_EQ(env.errors().size(), 1U);
  EXPECT_EQ(env.errors()[0].values, (std::vector<value>{std::string("vorn_ne_dict_8bit"), int32_t{0}}));
}

} // namespace
