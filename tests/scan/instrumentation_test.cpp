// What the entry points of the predicates do around their kernels: trace, timing, statistics, self-check.  Transcripts
// hold every call of a host service.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "tests/support/entry_call.hpp"

namespace {

using lines = std::vector<std::string>;
using vorn_host::value;

class instrumentation_test : public testing::Test, public vorn_test::entry_call {
protected:
  void SetUp() override {
    env.record = true;
    env.name_pointer(vorn_dispatch_table, "table");
    counts.assign(VORN_DISPATCH_SLOTS, 0);
    rates.assign(VORN_DISPATCH_SLOTS, 0);
    ctx.vorn_ctx_call_counts = counts.data();
    ctx.vorn_ctx_rates = rates.data();
  }
  void TearDown() override { vorn_host::script_clock({}); }

  void arm(uint64_t word = 4) {
    ctx.vorn_ctx_trace = word;
    env.trace_control().trace_on = 1;
  }
  uint32_t eq() { return vorn_eq(&ctx, &res, &src, &lo, &aux); }

  lines taken() {
    lines found = env.transcript();
    env.clear_calls();
    return found;
  }

  std::vector<uint32_t> counts;
  std::vector<double> rates;
};

constexpr uint32_t eq_slot = 7 << 7 | VORN_ENC_DICT << 5 | VORN_OPC_EQ;
constexpr uint32_t ge_le_slot = 7 << 7 | VORN_ENC_DICT << 5 | VORN_OPC_GE_LE;
constexpr uint32_t set_slot = 7 << 7 | VORN_ENC_DICT << 5 | VORN_OPC_SET;

TEST_F(instrumentation_test, nothing_armed_asks_no_service) {
  const auto expect_silence = [&](const char *what) {
    eq();
    vorn_ge_le(&ctx, &res, &src, &lo, &hi, &aux);
    EXPECT_EQ(taken(), lines{}) << what;
  };
  expect_silence("no trace word, inactive control block");
  env.trace_control().trace_on = 1;
  expect_silence("no trace word, active control block");
  env.trace_control().trace_on = 0;
  ctx.vorn_ctx_trace = 4;
  expect_silence("trace word, inactive control block");
  env.trace_control().trace_ctl = 0xfb;
  expect_silence("trace word, control bits without the active one");
  env.trace_control().trace_ctl = 0x4;
  eq();
  EXPECT_NE(taken(), lines{}) << "the active bit alone arms";
  env.trace_control().trace_ctl = 0;
  env.detach_trace();
  ctx.vorn_ctx_trace = 0;
  expect_silence("no control block, no trace word");
  ctx.vorn_ctx_trace = UINT64_MAX;
  expect_silence("no control block, a word that asks for events");
}

TEST_F(instrumentation_test, an_armed_comparison_tells_kernel_call_filter_and_time) {
  arm();
  vorn_host::script_clock({1000, 1500});
  aux.vorn_aux_flags = VORN_AUX_FORCE_SELECTIVE;
  eq();
  const lines expected = {
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_eval_flags 0x12050004 2 0x400 0x4)",
      R"(host_trace_record "%s force_generic: %d qpak: %d\n" "vorn_cmp" 0x12050004 0x402 "vorn_eq_dict_8bit" 0 0)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d src: %p res: %p )"
      R"(aux: %p\n" "vorn_cmp" 0x12050004 0x402 "generic" 2 table 64 src.vals res.bv aux)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n" "vorn_cmp" )"
      R"(0x12050004 0x402 filter 8 0 1)",
      R"(host_clock_time64 0x3e8)",
      R"(host_clock_time64 0x5dc)",
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_record "Runtime %.0f us (%.0f Mrows/sec)\n" "vorn_cmp" 0x12050004 0x402 500 0.1220703125)"};
  // The place in the source stands in front of the format of a record, and the gate is told the same place.
  size_t records = 0;
  for (const auto &call : env.calls())
    if (call.service == "host_trace_record") {
      EXPECT_EQ(call.source.substr(0, 13), "scan/cmp.cpp:");
      ++records;
    }
  EXPECT_EQ(records, 4U);
  EXPECT_EQ(taken(), expected);
}

