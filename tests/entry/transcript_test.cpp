// What each entry does around its kernel, against golden transcripts: checks, trace, timing, statistics, the dispatch
// rule and the self-check.  A transcript has the events of an armed call, one a line; for every other scenario it has
// the events that the scenario adds (+) or takes away (-).  Of a changed event it has the new form only.  A scenario
// that changes nothing is not named.  Scenarios of the self-check are compared with a self-check without a difference.
#include "tests/entry/call.hpp"

namespace vorn_test {

namespace {

void also(const std::function<void(vorn_aux &)> &act) {
  script.act = [first = script.act, act](vorn_aux &aux) {
    if (first)
      first(aux);
    act(aux);
  };
}

// An armed, timed call with statistics and a running mean, a compressed source, and a filter that the kernel is to
// visit row by row.  All op bits are set before; the kernel sets them all, moves the start slot and leaves a diagnostic
// code.
void standard(entry_call &call) {
  also([](vorn_aux &aux) {
    aux.vorn_aux_start_slot = 50;
    aux.vorn_aux_diag_code = 3;
    std::ranges::fill(aux.vorn_aux_op_bits, uint8_t{0xff});
  });
  call.arm();
  vorn_host::script_clock({1000, 16625});
  call.ctx.vorn_ctx_flags = VORN_CTX_ACCUMULATE;
  call.ctx.vorn_ctx_stats = call.stats.data();
  call.enc.vorn_enc_ctx_flags |= VORN_STREAM;
  call.aux.vorn_aux_flags |= VORN_AUX_FORCE_SELECTIVE;
  std::ranges::fill(call.aux.vorn_aux_op_bits, uint8_t{0xff});
}

void use_plain_source(entry_call &call) {
  call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_STREAM};
  std::ranges::fill(call.aux.vorn_aux_op_bits, uint8_t{0});
}

// Under the self-check the kernel in force repeats what the generic one does, except for its differences.
template <int popcount = 0, uint64_t bits = 0, int first = 0, int last = 0>
void check_itself(entry_call &call) {
  use_plain_source(call);
  call.ctx.vorn_ctx_flags |= VORN_CTX_SELF_CHECK;
  script.generic_first = true;
  also([&call](vorn_aux &) {
    call.res.vorn_cv_popc += static_cast<uint32_t>(popcount);
    call.out.items[0] ^= bits;
    if (call.which.compares_range)
      call.vals[0] = static_cast<uint64_t>(5 + last) << 32 | static_cast<uint32_t>(1 + first);
  });
}

template <uint32_t code>
void check_refusal(entry_call &call) {
  use_plain_source(call);
  call.which.generic_refuses(call);
  call.ctx.vorn_ctx_flags |= VORN_CTX_SELF_CHECK;
  call.env.scratch_fill = 0x55;
  script.code = code;
}

template <auto... words>
void widen(entry_call &) {
  ((vorn_global_ctx.*words = 16), ...);
}

void break_all(entry_call &call) {
  for (const step wrong : call.which.wrong)
    if (wrong(call); call.passed_aux == nullptr)
      call.passed_aux = &call.aux;
}

void unchanged(entry_call &) {}
bool any(const entry &) { return true; }
bool reports_nothing(const entry &which) { return which.wrong.empty(); }
bool has_self_check(const entry &which) { return which.generic_refuses != nullptr; }
bool shows_range(const entry &which) { return which.compares_range && which.shows_self_check; }
bool reports_refusal(const entry &which) { return which.reports_refusal; }
// All entries share one self-check, so one entry of each kind shows all its cases.
bool shows_self_check(const entry &which) { return which.shows_self_check; }

using record = vorn_global_ctx_t;
struct scenario {
  const char *name = nullptr;
  step change = nullptr;
  bool (*is_for)(const entry &which) = any;
  step basis = unchanged; // the scenario from which the events differ
};
const scenario scenarios[] = {
    {"generic kernel forced, no running mean",
     [](entry_call &call) {
       call.enc.vorn_enc_ctx_flags &= ~uint32_t{VORN_STREAM};
       call.ctx.vorn_ctx_flags = VORN_CTX_FORCE_GENERIC | VORN_CTX_SELF_CHECK;
     }},
    {"inverted filter",
     [](entry_call &call) { call.aux.vorn_aux_flags ^= VORN_AUX_INVERT_FILTER | VORN_AUX_FORCE_SELECTIVE; },
     reports_nothing},
    {"over runs, with a mask",
     [](entry_call &call) {
       call.enc.vorn_enc_ctx_flags |= VORN_RLE;
       call.enc.vorn_enc_ctx_burst_res_bv = call.runs.data();
       call.src.vorn_cv_mask_bv = call.members.data();
     }},
    {"op bits clear", [](entry_call &call) { std::ranges::fill(call.aux.vorn_aux_op_bits, uint8_t{0}); },
     [](const entry &which) { return which.needs_aux && !reports_nothing(which); }},
    {"without aux", [](entry_call &call) { call.passed_aux = nullptr; },
     [](const entry &which) { return !which.needs_aux && reports_nothing(which); }},
    {"all arguments wrong", break_all},
    {"all arguments wrong, without aux",
     [](entry_call &call) {
       break_all(call);
       call.passed_aux = nullptr;
     },
     [](const entry &which) { return !which.needs_aux && !reports_nothing(which); }, break_all},
    {"kernel refuses without a length", [](entry_call &) { script.code = VORN_RESULT_REFUSED; }, reports_refusal},
    {"DATASTREAM_ALIGN 16", widen<&record::VORN_DATASTREAM_ALIGN>},
    {"BITWVEC_ALIGN 16", widen<&record::VORN_BITWVEC_ALIGN>},
    {"OUTPUT_BITWVEC_ALIGN 16", widen<&record::VORN_OUTPUT_BITWVEC_ALIGN>},
    {"JOIN_BITWVEC_ALIGN 16", widen<&record::VORN_JOIN_BITWVEC_ALIGN>},
    {"self-check flag", [](entry_call &call) { call.ctx.vorn_ctx_flags |= VORN_CTX_SELF_CHECK; },
     [](const entry &which) { return !has_self_check(which); }},
    {"self-check", check_itself<>, has_self_check, use_plain_source},
    {"self-check, all differs", check_itself<1, 0x100, 1, 1>, has_self_check, check_itself<>},
    {"self-check of 33 rows, other padding and alignment",
     [](entry_call &call) {
       check_itself(call);
       (call.which.compares_range ? call.src : call.res).vorn_cv_nrows = 33;
       vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN = 32;
       vorn_global_ctx.vorn_global_ctx_pad_output = 48;
       call.env.scratch_fill = 0xff;
     },
     shows_self_check, check_itself<>},
    {"self-check, one row fewer", check_itself<-1>, shows_self_check, check_itself<>},
    {"self-check, other bits", check_itself<0, 0x100>, shows_self_check, check_itself<>},
    {"self-check, earlier first row", check_itself<0, 0, -1>, shows_range, check_itself<>},
    {"self-check, later first row", check_itself<0, 0, 1>, shows_range, check_itself<>},
    {"self-check, earlier last row", check_itself<0, 0, 0, -1>, shows_range, check_itself<>},
    {"self-check, later last row", check_itself<0, 0, 0, 1>, shows_range, check_itself<>},
    {"self-check, kernel in force refuses",
     [](entry_call &call) {
       check_itself(call);
       script.generic_first = false;
       script.code = VORN_RESULT_REFUSED;
     },
     shows_self_check, check_itself<>},
    {"self-check, generic kernel refuses", check_refusal<VORN_RESULT_DONE>, shows_self_check, check_itself<>},
    {"self-check, both kernels refuse", check_refusal<VORN_RESULT_REFUSED>, shows_self_check,
     check_refusal<VORN_RESULT_DONE>},
    {"empty slot", [](entry_call &call) { call.which.empty_slot(call); },
     [](const entry &which) { return which.empty_slot != nullptr; }}};

lines transcript_of(const entry &which, step change) {
  entry_call call(which);
  standard(call);
  change(call);
  return call.transcript();
}

// Versions of one event have the same kind: the same service and, of lines and reports, the same text.
std::string kind_of(std::string event) {
  while (event.starts_with("clock, ") || event.starts_with("gate "))
    event.erase(0, event.find(", ") + 2);
  const size_t text = event.find('"');
  return event.substr(0, text != std::string::npos ? event.find('"', text + 1) : event.find(' '));
}

// The events of one transcript alone, in their order.
lines without(lines events, const lines &others) {
  for (const std::string &other : others)
    if (const auto at = std::ranges::find(events, other); at != events.end())
      events.erase(at);
  return events;
}

lines golden(const entry &which) {
  lines text = transcript_of(which, unchanged);
  for (const auto &[name, change, is_for, basis] : scenarios) {
    if (!is_for(which))
      continue;
    const lines before = transcript_of(which, basis), events = transcript_of(which, change);
    const lines added = without(events, before);
    lines taken = without(before, events);
    if (added.empty() && taken.empty())
      continue;
    lines differences;
    const bool alone = taken.size() == before.size();
    if (!alone)
      for (const std::string &event : taken)
        if (std::ranges::find(added, kind_of(event), kind_of) == added.end())
          differences.push_back("- " + event);
    for (const std::string &event : added)
      differences.push_back((alone ? "only " : "+ ") + event);
    if (differences.size() == 1) {
      text.push_back(std::string(name) + ": " + differences[0]);
      continue;
    }
    text.push_back(std::string(name) + ":");
    text.insert(text.end(), differences.begin(), differences.end());
  }
  return text;
}

class entry_test : public testing::TestWithParam<entry> {};

// Everything that a call may change.
std::string contents(const entry_call &call) {
  return std::string(bytes_of(static_cast<const call_records &>(call)))
      .append(bytes_of(call.out))
      .append(bytes_of(call.vals));
}

} // namespace

