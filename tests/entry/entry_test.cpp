// What entry points do around their kernels, for each entry by its description: checks, trace, timing, statistics, the
// dispatch rule, the self-check.
#include "tests/entry/entry.hpp"

namespace vorn_test {

namespace {

const std::vector<report> nothing;

// Everything that a call may change.
std::string contents(const entry_call &call) {
  const auto bytes = [](const auto &record) {
    return std::string(reinterpret_cast<const char *>(&record), sizeof record);
  };
  return bytes(call.res) + bytes(call.src) + bytes(call.enc) + bytes(call.aux) + bytes(call.out) + bytes(call.vals);
}

// A reporter that returns hears of every wrong argument and the call goes on; one that unwinds hears of the first, and
// nothing has changed.  What a kernel has done is counted before it is reported.
void expect_reports(const entry &which, const std::vector<check> &broken, bool aux_given) {
  for (const auto policy : {vorn_host::error_policy::resume, vorn_host::error_policy::unwind}) {
    SCOPED_TRACE(broken.front().message);
    entry_call call(which);
    call.given = aux_given ? &call.aux : nullptr;
    for (const check &wrong : broken)
      wrong.break_it(call);
    std::vector<report> expected;
    for (const check &wrong : broken)
      expected.emplace_back(wrong.message, wrong.told ? wrong.told(call) : values{});
    const std::string before = contents(call);
    call.env.on_error = policy;
    if (policy == vorn_host::error_policy::resume) {
      EXPECT_EQ(call.run(), call.answer());
      EXPECT_EQ(script.calls, 1U);
    } else {
      call.arm();
      call.ctx.vorn_ctx_stats = call.stats.data();
      EXPECT_THROW(call.run(), vorn_host::internal_error);
      expected.resize(1);
      const unsigned ran = broken.front().when == check::a_kernel_run ? 1 : 0;
      EXPECT_EQ(script.calls, ran);
      EXPECT_EQ(call.stats[48 + which.counted.called.value_or(0)], 7 + ran);
      EXPECT_TRUE(ran || (contents(call) == before && call.taken().size() <= 1)) << "only asked whether it is timed";
    }
    EXPECT_EQ(call.reports(), expected);
  }
}

// The calls of services that the description foretells, up to the time of a timed call.
std::vector<report> expected_trace(const entry_call &call, bool controlled, bool diagnosed) {
  const uint64_t component = 0x12050004;
  std::vector<report> expected;
  if (call.which.does & traces_nothing)
    return expected;
  const auto ask = [&](int32_t level) {
    expected.push_back({"host_trace_eval_flags", {component, level, uint64_t{0x400}, uint64_t{4}}});
  };
  const auto point = [&](int32_t level, const std::string &format, values told) {
    ask(level);
    if (controlled)
      told.insert(told.begin(), {std::string(call.which.name), component, uint64_t{0x402}});
    expected.emplace_back((controlled ? "host_trace_record " : "host_trace_write ") + format, told);
  };
  if (controlled)
    ask(4);
  for (const trace_point &at : call.which.trace)
    if (call.given != nullptr || !at.needs_aux)
      point(at.level, at.format, at.told(call));
  if (controlled)
    expected.push_back({"host_clock_time64", {uint64_t{1000}}});
  if (diagnosed && !(call.which.does & keeps_diagnostic))
    point(3, "diag_code: %d\n", {3});
  if (controlled) {
    expected.push_back({"host_clock_time64", {uint64_t{16625}}});
    ask(4);
  }
  return expected;
}

// What the scripted kernel does: it goes from row 10 to row 50 and has something to say.
void go_on(vorn_aux &aux) {
  aux.vorn_aux_start_slot = 50;
  aux.vorn_aux_diag_code = 3;
}

template <uint8_t bits>
void set_bits(vorn_aux &aux) {
  std::ranges::fill(aux.vorn_aux_op_bits, bits);
}

// What the self-check tells of differences.
std::vector<report> differences(const entry_call &call, bool popc, bool bits) {
  const auto &[scratch, popcount, result, operand] = *call.which.self_check;
  values counts = {number(call.which.generic_popc), number(call.res.vorn_cv_popc)};
  values rows = {64, operand == nullptr ? number(64) : address(&(call.*operand))};
  if (call.which.slot)
    for (values *told : {&counts, &rows})
      told->insert(told->begin(), kernel_name(call.which));
  std::vector<report> told;
  if (popc)
    told.push_back({popcount, counts});
  if (bits)
    told.insert(operand == nullptr ? told.end() : told.begin(), {result, rows});
  return told;
}

} // namespace

TEST_P(entry_test, reports_wrong_arguments_in_their_order) {
  const entry &which = GetParam();
  for (const check &wrong : which.checks)
    expect_reports(which, {wrong}, true);
  for (const bool aux_given : {true, false})
    if (const auto checks = which.checks_of(aux_given); !checks.empty() && (aux_given || which.goes_on_without_aux()))
      expect_reports(which, checks, aux_given);
}

// A wider word than usual: only the vectors that it stands for are reported.
TEST_P(entry_test, compares_every_vector_with_its_alignment_word) {
  using record = vorn_global_ctx_t;
  for (const auto word : {&record::VORN_MAX_ALIGN, &record::VORN_DATASTREAM_ALIGN, &record::VORN_BITWVEC_ALIGN,
                          &record::VORN_OUTPUT_BITWVEC_ALIGN, &record::VORN_JOIN_BITWVEC_ALIGN,
                          &record::vorn_global_ctx_qpak_in_align, &record::vorn_global_ctx_qpak_out_align}) {
    entry_call call(GetParam());
    vorn_global_ctx.*word = 16;
    lines expected;
    for (const check &wrong : GetParam().checks)
      if (wrong.word == word)
        expected.push_back(wrong.message);
    call.run();
    EXPECT_EQ(call.messages(), expected);
  }
}

TEST_P(entry_test, traces_and_times_an_armed_call) {
  const entry &which = GetParam();
  enum { forced_and_selective, compressed_and_inverted, without_aux, variants };
  for (int variant = 0; variant < ((which.does & takes_null_aux) ? variants : without_aux); ++variant) {
    entry_call call(which);
    script.act = go_on;
    call.arm();
    vorn_host::script_clock({1000, 16625});
    const bool forced = variant == forced_and_selective;
    call.ctx.vorn_ctx_flags = forced ? VORN_CTX_FORCE_GENERIC : VORN_CTX_ACCUMULATE;
    call.aux.vorn_aux_flags |=
        forced ? VORN_AUX_FORCE_SELECTIVE : VORN_AUX_INVERT_FILTER; // whose report is passed over
    if (variant == compressed_and_inverted)
      call.enc.vorn_enc_ctx_flags |= VORN_STREAM;
    if (variant == without_aux)
      call.given = nullptr;
    const auto expected = expected_trace(call, true, !forced || (which.does & ignores_force));
    EXPECT_EQ(call.run(), forced ? which.generic_code : call.answer());
    for (const auto &each : call.env.calls())
      if (each.service == "host_trace_record") {
        EXPECT_EQ(each.source.substr(0, each.source.find(':')), which.source);
      }
    auto found = call.taken();
    if (which.does & traces_nothing) {
      EXPECT_EQ(found, expected);
      continue;
    }
    ASSERT_FALSE(found.empty());
    const auto [last, told] = found.back();
    found.pop_back();
    EXPECT_EQ(found, expected);
    EXPECT_EQ(last, "host_trace_record Runtime %.0f us (%.0f Mrows/sec)\n");
    ASSERT_EQ(told.size(), 5U);
    EXPECT_EQ(told[3], vorn_host::value{15625.0});
    if (variant == compressed_and_inverted) {
      EXPECT_EQ(told[4], vorn_host::value{which.rate_rows / 16384.0});
    }
    std::vector<uint32_t> counts(VORN_DISPATCH_SLOTS);
    std::vector<double> rates(VORN_DISPATCH_SLOTS);
    if (which.slot && !forced) { // only a call that is asked to accumulates
      counts[*which.slot] = 1;
      rates[*which.slot] = std::get<double>(told[4]);
    }
    EXPECT_EQ(call.counts, counts);
    EXPECT_EQ(call.rates, rates);
  }
}

TEST_P(entry_test, writes_lines_without_a_control_block_and_is_silent_unarmed) {
  entry_call call(GetParam());
  script.act = go_on;
  call.env.trace_control().trace_on = 1;
  EXPECT_EQ(call.run(), call.answer());
  EXPECT_EQ(call.taken(), nothing) << "no trace word";

  call.ctx.vorn_ctx_trace = 4;
  call.env.detach_trace();
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  call.aux.vorn_aux_start_slot = 10;
  const auto expected = expected_trace(call, false, true);
  call.run();
  EXPECT_EQ(call.taken(), expected);
  EXPECT_EQ(call.counts, std::vector<uint32_t>(VORN_DISPATCH_SLOTS)) << "not timed";
}

TEST_P(entry_test, prepares_the_aux_of_the_kernel) {
  const entry &which = GetParam();
  const op_bits bits = which.bits.value_or(op_bits{{0, 0, 0}, {0xff, 0xff, 0xff}});
  enum { bits_clear, bits_full, without_aux, variants };
  for (int variant = 0; variant < (which.goes_on_without_aux() ? variants : without_aux); ++variant) {
    entry_call call(which);
    if (variant == bits_full)
      set_bits<0xff>(call.aux);
    vorn_aux expected;
    std::memcpy(&expected, &call.aux, sizeof expected);
    if (variant == without_aux) {
      call.given = nullptr;
      std::memset(&expected, 0, sizeof expected);
    }
    if (!(which.does & leaves_context))
      expected.vorn_aux_ctx = &call.ctx;
    if (which.bits) {
      expected.vorn_aux_diag_code = 0;
      std::ranges::copy(variant == bits_full    ? bits.from_full
                        : variant == bits_clear ? bits.from_clear
                                                : bits.without_aux,
                        expected.vorn_aux_op_bits);
    }
    EXPECT_EQ(call.run(), call.answer());
    EXPECT_EQ(std::memcmp(&script.aux, &expected, sizeof expected), 0);
    auto operands = which.called.operands(call);
    operands.push_back(variant != without_aux ? word_of(call.given) : script.operands.back());
    EXPECT_EQ(script.operands, operands);
    if (variant != without_aux) {
      EXPECT_EQ(std::memcmp(&call.aux, &expected, sizeof expected), 0) << "and nothing changes behind it";
    }
    EXPECT_EQ(call.messages().empty(), variant != without_aux || (which.does & takes_null_aux));
  }
}

TEST_P(entry_test, treats_runs_mask_and_stream_its_own_way) {
  const entry &which = GetParam();
  for (const uint32_t added : {uint32_t{VORN_STREAM}, VORN_RLE | uint32_t{VORN_STREAM}}) {
    entry_call call(which);
    const uint32_t flags = call.enc.vorn_enc_ctx_flags |= added;
    call.enc.vorn_enc_ctx_burst_res_bv = call.runs.data();
    call.src.vorn_cv_mask_bv = call.members.data();
    script.flags = flags; // of a call without a source
    script.mask = call.members.data();
    EXPECT_EQ(call.run(), call.answer());
    EXPECT_EQ(script.flags, (which.does & hides_stream) ? flags & ~uint32_t{VORN_STREAM} : flags);
    EXPECT_EQ(call.enc.vorn_enc_ctx_flags, flags);
    const bool prepared = (which.does & prepares_runs) && (flags & VORN_RLE);
    const bool dropped = prepared || ((which.does & drops_filter) && (flags & VORN_RLE));
    for (const uint64_t *filter : {script.aux.vorn_aux_filter_bv, call.aux.vorn_aux_filter_bv})
      EXPECT_EQ(filter, dropped ? nullptr : call.filter.data());
    EXPECT_EQ(call.enc.vorn_enc_ctx_burst_fn, prepared ? vorn_decode_rle_burst : nullptr);
    for (const uint64_t *mask : {script.mask, static_cast<const uint64_t *>(call.src.vorn_cv_mask_bv)})
      EXPECT_EQ(mask, (which.does & clears_mask) ? nullptr : call.members.data());
    EXPECT_EQ(call.messages(), lines{});
  }
}

TEST_P(entry_test, counts_what_the_bits_say) {
  const counters &counted = GetParam().counted;
  entry_call call(GetParam());
  std::vector<uint64_t> expected = call.stats;
  call.ctx.vorn_ctx_stats = call.stats.data();
  call.aux.vorn_aux_filter_bv = nullptr;
  // The counters start at byte 384: 8 called, 8 selective, 5 third; the rest of the block is the host's.
  const auto run = [&](void (*act)(vorn_aux &), std::vector<std::optional<unsigned>> places) {
    script.act = act;
    call.run();
    for (size_t array = 0; array < places.size(); ++array)
      if (places[array])
        ++expected[48 + 8 * array + *places[array]];
    EXPECT_EQ(call.stats, expected);
  };
  run(go_on, {counted.called});
  run(set_bits<0xff>, {counted.called, counted.selective, counted.third});
  call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
  run(set_bits<0>, {}); // the kernel in force has the last word
}

TEST_P(entry_test, runs_the_generic_kernel_alone_when_forced) {
  for (const int flags : {VORN_CTX_FORCE_GENERIC | 0, VORN_CTX_FORCE_GENERIC | VORN_CTX_SELF_CHECK}) {
    entry_call call(GetParam());
    call.ctx.vorn_ctx_flags = static_cast<uint8_t>(flags);
    EXPECT_EQ(call.run(), GetParam().generic_code);
    EXPECT_EQ(script.calls, (GetParam().does & ignores_force) ? 1U : 0U);
    EXPECT_EQ(call.res.vorn_cv_popc, GetParam().generic_popc);
    EXPECT_EQ(call.taken(), nothing);
    EXPECT_EQ(call.messages(), lines{});
  }
}

// By all of it, and by nothing else.
TEST_P(entry_test, dispatches_by_the_low_byte_of_the_type) {
  if (GetParam().typed.empty())
    return;
  for (unsigned bit = 0; bit < 64; ++bit) {
    entry_call call(GetParam());
    for (const auto typed : GetParam().typed)
      (call.*typed).vorn_enc_ctx_type ^= uint64_t{1} << bit;
    call.run();
    EXPECT_EQ(script.strays, bit < 8 ? 1U : 0U) << bit;
    EXPECT_EQ(call.messages(), lines{});
  }
}

TEST_P(entry_test, compares_both_kernels_under_the_self_check) {
  const entry &which = GetParam();
  for (const int popc : {0, 1, -1})
    for (const uint64_t bits : {uint64_t{0}, uint64_t{0x100}}) {
      entry_call call(which);
      script.generic_first = which.self_check.has_value();
      script.act = [&](vorn_aux &) {
        call.res.vorn_cv_popc += static_cast<uint32_t>(popc);
        call.out.items[0] ^= bits;
      };
      call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
      EXPECT_EQ(call.run(), call.answer()) << "the code is that of the kernel in force";
      EXPECT_EQ(script.calls, 1U);
      EXPECT_EQ(call.env.outstanding_scratch(), 0U);
      auto services = call.taken();
      if (!which.self_check) {
        EXPECT_EQ(services, nothing);
        continue;
      }
      EXPECT_EQ(call.reports(), differences(call, popc != 0, bits != 0));
      ASSERT_EQ(services.size(), 3U);
      services[1].second.erase(services[1].second.begin()); // the address of the scratch vector
      EXPECT_EQ(services, (std::vector<report>{{"vornu_stack_alloc_align " + which.self_check->scratch,
                                                {uint64_t{8}, uint64_t{8}, uint64_t{16}}},
                                               {"vornt_compare_res", {address(call.out.data()), 64, number(bits == 0)}},
                                               {"vornu_stack_free_align " + which.self_check->scratch, {}}}));
    }
}

TEST_P(entry_test, tells_a_refusal_of_the_kernel_in_force_alone_as_a_difference) {
  const entry &which = GetParam();
  for (const bool equal : {true, false}) { // what the refusing kernel left as it was, to what the generic one wrote
    entry_call call(which);
    call.ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC;
    if (equal)
      call.run();
    else
      call.out.items[0] = 0x100;
    call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
    script.code = VORN_RESULT_REFUSED;
    EXPECT_EQ(call.run(), call.answer());
    std::vector<report> expected;
    if (!equal && which.self_check)
      expected = differences(call, true, true);
    if (!which.checks.empty() && which.checks.back().when == check::a_kernel_run)
      expected.push_back({which.checks.back().message, {kernel_name(call.which), 0}});
    EXPECT_EQ(call.reports(), expected);
    EXPECT_EQ(call.env.outstanding_scratch(), 0U);
  }
}

TEST_P(entry_test, does_nothing_when_its_slot_is_empty) {
  if (!(GetParam().does & does_without_kernel))
    return;
  entry_call call(GetParam());
  GetParam().called.empty_slot();
  call.arm();
  call.res.vorn_cv_bv = nullptr;
  const vorn_aux before = call.aux;
  EXPECT_EQ(call.run(), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
  EXPECT_TRUE(call.env.calls().empty() && std::memcmp(&call.aux, &before, sizeof before) == 0);
}

// A self-check of bits and a range of rows takes words for the rows of src into clear memory, and tells of the result,
// then of the number of rows, then of the first and the last one.
TEST_P(entry_test, compares_the_range_of_rows_last) {
  const entry &which = GetParam();
  if (!which.self_check || which.self_check->told == nullptr)
    return;
  for (const uint32_t first : {0U, 1U, 2U})
    for (const uint32_t last : {4U, 5U, 6U})
      for (const bool more : {false, true}) {
        entry_call call(which);
        call.env.scratch_fill = 0xff;
        call.ctx.vorn_ctx_flags = VORN_CTX_SELF_CHECK;
        call.src.vorn_cv_nrows = 33;
        vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 32;
        vorn_global_ctx.vorn_global_ctx_pad_output = 48;
        script.generic_first = true;
        script.act = [&](vorn_aux &) {
          call.vals[0] = uint64_t{last} << 32 | first;
          call.res.vorn_cv_popc += more ? 1 : 0;
          call.out.items[0] |= more ? 16 : 0;
        };
        call.res.vorn_cv_nrows = 640;
        call.run();
        auto expected = differences(call, more, more);
        if (more)
          *(expected[0].second.end() - 2) = 33;
        if (first != 1 || last != 5) {
          expected.push_back({std::string(which.name) + ": vxl check range", {1, 5, number(first), number(last)}});
          if (which.slot)
            expected.back().second.insert(expected.back().second.begin(), kernel_name(call.which));
        }
        auto reports = call.reports();
        std::erase_if(reports, [](const report &told) { return told.first.ends_with("is not aligned"); });
        EXPECT_EQ(reports, expected);
        EXPECT_EQ(call.taken()[0].second, (values{uint64_t{8}, uint64_t{32}, uint64_t{48}}));
      }
}

} // namespace vorn_test