TEST_F(instrumentation_test, a_range_tells_the_short_line_and_values_of_its_bits) {
  arm();
  vorn_host::script_clock({7});
  ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  src.vorn_cv_nrows = 0;
  vorn_gt_le(&ctx, &res, &src, &lo, &hi, nullptr);
  const lines expected = {
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_eval_flags 0x12050004 2 0x400 0x4)",
      R"(host_trace_record "%s force_generic: %d qpak: %d\n" "vorn_range_cmp" 0x12050004 0x402 )"
      R"("vorn_gt_le_dict_8bit" 1 0)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d\n" )"
      R"("vorn_range_cmp" 0x12050004 0x402 "generic" 2 table 0)",
      R"(host_clock_time64 0x7)",
      R"(host_clock_time64 0x7)",
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)"};
  lines found = taken();
  ASSERT_EQ(found.size(), expected.size() + 1);
  EXPECT_NE(found.back().find("nan"), std::string::npos) << "no rows in no time";
  found.pop_back();
  EXPECT_EQ(found, expected);
}

TEST_F(instrumentation_test, a_range_tells_its_filter) {
  arm();
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER; // reported, and the call goes on
  vorn_ge_lt(&ctx, &res, &src, &lo, &hi, &aux);
  const lines found = taken();
  EXPECT_EQ(std::count(found.begin(), found.end(),
                       R"(host_trace_record "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n" )"
                       R"("vorn_range_cmp" 0x12050004 0x402 filter 8 1 0)"),
            1);
}

TEST_F(instrumentation_test, a_set_tells_the_short_line_and_its_filter) {
  arm();
  vorn_host::script_clock({0, 250});
  enc.vorn_enc_ctx_flags |= VORN_STREAM;
  void *kept = codes.data();
  src.vorn_cv_stream_slot = &kept;
  EXPECT_EQ(vorn_in_set(&ctx, &res, &src, &set, &aux), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(out[0], 0x2aU);
  const lines expected = {
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_eval_flags 0x12050004 2 0x400 0x4)",
      R"(host_trace_record "%s force_generic: %d qpak: %d\n" "vorn_in_set" 0x12050004 0x402 "vorn_set_dict_8bit" 0 1)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d\n" )"
      R"("vorn_in_set" 0x12050004 0x402 "generic" 2 table 64)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_record "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n" "vorn_in_set" )"
      R"(0x12050004 0x402 filter 8 0 0)",
      R"(host_clock_time64 0x0)",
      R"(host_clock_time64 0xfa)",
      R"(host_trace_eval_flags 0x12050004 4 0x400 0x4)",
      R"(host_trace_record "Runtime %.0f us (%.0f Mrows/sec)\n" "vorn_in_set" 0x12050004 0x402 250 0.244140625)"};
  EXPECT_EQ(taken(), expected);
}

TEST_F(instrumentation_test, the_gate_by_events_and_by_filters) {
  arm(UINT64_MAX);
  uint64_t *events = env.trace_control().trace_events;
  const auto asked = [&] {
    eq();
    return taken();
  };
  EXPECT_EQ(asked(), lines{}) << "events clear";
  env.trace_control().trace_events = nullptr;
  EXPECT_EQ(asked(), lines{}) << "no event words";
  env.trace_control().trace_events = events;
  for (const unsigned missing : {0U, 1U, 2U, 3U}) {
    events[0] = 0x10;
    events[1] = events[2] = events[3] = 1;
    events[missing] = 0xe;
    EXPECT_EQ(asked(), lines{}) << "event word " << missing;
  }
  events[0] = 0x10;
  events[1] = events[2] = events[3] = 1;
  env.trace.check_event = [](auto...) { return std::nullopt; };
  EXPECT_EQ(asked().size(), 4U) << "asked at every point, never armed";
  env.trace.check_event = [&](const uint64_t *given, uint32_t event, const vorn_host::trace_site &site) {
    EXPECT_EQ(given, events);
    EXPECT_EQ(event, 0x1160001U);
    EXPECT_EQ(site.component, 0x12050004U);
    EXPECT_STREQ(site.entry, "vorn_cmp");
    return std::optional<uint64_t>(0x55);
  };
  env.trace.eval_event = [](uint32_t, uint32_t level, uint64_t flags, uint64_t word) {
    EXPECT_EQ(word, 0x55U);
    return level == 2 ? flags | 0x4 | uint64_t{1} << 62 : flags;
  };
  bool pass = false;
  env.trace.eval_filters = [&](uint32_t level, uint64_t flags, const vorn_host::trace_site &site) {
    EXPECT_EQ(level, 2U);
    EXPECT_EQ(flags, 0x404U | uint64_t{1} << 62);
    EXPECT_STREQ(site.entry, "vorn_cmp");
    EXPECT_STREQ(site.file, "scan/cmp.cpp");
    return pass;
  };
  const auto records = [&] {
    size_t count = 0;
    for (const std::string &line : asked())
      count += line.starts_with("host_trace_record");
    return count;
  };
  EXPECT_EQ(records(), 0U);
  pass = true;
  EXPECT_EQ(records(), 1U);

  // Event, filters and record are told the same place.
  eq();
  const auto calls = env.calls();
  for (size_t at = 0; at < calls.size(); ++at)
    if (calls[at].service == "host_trace_record") {
      ASSERT_GE(at, 3U);
      EXPECT_EQ(calls[at - 1].service, "host_trace_eval_filters");
      EXPECT_EQ(calls[at - 1].source, calls[at].source);
      EXPECT_EQ(calls[at - 3].service, "host_trace_check_event");
      EXPECT_EQ(calls[at - 3].source, calls[at].source);
    }
}