TEST_P(entry_test, leaves_its_golden_transcript) {
  expect_golden(std::string(VORN_GOLDEN) + "/" + GetParam().name + ".txt", golden(GetParam()));
}

// A reporter that unwinds ends the call at its first report, which is the same as among all.  Before the kernel nothing
// has changed and nothing is traced; after it the call is counted.
TEST_P(entry_test, ends_when_the_reporter_unwinds) {
  const entry &which = GetParam();
  const auto message = [](const std::string &event) {
    return event.substr(std::min(event.size(), event.find("report")));
  };
  lines all = transcript_of(which, break_all);
  if (!which.needs_aux)
    std::ranges::copy(transcript_of(which, [](entry_call &call) { call.passed_aux = nullptr; }),
                      std::back_inserter(all));
  std::ranges::transform(all, all.begin(), message);
  for (const step wrong : which.wrong) {
    entry_call call(which);
    standard(call);
    wrong(call);
    call.env.on_error = vorn_host::error_policy::unwind;
    const std::string before = contents(call);
    const lines events = call.transcript();
    const std::string report = message(events[events.size() - 2]);
    EXPECT_TRUE(!report.empty() && std::ranges::find(all, report) != all.end()) << report;
    EXPECT_EQ(call.env.errors().size(), 1U);
    EXPECT_EQ(call.env.errors()[0].error_arg, call.env.host_env_error_arg);
    if (which.reports_refusal && wrong == which.wrong.back()) {
      EXPECT_NE(call.stats, std::vector<uint64_t>(80));
    } else {
      EXPECT_EQ(events.size(), 2U) << "the report and the end";
      EXPECT_EQ(contents(call), before) << report;
    }
  }
}

