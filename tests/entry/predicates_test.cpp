// The entry points of the predicates: their descriptions, and what each of them does alone.
#include <cmath>

#include "tests/entry/entry.hpp"

namespace {

using namespace vorn_test;
using vorn_host::value;
using record = vorn_global_ctx_t;

check missing_run_vector(std::string message) {
  return {std::move(message), [](entry_call &call) {
            call.enc.vorn_enc_ctx_flags |= VORN_RLE;
            call.enc.vorn_enc_ctx_burst_res_bv = nullptr;
          }};
}

// Types differ in any of their bits.
check other_type(std::string message, vorn_enc_ctx entry_call::*constant) {
  return {std::move(message), [=](entry_call &call) { (call.*constant).vorn_enc_ctx_type ^= uint64_t{1} << 40; }};
}

check no_constant(std::string message, vorn_enc_ctx entry_call::*constant) {
  return {std::move(message), [=](entry_call &call) { (call.*constant).vorn_enc_ctx_flags = VORN_DICT; }};
}

check inverted_filter(std::string message) {
  return {std::move(message), [](entry_call &call) { call.aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER; },
          [](entry_call &call) { return values{address(&call.aux)}; }, check::an_aux};
}

// Of the first constant, whichever is at fault.
check invalid_length() {
  return {"vorn_cmp: invalid constant length",
          [](entry_call &call) {
            static uint8_t lengths[] = {9, 5};
            call.lo.vorn_cv_lens = lengths;
            call.hi.vorn_cv_lens = lengths + 1;
            script.code = VORN_RESULT_REFUSED;
          },
          [](entry_call &call) {
            return values{kernel_name(call.which), 9};
          },
          check::a_kernel_run};
}

const entry cmp = {
    .name = "vorn_cmp",
    .source = "entry/scan/cmp.cpp",
    .slot = dict_8bit(VORN_OPC_EQ),
    .called = in_table<vorn_binary_fn, vorn_eq, &entry_call::res, &entry_call::src, &entry_call::lo>(),
    .checks = {missing_run_vector("vorn_cmp: src1 missing burst resvec"),
               other_type("vorn_cmp: encoding does not match", &entry_call::lo_enc),
               no_constant("vorn_cmp: src2 is not constant", &entry_call::lo_enc),
               misaligned("vorn_cmp: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               misaligned("vorn_cmp: src is not aligned", &record::VORN_DATASTREAM_ALIGN, source),
               misaligned_filter("vorn_cmp: aux bv is not aligned"),
               inverted_filter("vorn_cmp: invert filter not supported"), invalid_length()},
    .trace = {kernel_line(),
              rows_line(" src: %p res: %p aux: %p",
                        [](const entry_call &c) {
                          return values{address(c.codes.items.data()), address(c.out.items.data()), address(c.given)};
                        }),
              filter_line()},
    .bits = {{{0x01, 0, 0}, {0xf7, 0xfd, 0xfd}}},
    .counted = {0, 0, 0},
    .self_check = {{"vorncmp: res_generic_bv", "vorn_cmp: vxl check popcount", "vorn_cmp: vxl check result"}},
    .does = takes_null_aux | prepares_runs,
    .typed = {&entry_call::enc, &entry_call::lo_enc},
    .generic_popc = 1};

const entry range_cmp = {
    .name = "vorn_range_cmp",
    .source = "entry/scan/range_cmp.cpp",
    .slot = dict_8bit(VORN_OPC_GE_LE),
    .called =
        in_table<vorn_ternary_fn, vorn_ge_le, &entry_call::res, &entry_call::src, &entry_call::lo, &entry_call::hi>(),
    .checks = {missing_run_vector("vorn_cmp: src1 missing burst resvec"),
               other_type("vorn_range_cmp: src1 & src2 encoding does not match", &entry_call::lo_enc),
               other_type("vorn_range_cmp: src1 & src3 encoding does not match", &entry_call::hi_enc),
               no_constant("vorn_range_cmp: src2 is not constant", &entry_call::lo_enc),
               no_constant("vorn_range_cmp: src3 is not constant", &entry_call::hi_enc),
               misaligned("vorn_range_cmp: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               misaligned("vorn_range_cmp: src is not aligned", &record::VORN_DATASTREAM_ALIGN, source),
               misaligned_filter("vorn_range_cmp: aux bv is not aligned"),
               inverted_filter("vorn_range_cmp: invert filter not supported"), invalid_length()},
    .trace = {kernel_line(), rows_line(), filter_line()},
    .bits = cmp.bits,
    .counted = cmp.counted,
    .self_check = {{"vorncmp: res_generic_bv", "vorn_range_cmp: vxl check popcount",
                    "vorn_range_cmp: vxl check result"}},
    .does = takes_null_aux | prepares_runs,
    .typed = {&entry_call::enc, &entry_call::lo_enc, &entry_call::hi_enc},
    .generic_popc = 3};

const entry in_set = {
    .name = "vorn_in_set",
    .source = "entry/scan/in_set.cpp",
    .slot = dict_8bit(VORN_OPC_SET),
    .called = in_table<vorn_binary_fn, vorn_in_set, &entry_call::res, &entry_call::src, &entry_call::set>(),
    .checks = {missing_run_vector("vorn_in_set: src1 missing burst resvec"),
               no_dictionary("vorn_in_set: src is not DICT"),
               misaligned("vorn_in_set: res is not aligned", &record::VORN_OUTPUT_BITWVEC_ALIGN, result),
               misaligned("vorn_in_set: src is not aligned", &record::VORN_DATASTREAM_ALIGN, source),
               misaligned("vorn_in_set: join bv is not aligned", &record::VORN_JOIN_BITWVEC_ALIGN,
                          [](entry_call &c) -> void * { return &c.set.vorn_cv_bv; }),
               misaligned_filter("vorn_in_set: aux bv is not aligned"),
               inverted_filter("vorn_in_set: invert filter not supported")},
    .trace = {kernel_line(), rows_line(), filter_line()},
    .bits = {{{0x10, 0, 0}, {0xf7, 0xef, 0xef}}},
    .counted = {3, 3, 3},
    .self_check = {{"vorncmp: res_generic_bv", "vorn_in_set: vxl check popcount", "vorn_in_set: vxl check result"}},
    .does = takes_null_aux | prepares_runs | clears_mask,
    .typed = {&entry_call::enc},
    .generic_popc = 3};

INSTANTIATE_TEST_SUITE_P(predicates, entry_test, testing::Values(cmp, range_cmp, in_set), entry_name);

TEST(predicates, wrappers_select_their_opcode) {
  entry_call call(cmp);
  call.run_generic();
  const std::pair<decltype(&vorn_eq), uint64_t> compared[] = {{vorn_eq, 0x20},
                                                              {vorn_lt, 0x1f},
                                                              {vorn_gt, ~uint64_t{0x3f}},
                                                              {vorn_le, 0x3f},
                                                              {vorn_ge, ~uint64_t{0x1f}},
                                                              {vorn_ne, ~uint64_t{0x20}}};
  for (const auto &[compare, bits] : compared) {
    EXPECT_EQ(compare(&call.ctx, &call.res, &call.src, &call.lo, nullptr), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(call.out.items[0], bits);
  }
  const std::pair<decltype(&vorn_gt_lt), uint64_t> ranged[] = {
      {vorn_gt_lt, 0x1c0}, {vorn_gt_le, 0x3c0}, {vorn_ge_lt, 0x1e0}, {vorn_ge_le, 0x3e0}};
  for (const auto &[compare, bits] : ranged) {
    EXPECT_EQ(compare(&call.ctx, &call.res, &call.src, &call.lo, &call.hi, nullptr), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(call.out.items[0], bits);
  }
  EXPECT_EQ(call.messages(), lines{});
}

TEST(predicates, without_a_filter_an_invert_flag_is_no_fault) {
  for (const entry &which : {cmp, range_cmp, in_set}) {
    entry_call call(which);
    call.aux.vorn_aux_filter_bv = nullptr;
    call.aux.vorn_aux_flags = VORN_AUX_INVERT_FILTER;
    call.run();
    EXPECT_EQ(call.messages(), lines{});
  }
}

TEST(predicates, report_a_refusal_without_a_length_as_zero) {
  for (const entry &which : {cmp, range_cmp}) {
    entry_call call(which);
    script.code = VORN_RESULT_REFUSED;
    call.run();
    EXPECT_EQ(call.reports().at(0).second, (values{kernel_name(call.which), 0}));
  }
}

// A constant that the generic kernel refuses.
struct refused_call : entry_call {
  explicit refused_call(const entry &described) : entry_call(described) {
    vorn_build_encoding_type_dynp(&enc, 64, 0, 0, 0);
    vorn_build_encoding_type_dynp(&lo_enc, 64, 0, 0, VORN_CONST);
    hi_enc = lo_enc;
    lo.vorn_cv_lens = hi.vorn_cv_lens = &too_long;
    ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
    env.scratch_fill = 0x55;
  }
  uint8_t too_long = 9;
};

TEST(self_check, compares_unless_both_kernels_refuse) {
  for (const entry &which : {cmp, range_cmp}) {
    refused_call both(which);
    vorn_global_ctx.vorn_global_ctx_dispatch = vorn_dispatch_table;
    EXPECT_EQ(both.run(), uint32_t{VORN_RESULT_REFUSED});
    EXPECT_EQ(both.messages(), lines{"vorn_cmp: invalid constant length"});
    EXPECT_EQ(both.taken().size(), 2U) << "the scratch vector is taken and given back";
    EXPECT_EQ(both.res.vorn_cv_popc, 77U);
    EXPECT_EQ(both.out.items[0], 0U);

    // The generic kernel alone refuses: its vector is as the host gave it, its count 0.
    for (const uint32_t popc : {0U, 32U})
      for (const uint64_t bits : {0x5555555555555555U, 0x5555555555555554U}) {
        refused_call generic(which);
        std::ranges::fill(generic.table, generic.table[*which.slot]);
        script.code = VORN_RESULT_DONE;
        script.act = [&](vorn_aux &) {
          generic.res.vorn_cv_popc = popc;
          generic.out.items[0] = bits;
        };
        lines expected;
        if (popc != 0)
          expected.push_back(which.self_check->popcount);
        if (bits % 2 == 0)
          expected.push_back(which.self_check->result);
        EXPECT_EQ(generic.run(), uint32_t{VORN_RESULT_DONE});
        EXPECT_EQ(generic.messages(), expected);
      }
  }
}

TEST(self_check, takes_whole_words_with_alignment_and_padding_of_a_result) {
  for (const uint32_t nrows : {0U, 1U, 63U, 64U}) {
    entry_call call(in_set);
    vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 32;
    vorn_global_ctx.vorn_global_ctx_pad_output = 48;
    call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
    call.res.vorn_cv_nrows = 64 + nrows;
    call.run();
    const auto services = call.taken();
    EXPECT_EQ(services[0].second, (values{uint64_t{nrows == 0 ? 8U : 16U}, uint64_t{32}, uint64_t{48}}));
    EXPECT_EQ(services[1].second[2], number(64 + nrows)) << "but compares rows";
  }
}

// From the entry of a predicate to rows.  Each kernel that runs calls a burst.
TEST(predicates, select_the_rows_of_their_runs) {
  for (const uint8_t flags : std::initializer_list<uint8_t>{0, VORN_CTX_FORCE_GENERIC, VORN_CTX_SELF_CHECK}) {
    entry_call call(cmp);
    vorn_global_ctx.vorn_global_ctx_dispatch = vorn_dispatch_table;
    call.ctx.vorn_ctx_flags = flags;
    call.ctx.vorn_ctx_stats = call.stats.data();
    call.members.items = {0x1e04140a}; // runs of 10, 20, 4 and 30 rows
    vorn_add_encoding_type_rle(&call.enc, call.members.data(), nullptr, 8, 4, call.runs.data());
    call.enc.vorn_enc_ctx_burst_fn = [](const vorn_ctx *, vorn_cv *, vorn_cv *, vorn_aux *) { return 99U; };
    call.lo_code = 2;
    EXPECT_EQ(vorn_ne(&call.ctx, &call.res, &call.src, &call.lo, &call.aux), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(call.out.items[0], 0xfffffffc3fffffff);
    EXPECT_EQ(call.res.vorn_cv_popc, 60U);
    EXPECT_EQ(call.stats[48 + 0], 8U);
    EXPECT_EQ(call.stats[48 + 2], flags == VORN_CTX_SELF_CHECK ? 9U : 8U);
    EXPECT_EQ(call.stats[56 + 0] + call.stats[56 + 2], 14U);
    EXPECT_EQ(call.messages(), lines{});
  }
}

TEST(timing, keeps_a_running_mean) {
  entry_call call(cmp);
  call.arm();
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  double &rate = call.rates[*cmp.slot];
  vorn_host::script_clock({0, 1000, 5000, 4500}); // the second clock runs backwards
  call.run();
  const double first = 64.0 / 1048576 / 0.001;
  EXPECT_DOUBLE_EQ(rate, first);
  call.counts[*cmp.slot] = 2;
  call.run();
  EXPECT_EQ(call.counts[*cmp.slot], 3U);
  EXPECT_DOUBLE_EQ(rate, (2 * first + 2 * first) / 3);
  vorn_host::script_clock({9});
  call.run();
  EXPECT_TRUE(std::isinf(rate)) << "equal readings are not excused";
  // Readings are converted before they are subtracted: far up, neighbours are one number.
  rate = 0;
  call.counts[*cmp.slot] = 0;
  vorn_host::script_clock({uint64_t{1} << 60, (uint64_t{1} << 60) + 1});
  call.run();
  EXPECT_TRUE(std::isinf(rate));
  call.src.vorn_cv_nrows = 0;
  call.run();
  EXPECT_TRUE(std::isnan(rate)) << "no rows in no time";
}

// The gate before every trace point, on one entry.
struct trace_gate : testing::Test {
  // Calls of services, or those of one of them.
  size_t asked(const std::string &service = "") {
    call.env.clear_calls();
    call.run();
    const lines found = call.env.transcript();
    return static_cast<size_t>(
        std::ranges::count_if(found, [&](const std::string &line) { return line.starts_with(service); }));
  }
  entry_call call{cmp};
  host_trace_ctl &control = call.env.trace_control();
};

TEST_F(trace_gate, asks_no_service_unless_armed) {
  EXPECT_EQ(asked(), 0U) << "no trace word, inactive control block";
  control.trace_on = 1;
  EXPECT_EQ(asked(), 0U) << "no trace word, active control block";
  control.trace_on = 0;
  call.ctx.vorn_ctx_trace = 4;
  EXPECT_EQ(asked(), 0U) << "trace word, inactive control block";
  control.trace_ctl = 0xfb;
  EXPECT_EQ(asked(), 0U) << "trace word, control bits without the active one";
  control.trace_ctl = 0x4;
  EXPECT_NE(asked(), 0U) << "the active bit alone arms";
  control.trace_ctl = 0;
  call.env.detach_trace();
  call.ctx.vorn_ctx_trace = 0;
  EXPECT_EQ(asked(), 0U) << "no control block, no trace word";
  call.ctx.vorn_ctx_trace = UINT64_MAX;
  EXPECT_EQ(asked(), 0U) << "no control block, a word that asks for events";
  call.ctx.vorn_ctx_trace = 4;
  EXPECT_NE(asked("host_trace_write"), 0U);
  call.env.trace.eval_flags = [](uint32_t, uint32_t, uint64_t flags, uint64_t) { return flags | 0x2; };
  EXPECT_EQ(asked("host_trace_write"), 0U) << "the flag of a record does not let a line through";
}

TEST_F(trace_gate, by_events_and_by_filters) {
  call.arm(UINT64_MAX);
  uint64_t *const events = control.trace_events;
  EXPECT_EQ(asked(), 0U) << "events clear";
  control.trace_events = nullptr;
  EXPECT_EQ(asked(), 0U) << "no event words";
  control.trace_events = events;
  for (const unsigned missing : {0U, 1U, 2U, 3U, 4U}) {
    events[0] = 0x10;
    events[1] = events[2] = events[3] = 1;
    if (missing == 4)
      break;
    events[missing] = 0xe;
    EXPECT_EQ(asked(), 0U) << "event word " << missing;
  }
  call.env.trace.check_event = [](auto...) { return std::nullopt; };
  EXPECT_EQ(asked(), 4U) << "asked at every point, never armed";
  const auto expect_site = [](const vorn_host::trace_site &site) {
    EXPECT_EQ(site.component, 0x12050004U);
    EXPECT_STREQ(site.entry, "vorn_cmp");
    EXPECT_STREQ(site.file, "entry/scan/cmp.cpp");
  };
  call.env.trace.check_event = [&](const uint64_t *given, uint32_t event, const vorn_host::trace_site &site) {
    EXPECT_EQ(given, events);
    EXPECT_EQ(event, 0x1160001U);
    expect_site(site);
    return std::optional<uint64_t>(0x55);
  };
  call.env.trace.eval_event = [](uint32_t, uint32_t level, uint64_t flags, uint64_t word) {
    EXPECT_EQ(word, 0x55U);
    return level == 2 ? flags | 0x4 | uint64_t{1} << 62 : flags;
  };
  bool pass = false;
  call.env.trace.eval_filters = [&](uint32_t level, uint64_t flags, const vorn_host::trace_site &site) {
    EXPECT_EQ(level, 2U);
    EXPECT_EQ(flags, 0x404U | uint64_t{1} << 62);
    expect_site(site);
    return pass;
  };
  EXPECT_EQ(asked("host_trace_record"), 0U);
  pass = true;
  EXPECT_EQ(asked("host_trace_record"), 1U);

  // Event, filters and record are told the same place.
  const auto calls = call.env.calls();
  const auto of_record = std::ranges::find(calls, "host_trace_record", &vorn_host::service_call::service);
  ASSERT_GE(of_record - calls.begin(), 3);
  EXPECT_EQ(of_record[-1].service, "host_trace_eval_filters");
  EXPECT_EQ(of_record[-1].source, of_record->source);
  EXPECT_EQ(of_record[-3].service, "host_trace_check_event");
  EXPECT_EQ(of_record[-3].source, of_record->source);
}

} // namespace