TEST_F(instrumentation_test, without_a_control_block_lines_are_written_and_nothing_is_timed) {
  arm();
  env.detach_trace();
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  eq();
  const lines expected = {
      R"(host_trace_eval_flags 0x12050004 2 0x400 0x4)",
      R"(host_trace_write "%s force_generic: %d qpak: %d\n" "vorn_eq_dict_8bit" 0 0)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_write "loaded_lib: %s loaded_status: %d, loaded_dispatch_table: %p\nnrows: %d src: %p res: %p )"
      R"(aux: %p\n" "generic" 2 table 64 src.vals res.bv aux)",
      R"(host_trace_eval_flags 0x12050004 3 0x400 0x4)",
      R"(host_trace_write "filter_bv: %p popc: %d invert_filter: %d force_selective: %d\n" filter 8 0 0)"};
  EXPECT_EQ(taken(), expected);
  EXPECT_EQ(counts[eq_slot], 0U);
  // The flag of a record does not let a line through.
  env.trace.eval_flags = [](uint32_t, uint32_t, uint64_t flags, uint64_t) { return flags | 0x2; };
  eq();
  for (const std::string &line : taken())
    EXPECT_FALSE(line.starts_with("host_trace_write")) << line;
}

TEST_F(instrumentation_test, the_running_mean_is_kept_for_timed_calls_that_ask) {
  arm();
  vorn_host::script_clock({0, 1000, 0, 500});
  eq(); // timed, but not asked to accumulate
  EXPECT_EQ(counts[eq_slot], 0U);
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  vorn_host::script_clock({0, 1000, 5000, 4500}); // the second clock runs backwards
  eq();
  const double first = 64.0 / 1048576 / 0.001;
  EXPECT_DOUBLE_EQ(rates[eq_slot], first);
  eq();
  EXPECT_EQ(counts[eq_slot], 2U);
  EXPECT_DOUBLE_EQ(rates[eq_slot], (first + 2 * first) / 2);
  vorn_host::script_clock({9});
  eq();
  EXPECT_TRUE(std::isinf(rates[eq_slot])) << "equal readings are not excused";
  // Readings are converted before they are subtracted: far up, neighbours are one number.
  rates[eq_slot] = 0;
  counts[eq_slot] = 0;
  vorn_host::script_clock({uint64_t{1} << 60, (uint64_t{1} << 60) + 1});
  eq();
  EXPECT_TRUE(std::isinf(rates[eq_slot]));
}