// Without a control block the lines are the same and the call is not timed; without a trace word there are none.
TEST_P(entry_test, writes_the_same_lines_without_a_control_block_and_none_unarmed) {
  lines expected = transcript_of(GetParam(), unchanged);
  std::erase_if(expected, [](const std::string &event) {
    return event.find(" in entry/") != std::string::npos || event.find("trace 4 ") != std::string::npos;
  });
  for (std::string &event : expected)
    if (event.starts_with("clock, "))
      event.erase(0, 7);
  if (const size_t mean = expected.back().find(", mean"); mean != std::string::npos)
    expected.back().erase(mean);
  EXPECT_EQ(transcript_of(GetParam(), [](entry_call &call) { call.env.detach_trace(); }), expected);
  std::erase_if(expected, [](const std::string &event) { return event.starts_with("trace "); });
  EXPECT_EQ(transcript_of(GetParam(), [](entry_call &call) { call.ctx.vorn_ctx_trace = 0; }), expected);
}

// By all of it, and by nothing else.
TEST_P(entry_test, dispatches_by_the_low_byte_of_the_type) {
  for (unsigned bit = 0; bit < 64 && GetParam().by_type; ++bit) {
    entry_call call(GetParam());
    for (vorn_enc_ctx *enc : {&call.enc, &call.lo_enc, &call.hi_enc})
      enc->vorn_enc_ctx_type ^= uint64_t{1} << bit;
    call.run();
    EXPECT_EQ(script.strays, bit < 8 ? 1U : 0U) << bit;
    EXPECT_EQ(call.messages(), lines{});
  }
}

INSTANTIATE_TEST_SUITE_P(each, entry_test, testing::ValuesIn(entries()),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace vorn_test
