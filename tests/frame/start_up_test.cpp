// Start-up: which library is chosen, how it is loaded and checked, the hooks of the record, queries.  The host is asked
// through services of the test's own, which hand out a record that the test has filled.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstring>

#include "tests/support/implementation.hpp"

namespace {

using lines = std::vector<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;

struct capability_answer {
  uint32_t result;
  std::array<uint32_t, 3> words;
};
constexpr capability_answer present = {0, {0, 0xdead, 1}}, absent = {0, {1, 0, 1}};
constexpr std::pair<uint32_t, const char *> libraries[] = {
    {269, "svxlavx51219"}, {267, "svxlavx219"}, {259, "svxlavx19"}, {258, "svxlsse4219"}};

// What the host answers, and what it was asked.
struct scripted_host {
  std::map<uint32_t, capability_answer> capabilities;
  uint32_t open_result = 1;
  bool opens = true;
  vorn_global_ctx_t *record = nullptr;
  lines asked;
};
scripted_host host;

// What the hooks below were called with.
std::vector<std::vector<uint64_t>> hook_calls;

uint64_t number(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

template <unsigned implementation> // 0: the generic one
void init_hook(vorn_ctx *ctx) {
  hook_calls.push_back({implementation, number(ctx)});
}
template <unsigned implementation>
uint32_t level_hook(uint32_t level, void *a, void *b) {
  hook_calls.push_back({implementation, level, number(a), number(b)});
  return 77;
}
uint32_t thread_hook(void *a, void *b, void *c, void *d) {
  hook_calls.push_back({number(a), number(b), number(c), number(d)});
  return 78;
}

constexpr size_t first_pad_word = offsetof(vorn_global_ctx_t, VORN_MAX_ALIGN);
using pad_words = std::array<uint64_t, 10>;

template <class Record>
auto *pads_of(Record &record) {
  using byte = std::conditional_t<std::is_const_v<Record>, const char, char>;
  return reinterpret_cast<byte *>(&record) + first_pad_word;
}

class start_up_test : public testing::Test {
protected:
  void SetUp() override {
    env.record = true;
    restart();
  }
  void TearDown() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  // As a fresh process would be, with a good library to load.  The padding bytes of its record can be told.
  void restart(vorn_host::error_policy policy = vorn_host::error_policy::resume) {
    vorn_global_ctx = vorn_test::initial_global_ctx;
    vorn_global_ctx.vorn_global_ctx_init_sharedlib = init_hook<0>;
    vorn_global_ctx.vorn_global_ctx_set_trace_level = level_hook<0>;
    vorn_global_ctx.vorn_global_ctx_status = 9;
    initial = vorn_global_ctx;
    std::memset(&record, 0, sizeof record);
    record.vorn_global_ctx_magic = 0xb9018218;
    record.vorn_global_ctx_version = "19.1-1";
    record.vorn_global_ctx_status = 3;
    record.vorn_global_ctx_flags = 0x1f;
    record.vorn_global_ctx_lib_name = "svxlother";
    constexpr pad_words words = {64, 8, 16, 32, 128, 256, 512, 1024, 2048, 0xeeeeeeee00001000};
    std::memcpy(pads_of(record), words.data(), sizeof words);
    record.vorn_global_ctx_dispatch = kernels;
    record.vorn_global_ctx_init_sharedlib = init_hook<1>;
    record.vorn_global_ctx_set_trace_level = level_hook<1>;
    host = {.capabilities = {}, .record = &record, .asked = {}};
    for (const auto &[code, name] : libraries)
      host.capabilities[code] = absent;
    hook_calls.clear();
    env.clear_calls();
    env.clear_errors();
    env.on_error = policy;
  }

  bool in_force(const vorn_global_ctx_t &which) const {
    return std::memcmp(&vorn_global_ctx, &which, sizeof which) == 0;
  }

  vorn_host::environment env;
  vorn_ctx ctx = env.context();
  vorn_global_ctx_t record, initial;
  const vorn_kernel kernels[1] = {};
};

} // namespace

uint32_t cpucap_query(uint32_t code, void *answer) {
  host.asked.push_back(std::to_string(code));
  std::ranges::copy(host.capabilities[code].words, static_cast<uint32_t *>(answer));
  return host.capabilities[code].result;
}

uint32_t svorn_dlopen(vorn_ctx *, const char *name, void **handle) {
  host.asked.emplace_back(name);
  *handle = host.opens ? &host : nullptr;
  return host.open_result;
}

void *svorn_dlsym(vorn_ctx *, void *handle, const char *symbol) {
  EXPECT_EQ(handle, &host);
  host.asked.emplace_back(symbol);
  return host.record;
}

TEST_F(start_up_test, other_events_do_nothing) {
  host.capabilities[269] = present;
  ctx.vorn_ctx_init_flags = 1;
  ctx.vorn_ctx_lib_name = "svxlother";
  ctx.vorn_ctx_trace_level = 5;
  for (const uint32_t event : {0U, 1U, 2U, 4U, 0x103U, UINT32_MAX})
    vorn_nfy(event, &ctx);
  EXPECT_TRUE(in_force(initial));
  EXPECT_THAT(hook_calls, IsEmpty());
  EXPECT_THAT(host.asked, IsEmpty());
}

TEST_F(start_up_test, unasked_stays_generic_and_looks_at_nothing) {
  host.capabilities[269] = present;
  ctx.vorn_ctx_init_flags = 0xfffffffe;
  ctx.vorn_ctx_lib_name = "svxlother";
  ctx.vorn_ctx_flags = 0x88; // the report and the maximum pads belong to the load
  vorn_nfy(3, &ctx);
  initial.vorn_global_ctx_status = 2;
  EXPECT_TRUE(in_force(initial));
  EXPECT_THAT(hook_calls, ElementsAre(ElementsAre(0, number(&ctx))));
  EXPECT_THAT(host.asked, IsEmpty());
  EXPECT_THAT(env.transcript(), IsEmpty());
}

// The first capability that is there chooses; a name replaces the choice, but the processor is asked all the same.
TEST_F(start_up_test, the_best_library_or_the_named_one_is_loaded) {
  for (const char *named : {static_cast<const char *>(nullptr), "svxlother"})
    for (size_t best = 0; best <= std::size(libraries); ++best) {
      restart();
      lines expected;
      for (size_t i = 0; i < std::size(libraries); ++i) {
        host.capabilities[libraries[i].first] = i < best ? absent : present;
        if (i <= best)
          expected.push_back(std::to_string(libraries[i].first));
      }
      const char *chosen = named != nullptr ? named : best < std::size(libraries) ? libraries[best].second : nullptr;
      if (chosen != nullptr) {
        record.vorn_global_ctx_lib_name = chosen;
        expected.insert(expected.end(), {chosen, "vorn_global_specialized_ctx"});
      }
      ctx.vorn_ctx_init_flags = named != nullptr ? 0xffffffff : 1;
      ctx.vorn_ctx_lib_name = named;
      vorn_nfy(3, &ctx);
      EXPECT_EQ(host.asked, expected);
      initial.vorn_global_ctx_status = 2;
      EXPECT_TRUE(in_force(chosen != nullptr ? record : initial));
      EXPECT_THAT(hook_calls, ElementsAre(ElementsAre(chosen != nullptr, number(&ctx))));
      EXPECT_THAT(env.transcript(), IsEmpty());
    }
}

TEST_F(start_up_test, a_capability_is_present_when_result_and_both_words_say_so) {
  ctx.vorn_ctx_init_flags = 1;
  for (const capability_answer &answer : std::initializer_list<capability_answer>{
           {1, {0, 1, 1}}, {0, {1, 1, 1}}, {0, {0, 1, 0}}, {0, {0, 1, 2}}, {0, {0x100, 0, 1}}, {0x100, {0, 0, 1}}}) {
    restart();
    host.capabilities[267] = answer;
    vorn_nfy(3, &ctx);
    EXPECT_THAT(host.asked, ElementsAre("269", "267", "259", "258"))
        << answer.result << ' ' << answer.words[0] << ' ' << answer.words[2];
  }
}

TEST_F(start_up_test, trace_level_goes_to_the_hook_of_the_implementation_in_force) {
  for (const uint32_t implementation : {0U, 1U}) {
    restart();
    ctx.vorn_ctx_init_flags = implementation;
    ctx.vorn_ctx_lib_name = "svxlother";
    ctx.vorn_ctx_trace_level = 0x80000005;
    vorn_nfy(3, &ctx);
    EXPECT_THAT(hook_calls,
                ElementsAre(ElementsAre(implementation, number(&ctx)), ElementsAre(implementation, 0x80000005, 0, 0)));
    hook_calls.clear();
    vorn_init_global_ctx(&ctx); // the part of it that does not look at the level
    ctx.vorn_ctx_trace_level = 0;
    vorn_nfy(3, &ctx);
    EXPECT_EQ(hook_calls, (std::vector<std::vector<uint64_t>>(2, {implementation, number(&ctx)})));
  }
  hook_calls.clear();
  uint32_t level = 0x90000001;
  char a, c;
  EXPECT_EQ(vorn_set_trace_level_callback(&a, &level, &c), 77U);
  EXPECT_THAT(hook_calls, ElementsAre(ElementsAre(1, 0x90000001, number(&level), number(&c))));
}

TEST_F(start_up_test, thread_functions_use_their_slots) {
  char a, b, c, d;
  EXPECT_EQ(vorn_thread_ctx_init(&a, &b, &c, &d), 0U);
  EXPECT_EQ(vorn_thread_ctx_fini(&a, &b, &c, &d), 0U);
  for (const bool init : {true, false}) {
    hook_calls.clear();
    vorn_global_ctx.vorn_thread_ctx_init_dydi = init ? thread_hook : nullptr;
    vorn_global_ctx.vorn_thread_ctx_fini_dydi = init ? nullptr : thread_hook;
    EXPECT_EQ(vorn_thread_ctx_init(&a, &b, &c, &d), init ? 78U : 10U);
    EXPECT_EQ(vorn_thread_ctx_fini(&a, &b, &c, &d), init ? 10U : 78U);
    EXPECT_THAT(hook_calls, ElementsAre(ElementsAre(number(&a), number(&b), number(&c), number(&d))));
  }
}

TEST_F(start_up_test, queries_return_their_own_bit) {
  const std::pair<uint32_t (*)(), uint32_t> queries[] = {{vorn_is_qpak_packed_dict_required, 0x1},
                                                         {vorn_is_byte_aligned_widths_required, 0x2},
                                                         {vorn_is_byte_aligned_widths_required_over_2bytes, 0x4},
                                                         {vorn_is_decode_bitwvec_required, 0x8},
                                                         {vorn_is_qpak_datastream_allowed, 0x10}};
  for (const auto &[query, bit] : queries) {
    vorn_global_ctx.vorn_global_ctx_flags = UINT32_MAX;
    EXPECT_EQ(query(), bit);
    vorn_global_ctx.vorn_global_ctx_flags = ~bit;
    EXPECT_EQ(query(), 0U) << bit;
  }
}

// The record before any load.
TEST_F(start_up_test, begins_with_the_generic_record) {
  vorn_global_ctx_t expected = vorn_test::initial_global_ctx;
  expected.vorn_global_ctx_magic = 0xb9018218;
  expected.vorn_global_ctx_status = 2;
  expected.vorn_global_ctx_flags = 0;
  constexpr pad_words words = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  std::memcpy(pads_of(expected), words.data(), sizeof words);
  expected.vorn_global_ctx_dispatch = vorn_dispatch_table;
  vorn_global_ctx = vorn_test::initial_global_ctx;
  EXPECT_TRUE(in_force(expected));
  EXPECT_STREQ(expected.vorn_global_ctx_version, "19.1-1");
  EXPECT_STREQ(expected.vorn_global_ctx_lib_name, "generic");

  // Every slot is a function.
  constexpr size_t slots = 2 + 17 + 17 + 14 + 2;
  uintptr_t functions[slots];
  static_assert(offsetof(vorn_global_ctx_t, vorn_global_ctx_init_sharedlib) + sizeof functions == sizeof expected);
  std::memcpy(functions, &expected.vorn_global_ctx_init_sharedlib, sizeof functions);
  EXPECT_EQ(std::ranges::count(functions, uintptr_t{0}), 0);
  expected.vorn_global_ctx_init_sharedlib(&ctx);
  EXPECT_EQ(expected.vorn_global_ctx_set_trace_level(5, nullptr, nullptr), 0U);
  vorn_enc_ctx enc = {};
  enc.vorn_enc_ctx_num_type = VORN_NUM_DSB;
  uint64_t number = 5;
  vorn_cv cv = {};
  cv.vorn_cv_vals = &number;
  cv.vorn_cv_encoding_context = &enc;
  vorn_aux aux = {};
  aux.vorn_aux_flags = VORN_AUX_SUM;
  EXPECT_EQ(expected.vorn_groupkey_dydi(&cv, nullptr, &cv, 1, &cv, &aux), 2U);
  EXPECT_EQ(expected.vorn_gby_sum_dydi(&cv, &cv, nullptr, &aux), 0U);
  EXPECT_EQ(expected.vorn_convert_dydi(&cv, &cv, &aux), 0U);
  EXPECT_EQ(expected.vorn_spatial_pip_dydi(&cv, &cv, &cv, &cv, &cv, &aux), 0U);
}

namespace {

struct fault {
  void (*into)(vorn_global_ctx_t &record);
  std::string report;
  bool after_the_copy = false;
};

// In the order of the checks.
const fault faults[] = {
    {[](vorn_global_ctx_t &r) { r.vorn_global_ctx_version = "19.1-10"; },
     R"(host_raise_internal_error "Unexpected VXL library version" "19.1-10" "19.1-1")"},
    {[](vorn_global_ctx_t &r) { r.vorn_global_ctx_magic = 0x1b9018218; }, // told by its low half
     R"(host_raise_internal_error "VXL Library on-load check failed" -1191083496 -1191083496)"},
    {[](vorn_global_ctx_t &r) { r.vorn_global_ctx_lib_name = "svxlothe"; },
     R"(host_soft_internal_error "Wrong library name in loaded VXL" "svxlother" "svxlothe")"},
    {[](vorn_global_ctx_t &r) { r.vorn_global_ctx_status = 4; },
     R"(host_raise_internal_error "Loaded VXL context status is not SPECIALIZED")"},
    {[](vorn_global_ctx_t &r) { r.VORN_MAX_ALIGN = 3; },
     R"(host_raise_internal_error "vorn_load_global_ctx: VORN_MAX_ALIGN is not power of 2")", true},
    {[](vorn_global_ctx_t &r) { r.VORN_DATASTREAM_ALIGN = 6; },
     R"(host_raise_internal_error "vorn_load_global_ctx: VORN_DATASTREAM_ALIGN is not power of 2")", true},
    {[](vorn_global_ctx_t &r) { r.VORN_BITWVEC_ALIGN = 12; },
     R"(host_raise_internal_error "vorn_load_global_ctx: VORN_BITWVEC_ALIGN is not power of 2")", true},
    {[](vorn_global_ctx_t &r) { r.VORN_OUTPUT_BITWVEC_ALIGN = 0x100000001; },
     R"(host_raise_internal_error "vorn_load_global_ctx: VORN_OUTPUT_BITWVEC_ALIGN is not power of 2")", true},
    {[](vorn_global_ctx_t &r) { r.VORN_JOIN_BITWVEC_ALIGN = UINT64_MAX; },
     R"(host_raise_internal_error "vorn_load_global_ctx: VORN_JOIN_BITWVEC_ALIGN is not power of 2")", true}};

} // namespace

// A reporter that comes back lets the load run on; one that unwinds leaves the record as it was, or loaded when the
// fault is one of the alignments, which are looked at after the copy.  A soft report returns under either.
TEST_F(start_up_test, a_load_reports_every_fault_in_its_order) {
  std::vector<std::vector<fault>> cases = {{}, {std::begin(faults), std::end(faults)}};
  for (const fault &alone : faults)
    cases.push_back({alone});
  for (const auto policy : {vorn_host::error_policy::resume, vorn_host::error_policy::unwind})
    for (const auto &broken : cases) {
      restart(policy);
      lines reports;
      for (const fault &wrong : broken) {
        wrong.into(record);
        reports.push_back(wrong.report);
      }
      const bool unwinds = policy == vorn_host::error_policy::unwind && !broken.empty() &&
                           (broken.size() > 1 || !reports[0].starts_with("host_soft"));
      if (unwinds) {
        reports.resize(1);
        EXPECT_THROW(vorn_load_global_ctx(&ctx, "svxlother"), vorn_host::internal_error);
      } else {
        vorn_load_global_ctx(&ctx, "svxlother");
      }
      EXPECT_EQ(env.transcript(), reports);
      EXPECT_TRUE(in_force(unwinds && !broken[0].after_the_copy ? initial : record));
    }
  for (const uint64_t magic : {0U, 0xb9018219U}) {
    restart();
    record.vorn_global_ctx_magic = magic;
    vorn_load_global_ctx(&ctx, "svxlother");
    ASSERT_EQ(env.errors().size(), 1U);
    EXPECT_EQ(env.errors()[0].values, (std::vector<vorn_host::value>{static_cast<int32_t>(magic), -1191083496}));
  }
  for (const uint32_t status : {0U, 2U}) {
    restart();
    record.vorn_global_ctx_status = status;
    vorn_load_global_ctx(&ctx, "svxlother");
    EXPECT_EQ(env.errors().size(), 1U);
  }
}

TEST_F(start_up_test, an_alignment_of_0_or_1_or_the_top_bit_passes) {
  for (const pad_words &words : {pad_words{0, 0, 0, 0, 0}, {1, 2, 4, uint64_t{1} << 63, uint64_t{1} << 32}}) {
    restart();
    std::memcpy(pads_of(record), words.data(), sizeof words);
    vorn_load_global_ctx(&ctx, "svxlother");
    EXPECT_THAT(env.transcript(), IsEmpty());
    EXPECT_TRUE(in_force(record));
  }
}

// No other library is tried, but the hook of start-up runs.
TEST_F(start_up_test, nothing_to_load_ends_a_load_with_nothing_changed) {
  for (const auto policy : {vorn_host::error_policy::resume, vorn_host::error_policy::unwind})
    for (unsigned missing = 0; missing < 3; ++missing) {
      restart(policy);
      if (missing == 0)
        host.open_result = 0;
      else if (missing == 1)
        host.opens = false;
      else
        host.record = nullptr;
      ctx.vorn_ctx_flags = 0x88;
      ctx.vorn_ctx_init_flags = 1;
      ctx.vorn_ctx_lib_name = "svxlother";
      if (policy == vorn_host::error_policy::resume)
        vorn_nfy(3, &ctx);
      else
        EXPECT_THROW(vorn_nfy(3, &ctx), vorn_host::internal_error);
      EXPECT_THAT(
          env.transcript(),
          ElementsAre(missing < 2
                          ? "host_raise_internal_error \"vorn_load_global_ctx: library load failed\" \"svxlother\""
                          : "host_raise_internal_error \"vorn_load_global_ctx: Cannot load vorn_global_ctx\""));
      EXPECT_EQ(env.errors().at(0).error_arg, env.host_env_error_arg);
      EXPECT_TRUE(in_force(initial));
      EXPECT_EQ(hook_calls.size(), policy == vorn_host::error_policy::resume ? 1U : 0U);
    }
}

TEST_F(start_up_test, maximum_pads_replace_ten_words_before_they_are_checked_and_nothing_else) {
  ctx.vorn_ctx_flags = 0x80;
  record.VORN_BITWVEC_ALIGN = 3;
  vorn_load_global_ctx(&ctx, "svxlother");
  EXPECT_THAT(env.transcript(), IsEmpty());
  constexpr pad_words maximum = {64, 8, 8, 64, 64, 64, 64, 64, 64, 16}; // the padding of the last word included
  std::memcpy(pads_of(record), maximum.data(), sizeof maximum);
  EXPECT_TRUE(in_force(record));
}

TEST_F(start_up_test, prints_a_report_of_the_load_on_demand) {
  char first_line[200];
  std::snprintf(first_line, sizeof first_line, "vorn_load_global_ctx dispatch_table: %p status: 3 lib: svxlother\n",
                static_cast<const void *>(kernels));
  const std::pair<uint8_t, std::string> expected[] = {
      {0x08, first_line + std::string("align max: 64 datastream: 8 bv: 16 output: 32 join: -1\n"
                                      "pad output: 1024 end_cu: 4096 \n")},
      {0x88, first_line + std::string("align max: 64 datastream: 8 bv: 8 output: 64 join: 64\n"
                                      "pad output: 64 end_cu: 16 \n")},
      {0x77, ""}};
  std::string printed;
  for (const auto &[flags, text] : expected) {
    restart();
    record.VORN_JOIN_BITWVEC_ALIGN = UINT64_MAX;
    ctx.vorn_ctx_flags = flags;
    vorn_load_global_ctx(&ctx, "svxlother");
    EXPECT_EQ(in_force(record), flags != 0x88);
    printed += text;
    EXPECT_EQ(env.printed(), printed);
  }
}