TEST_F(instrumentation_test, ranges_and_sets_keep_the_mean_of_their_slots) {
  arm();
  ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  vorn_host::script_clock({0, 1000, 0, 500});
  vorn_ge_le(&ctx, &res, &src, &lo, &hi, &aux);
  vorn_in_set(&ctx, &res, &src, &set, &aux);
  const double first = 64.0 / 1048576 / 0.001;
  EXPECT_EQ(counts[ge_le_slot], 1U);
  EXPECT_DOUBLE_EQ(rates[ge_le_slot], first);
  EXPECT_EQ(counts[set_slot], 1U);
  EXPECT_DOUBLE_EQ(rates[set_slot], 2 * first);
}

TEST_F(instrumentation_test, statistics_count_what_the_bits_say) {
  // The counters start at byte 384: 8 called, 8 selective, 5 third; the rest of the block is the host's.
  std::vector<uint64_t> stats(80, 7);
  ctx.vorn_ctx_stats = stats.data();
  const auto set_all = [](vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *given) -> uint32_t {
    for (uint8_t &bits : given->vorn_aux_op_bits)
      bits = 0xff;
    return 0;
  };
  eq(); // the filter takes effect
  aux.vorn_aux_filter_bv = nullptr;
  vorn_ge_le(&ctx, &res, &src, &lo, &hi, &aux);
  put_in_force({.binary = set_all});
  eq();
  vorn_in_set(&ctx, &res, &src, &set, &aux);
  std::vector<uint64_t> expected(80, 7);
  expected[48 + 0] += 3;
  expected[48 + 3] += 1;
  expected[56 + 0] += 2;
  expected[56 + 3] += 1;
  expected[64 + 0] += 1;
  expected[64 + 3] += 1;
  EXPECT_EQ(stats, expected);
}

TEST_F(instrumentation_test, a_diagnostic_code_is_traced) {
  const vorn_kernel binary = {.binary = [](vorn_cv *, vorn_cv *, const vorn_cv *, vorn_aux *given) -> uint32_t {
    given->vorn_aux_diag_code = 41;
    return 0;
  }};
  const vorn_kernel ternary = {
      .ternary = [](vorn_cv *, vorn_cv *, const vorn_cv *, const vorn_cv *, vorn_aux *given) -> uint32_t {
        given->vorn_aux_diag_code = 41;
        return 0;
      }};
  arm();
  const struct {
    const char *entry;
    vorn_kernel kernel;
    uint32_t (*call)(entry_call &);
  } cases[] = {
      {"vorn_cmp", binary, [](entry_call &c) { return vorn_ne(&c.ctx, &c.res, &c.src, &c.lo, nullptr); }},
      {"vorn_range_cmp", ternary,
       [](entry_call &c) { return vorn_gt_lt(&c.ctx, &c.res, &c.src, &c.lo, &c.hi, nullptr); }},
      {"vorn_in_set", binary, [](entry_call &c) { return vorn_in_set(&c.ctx, &c.res, &c.src, &c.set, nullptr); }}};
  for (const auto &[entry, kernel, call] : cases) {
    put_in_force(kernel);
    call(*this);
    const auto found = taken();
    EXPECT_EQ(std::count(found.begin(), found.end(),
                         R"(host_trace_record "diag_code: %d\n" ")" + std::string(entry) + R"(" 0x12050004 0x402 41)"),
              1);
  }
}

// Kernels that are wrong on purpose: the first stores a count that is off, the second a bit.
uint32_t wrong_count(vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  const uint32_t code = vorn_dispatch_table[eq_slot].binary(res, src, cst, aux);
  ++res->vorn_cv_popc;
  return code + 60;
}
uint32_t wrong_bit(vorn_cv *res, vorn_cv *src, const vorn_cv *cst, vorn_aux *aux) {
  const uint32_t code = vorn_dispatch_table[eq_slot].binary(res, src, cst, aux);
  res->vorn_cv_bv[0] ^= 0x100;
  return code;
}
uint32_t wrong_range(vorn_cv *res, vorn_cv *src, const vorn_cv *lo, const vorn_cv *hi, vorn_aux *aux) {
  const uint32_t code = vorn_dispatch_table[ge_le_slot].ternary(res, src, lo, hi, aux);
  res->vorn_cv_bv[0] ^= 0x100;
  --res->vorn_cv_popc;
  return code;
}
uint32_t wrong_set(vorn_cv *res, vorn_cv *src, const vorn_cv *set, vorn_aux *aux) {
  const uint32_t code = vorn_dispatch_table[set_slot].binary(res, src, set, aux);
  res->vorn_cv_bv[0] ^= 0x100;
  ++res->vorn_cv_popc;
  return code;
}

