// What single entries do besides, and on one of them the timing and the gate of the trace.
#include <cmath>

#include "tests/entry/call.hpp"

namespace vorn_test {

namespace {

const entry &cmp = entry_of("vorn_cmp"), &range_cmp = entry_of("vorn_range_cmp"), &in_set = entry_of("vorn_in_set"),
            &decode = entry_of("vorn_decode"), &unpack = entry_of("vorn_decode_unpack"),
            &symbol = entry_of("vorn_decode_symbol"), &add = entry_of("vorn_add");
constexpr uint32_t cmp_slot = 0x3a0, decode_slot = 0x3aa;

} // namespace

TEST(predicates, wrappers_select_their_opcode) {
  entry_call call(cmp);
  call.ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
  const std::pair<decltype(&vorn_eq), uint64_t> compared[] = {
      {vorn_eq, 0x20}, {vorn_lt, 0x1f}, {vorn_gt, ~0x3fULL}, {vorn_le, 0x3f}, {vorn_ge, ~0x1fULL}, {vorn_ne, ~0x20ULL}};
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
    EXPECT_EQ(call.stats[48 + 0], 1U);
    EXPECT_EQ(call.stats[48 + 2], flags == VORN_CTX_SELF_CHECK ? 2U : 1U);
    EXPECT_EQ(call.stats[56 + 0] + call.stats[56 + 2], 0U);
    EXPECT_EQ(call.messages(), lines{});
  }
}

TEST(statistics, count_no_bit_that_the_kernel_clears) {
  for (const entry &which : entries()) {
    entry_call call(which);
    call.ctx.vorn_ctx_stats = call.stats.data();
    script.act = [](vorn_aux &aux) { std::ranges::fill(aux.vorn_aux_op_bits, uint8_t{0}); };
    call.run();
    EXPECT_EQ(call.stats, std::vector<uint64_t>(80)) << which;
  }
}

TEST(timing, keeps_a_running_mean) {
  entry_call call(cmp);
  call.arm();
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  uint32_t &count = call.counts[cmp_slot];
  double &rate = call.rates[cmp_slot];
  vorn_host::script_clock({0, 1000, 5000, 4500}); // the second clock runs backwards
  call.run();
  const double first = 64.0 / 1048576 / 0.001;
  EXPECT_DOUBLE_EQ(rate, first);
  count = 2;
  call.run();
  EXPECT_EQ(count, 3U);
  EXPECT_DOUBLE_EQ(rate, (2 * first + 2 * first) / 3);
  vorn_host::script_clock({9});
  call.run();
  EXPECT_TRUE(std::isinf(rate)) << "equal readings are no special case";
  // Readings are converted before they are subtracted: far up, neighbours are one number.
  rate = count = 0;
  vorn_host::script_clock({uint64_t{1} << 60, (uint64_t{1} << 60) + 1});
  call.run();
  EXPECT_TRUE(std::isinf(rate));
  call.src.vorn_cv_nrows = 0;
  call.run();
  EXPECT_TRUE(std::isnan(rate)) << "no rows in no time";
}

TEST(trace_gate, calls_no_service_unless_armed) {
  const struct {
    uint64_t word;
    uint32_t trace_on;
    uint8_t trace_ctl;
    bool attached, calls_services;
  } cases[] = {{0, 0, 0, true, false},    {0, 1, 0, true, false},           {4, 0, 0, true, false},
               {4, 0, 0xfb, true, false}, {4, 0, 0x4, true, true},          {4, 1, 0, true, true},
               {0, 0, 0, false, false},   {UINT64_MAX, 0, 0, false, false}, {4, 0, 0, false, true}};
  for (const auto &[word, trace_on, trace_ctl, attached, calls_services] : cases) {
    entry_call call(cmp);
    call.ctx.vorn_ctx_trace = word;
    call.env.trace_control().trace_on = trace_on;
    call.env.trace_control().trace_ctl = trace_ctl;
    if (!attached)
      call.env.detach_trace();
    call.run();
    EXPECT_EQ(!call.env.calls().empty(), calls_services)
        << word << ' ' << trace_on << ' ' << int{trace_ctl} << ' ' << attached;
  }
  entry_call call(cmp);
  call.ctx.vorn_ctx_trace = 4;
  call.env.detach_trace();
  call.env.trace.eval_flags = [](uint32_t, uint32_t, uint64_t flags, uint64_t) { return flags | 0x2; };
  call.run();
  EXPECT_EQ(call.env.calls().size(), 3U) << "the flag of a record does not let a line through";
}