TEST_F(instrumentation_test, the_self_check_compares_count_and_bits) {
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  eq();
  const lines expected = {R"(vornu_stack_alloc_align "vorncmp: res_generic_bv" 0x8 0x8 0x10)",
                          R"(vornt_compare_res @1 res.bv 64 1)", R"(vornu_stack_free_align "vorncmp: res_generic_bv")"};
  EXPECT_EQ(taken(), expected);
  EXPECT_TRUE(env.errors().empty());

  put_in_force({.binary = wrong_count});
  EXPECT_EQ(eq(), 60U) << "the code is that of the kernel in force";
  put_in_force({.binary = wrong_bit});
  eq();
  put_in_force({.ternary = wrong_range});
  vorn_ge_le(&ctx, &res, &src, &lo, &hi, &aux);
  put_in_force({.binary = wrong_set});
  vorn_in_set(&ctx, &res, &src, &set, &aux);
  const auto errors = env.errors();
  ASSERT_EQ(errors.size(), 6U);
  EXPECT_EQ(errors[0].message, "vorn_cmp: vxl check popcount");
  EXPECT_EQ(errors[0].values, (std::vector<value>{std::string("vorn_eq_dict_8bit"), 1, 2}));
  EXPECT_EQ(errors[1].message, "vorn_cmp: vxl check result");
  EXPECT_EQ(errors[1].values, (std::vector<value>{std::string("vorn_eq_dict_8bit"), 64, 64}));
  EXPECT_EQ(errors[2].message, "vorn_range_cmp: vxl check popcount");
  EXPECT_EQ(errors[2].values, (std::vector<value>{std::string("vorn_ge_le_dict_8bit"), 3, 2}));
  EXPECT_EQ(errors[3].message, "vorn_range_cmp: vxl check result");
  EXPECT_EQ(errors[4].message, "vorn_in_set: vxl check popcount");
  EXPECT_EQ(errors[4].values, (std::vector<value>{std::string("vorn_set_dict_8bit"), 3, 4}));
  EXPECT_EQ(errors[5].message, "vorn_in_set: vxl check result");
  EXPECT_EQ(env.outstanding_scratch(), 0U);

  // Forcing the generic kernel goes before the check.
  env.clear_errors();
  ctx.vorn_ctx_flags |= VORN_CTX_FORCE_GENERIC;
  taken();
  eq();
  EXPECT_EQ(taken(), lines{});
  EXPECT_TRUE(env.errors().empty());
}

TEST_F(instrumentation_test, the_self_check_takes_whole_words_with_alignment_and_padding_of_a_result) {
  vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 32;
  vorn_global_ctx.vorn_global_ctx_pad_output = 48;
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  vorn_build_encoding_type_dict(&enc, 4, nullptr, nullptr, nullptr, 0, 0, 0); // there are codes of 128 rows
  const std::pair<uint32_t, const char *> expected[] = {
      {1, "0x8 0x20 0x30"}, {9, "0x8 0x20 0x30"}, {64, "0x8 0x20 0x30"}, {65, "0x10 0x20 0x30"}};
  for (const auto &[nrows, request] : expected) {
    src.vorn_cv_nrows = res.vorn_cv_nrows = nrows;
    vorn_in_set(&ctx, &res, &src, &set, nullptr);
    EXPECT_EQ(taken().at(0), R"(vornu_stack_alloc_align "vorncmp: res_generic_bv" )" + std::string(request)) << nrows;
  }
  EXPECT_TRUE(env.errors().empty());
}

// A wider word than usual, and everything lies beside it: only what it stands for is reported.
TEST_F(instrumentation_test, every_vector_has_its_alignment_word) {
  res.vorn_cv_bv = out.data() + 1;
  src.vorn_cv_vals = codes.data() + 8;
  src.vorn_cv_nrows = res.vorn_cv_nrows = 56;
  set.vorn_cv_bv = members.data() + 1;
  aux.vorn_aux_filter_bv = filter.data() + 1;
  const struct {
    uint64_t vorn_global_ctx_t::*word;
    lines compare, range, set;
  } cases[] = {{&vorn_global_ctx_t::VORN_OUTPUT_BITWVEC_ALIGN,
                {"vorn_cmp: res is not aligned"},
                {"vorn_range_cmp: res is not aligned"},
                {"vorn_in_set: res is not aligned"}},
               {&vorn_global_ctx_t::VORN_DATASTREAM_ALIGN,
                {"vorn_cmp: src is not aligned"},
                {"vorn_range_cmp: src is not aligned"},
                {"vorn_in_set: src is not aligned"}},
               {&vorn_global_ctx_t::VORN_BITWVEC_ALIGN,
                {"vorn_cmp: aux bv is not aligned"},
                {"vorn_range_cmp: aux bv is not aligned"},
                {"vorn_in_set: aux bv is not aligned"}},
               {&vorn_global_ctx_t::VORN_JOIN_BITWVEC_ALIGN, {}, {}, {"vorn_in_set: join bv is not aligned"}}};
  for (const auto &wider : cases) {
    vorn_global_ctx = vorn_test::initial_global_ctx;
    vorn_global_ctx.*wider.word = 16;
    env.clear_errors();
    eq();
    EXPECT_EQ(messages(), wider.compare);
    env.clear_errors();
    vorn_ge_le(&ctx, &res, &src, &lo, &hi, &aux);
    EXPECT_EQ(messages(), wider.range);
    env.clear_errors();
    vorn_in_set(&ctx, &res, &src, &set, &aux);
    EXPECT_EQ(messages(), wider.set);
  }
}

TEST_F(instrumentation_test, a_range_checks_both_constants) {
  enc.vorn_enc_ctx_flags |= VORN_RLE;
  lo_enc.vorn_enc_ctx_type ^= 1;
  hi_enc.vorn_enc_ctx_type ^= uint64_t{1} << 63;
  lo_enc.vorn_enc_ctx_flags = hi_enc.vorn_enc_ctx_flags = 0;
  res.vorn_cv_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(out.data()) + 1);
  src.vorn_cv_vals = codes.data() + 4;
  aux.vorn_aux_filter_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(filter.data()) + 1);
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
  uint8_t lens[] = {9, 5};
  lo.vorn_cv_lens = lens;
  hi.vorn_cv_lens = lens + 1;
  put_in_force({.ternary = [](vorn_cv *, vorn_cv *, const vorn_cv *, const vorn_cv *, vorn_aux *) -> uint32_t {
    return VORN_RESULT_REFUSED;
  }});
  EXPECT_EQ(vorn_range_cmp(&ctx, &res, &src, &lo, &hi, &aux, VORN_OPC_GT_LT), uint32_t{VORN_RESULT_REFUSED});
  EXPECT_EQ(messages(),
            (lines{"vorn_cmp: src1 missing burst resvec", "vorn_range_cmp: src1 & src2 encoding does not match",
                   "vorn_range_cmp: src1 & src3 encoding does not match", "vorn_range_cmp: src2 is not constant",
                   "vorn_range_cmp: src3 is not constant", "vorn_range_cmp: res is not aligned",
                   "vorn_range_cmp: src is not aligned", "vorn_range_cmp: aux bv is not aligned",
                   "vorn_range_cmp: invert filter not supported", "vorn_cmp: invalid constant length"}));
  EXPECT_EQ(env.errors().back().values, (std::vector<value>{std::string("vorn_gt_lt_dict_8bit"), 9}));
  EXPECT_EQ(aux.vorn_aux_filter_bv, nullptr);
  EXPECT_EQ(enc.vorn_enc_ctx_burst_fn, vorn_decode_rle_burst);
}