TEST(trace_gate, by_events_and_by_filters) {
  entry_call call(cmp);
  const auto services = [&] {
    call.env.clear_calls();
    call.run();
    return call.env.calls().size();
  };
  call.arm(UINT64_MAX);
  uint64_t *const events = call.env.trace_control().trace_events;
  call.env.trace_control().trace_events = nullptr;
  EXPECT_EQ(services(), 0U) << "no event words";
  call.env.trace_control().trace_events = events;
  for (const unsigned missing : {0U, 1U, 2U, 3U}) {
    events[0] = 0x10;
    events[1] = events[2] = events[3] = 1;
    events[missing] = 0xe;
    EXPECT_EQ(services(), 0U) << "event word " << missing;
  }
  events[3] = 1;
  call.env.trace.check_event = [](auto...) { return std::nullopt; };
  EXPECT_EQ(services(), 4U) << "an event check at every point, never armed";
  const auto expect_site = [](const vorn_host::trace_site &site) {
    EXPECT_EQ(site.component, 0x12050004U);
    EXPECT_STREQ(site.entry, "vorn_cmp");
    EXPECT_STREQ(site.file, "entry/scan/cmp.cpp");
  };
  call.env.trace.check_event = [&](const uint64_t *words, uint32_t event, const vorn_host::trace_site &site) {
    EXPECT_EQ(words, events);
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
  EXPECT_EQ(services(), 9U) << "events at four points, the filters of one, no record";
  pass = true;
  EXPECT_EQ(services(), 10U);
  // Event, filters and record name the same place.
  const auto calls = call.env.calls();
  const auto of_record = std::ranges::find(calls, "host_trace_record", &vorn_host::service_call::service);
  ASSERT_NE(of_record, calls.end());
  for (const int before : {1, 3})
    EXPECT_EQ(of_record[-before].source, of_record->source);
}

// The rate of a list without rows is the rate of no rows.
TEST(decoders, time_an_empty_list) {
  entry_call call(decode);
  call.arm();
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE | VORN_CTX_FORCE_GENERIC;
  call.aux.vorn_aux_ones_vec_size = 0;
  call.rates[decode_slot] = 4;
  vorn_host::script_clock({0, 1000});
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(call.rates[decode_slot], 0);
}

// The index of unpacked codes is the whole type word, cut to 32 bits: bit 27 and higher bits do not matter, and bit 8
// leads past the end of the table, where nothing is called.
TEST(decoders, of_unpacked_codes_dispatch_by_the_whole_type) {
  for (const uint64_t upper : {uint64_t{0x100}, uint64_t{1} << 27, uint64_t{0x8800} << 48}) {
    entry_call call(symbol);
    call.enc.vorn_enc_ctx_type |= upper;
    EXPECT_EQ(call.run(), upper == 0x100 ? uint32_t{VORN_RESULT_NO_IMPLEMENTATION} : script.code);
    EXPECT_EQ(script.calls + script.strays, upper == 0x100 ? 0U : 1U);
  }
}

// Compressed streams are decompressed once, whichever decoder comes first, under the name of its kernel.
TEST(decoders, keep_a_decompressed_stream) {
  for (const auto &[first, name] :
       {std::pair{&decode, "vorn_decode_dict_8bit"}, {&unpack, "vorn_decode_unpack_dict_8bit"}}) {
    entry_call call(*first);
    call.ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
    call.ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *dst, uint32_t *, uint32_t dstlen) {
      std::memset(dst, 0x5a, dstlen);
      return uint32_t{0};
    };
    call.enc.vorn_enc_ctx_flags |= VORN_STREAM;
    call.enc.vorn_enc_ctx_dict_syms = &call;
    call.aux.vorn_aux_filter_bv = nullptr;
    call.stream = nullptr;
    for (const entry *turn : {first, &decode, &unpack}) {
      std::ranges::fill(call.vals, 0);
      EXPECT_EQ(turn->call(call), uint32_t{VORN_RESULT_DONE});
      EXPECT_EQ(call.vals[0], turn == &decode ? reinterpret_cast<uintptr_t>(&call) + 0x5a : 0x5a5aU);
    }
    ASSERT_EQ(call.env.calls().size(), 1U);
    EXPECT_EQ(call.env.calls()[0].service, "vorn_ctx_alloc");
    EXPECT_EQ(call.env.calls()[0].text, std::string(name) + ": vec1_decomp");

    call.stream = nullptr;
    call.ctx.vorn_ctx_decompress = [](vorn_qpak_ctx *, const void *, void *, uint32_t *, uint32_t) { return 1U; };
    first->call(call);
    EXPECT_EQ(call.messages(), lines{std::string(name) + ": vorn_qpak_decode failed"});
  }
}

TEST(hash, implicit_passes_no_function) {
  entry_call call(entry_of("vorn_hash"));
  call.transcript();
  EXPECT_TRUE(script.seen.starts_with("kernel res src lo @1 aux"));
  EXPECT_EQ(vorn_hash_implicit(&call.ctx, &call.res, &call.src, &call.lo, &call.aux), script.code);
  EXPECT_TRUE(script.seen.starts_with("kernel res src lo null aux"));
}

// A kernel of group keys sets no bits that could be compared.
TEST(xlate, of_group_keys_has_no_self_check) {
  entry_call call(entry_of("vorn_xlate"));
  const uint32_t slot = 0x87 << 5 | VORN_OPC_XLATE;
  call.table[slot] = call.table[VORN_OPC_XLATE];
  call.lo_enc.vorn_enc_ctx_type = 0x87;
  call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_DONE});
  EXPECT_EQ(script.calls, 1U);
  EXPECT_EQ(call.env.calls().size(), 0U);
}

TEST(arithmetic, of_other_numbers_is_reported_and_mul_is_its_own_operation) {
  entry_call call(add);
  call.table[5 << 7 | VORN_OPC_MUL] = call.table[5 << 7 | VORN_OPC_ADD];
  EXPECT_EQ(vorn_mul(&call.ctx, &call.res, &call.src, &call.lo, &call.aux), script.code);
  call.enc.vorn_enc_ctx_num_type = VORN_NUM_FLOAT | VORN_NUM_DOUBLE;
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
  EXPECT_EQ(call.messages(), lines{"unsupported dtype"});
  EXPECT_EQ(call.env.errors()[0].values.size(), 0U);
  EXPECT_EQ(script.calls, 1U);
}

} // namespace vorn_test