TEST_F(instrumentation_test, a_range_checks_each_constant_by_itself) {
  vorn_enc_ctx good = lo_enc, other_type = lo_enc, no_constant = lo_enc;
  other_type.vorn_enc_ctx_type ^= uint64_t{1} << 63;
  no_constant.vorn_enc_ctx_flags &= ~uint32_t{VORN_CONST};
  const struct {
    vorn_enc_ctx *lo, *hi;
    const char *message;
  } cases[] = {{&other_type, &good, "vorn_range_cmp: src1 & src2 encoding does not match"},
               {&good, &other_type, "vorn_range_cmp: src1 & src3 encoding does not match"},
               {&no_constant, &good, "vorn_range_cmp: src2 is not constant"},
               {&good, &no_constant, "vorn_range_cmp: src3 is not constant"}};
  for (const auto &wrong : cases) {
    lo.vorn_cv_encoding_context = wrong.lo;
    hi.vorn_cv_encoding_context = wrong.hi;
    env.clear_errors();
    vorn_gt_lt(&ctx, &res, &src, &lo, &hi, nullptr);
    EXPECT_EQ(messages(), lines{wrong.message});
  }
}

// A refusal under the self-check is told as what it is: there is no result to compare.
TEST_F(instrumentation_test, a_refused_constant_is_no_difference) {
  uint8_t too_long = 9;
  vorn_build_encoding_type_dynp(&enc, 64, 0, 0, 0);
  vorn_build_encoding_type_dynp(&lo_enc, 64, 0, 0, VORN_CONST);
  lo.vorn_cv_lens = &too_long;
  res.vorn_cv_popc = 40;
  out[0] = 0x77;
  ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  EXPECT_EQ(eq(), uint32_t{VORN_RESULT_REFUSED});
  EXPECT_EQ(messages(), lines{"vorn_cmp: invalid constant length"});
  EXPECT_EQ(res.vorn_cv_popc, 40U);
  EXPECT_EQ(out[0], 0x77U);
  const lines found = taken();
  EXPECT_TRUE(found[found.size() - 2].starts_with("vornu_stack_free_align")) << found[found.size() - 2];
}

TEST_F(instrumentation_test, range_wrappers_select_their_opcode) {
  const std::pair<decltype(&vorn_gt_lt), uint64_t> expected[] = {
      {vorn_gt_lt, 0x1c0}, {vorn_gt_le, 0x3c0}, {vorn_ge_lt, 0x1e0}, {vorn_ge_le, 0x3e0}};
  for (const auto &[compare, bits] : expected) {
    compare(&ctx, &res, &src, &lo, &hi, nullptr);
    EXPECT_EQ(out[0], bits);
  }
}

TEST_F(instrumentation_test, a_set_checks_its_own_and_always_clears_the_mask) {
  uint64_t mask[1] = {1};
  src.vorn_cv_mask_bv = mask;
  enc.vorn_enc_ctx_flags = VORN_FIXED | VORN_RLE;
  res.vorn_cv_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(out.data()) + 1);
  src.vorn_cv_vals = codes.data() + 4;
  set.vorn_cv_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(members.data()) + 2);
  aux.vorn_aux_filter_bv = reinterpret_cast<uint64_t *>(reinterpret_cast<char *>(filter.data()) + 1);
  aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
  put_in_force({.binary = [](vorn_cv *, vorn_cv *given, const vorn_cv *, vorn_aux *) -> uint32_t {
    EXPECT_EQ(given->vorn_cv_mask_bv, nullptr);
    return VORN_RESULT_REFUSED;
  }});
  EXPECT_EQ(vorn_in_set(&ctx, &res, &src, &set, &aux), uint32_t{VORN_RESULT_REFUSED});
  EXPECT_EQ(messages(), (lines{"vorn_in_set: src1 missing burst resvec", "vorn_in_set: src is not DICT",
                               "vorn_in_set: res is not aligned", "vorn_in_set: src is not aligned",
                               "vorn_in_set: join bv is not aligned", "vorn_in_set: aux bv is not aligned",
                               "vorn_in_set: invert filter not supported"}));
  EXPECT_EQ(src.vorn_cv_mask_bv, nullptr);
  EXPECT_EQ(aux.vorn_aux_filter_bv, nullptr) << "over runs";
  EXPECT_EQ(aux.vorn_aux_op_bits[0], 0x10);
}

TEST_F(instrumentation_test, a_mask_means_nothing_to_a_set) {
  uint64_t mask[1] = {1};
  src.vorn_cv_mask_bv = mask;
  EXPECT_EQ(vorn_in_set(&ctx, &res, &src, &set, nullptr), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(out[0], 0x2aU);
  EXPECT_EQ(src.vorn_cv_mask_bv, nullptr);
}

} // namespace
