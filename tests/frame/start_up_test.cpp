// Start-up: which library is chosen, the hooks of the record, thread functions and queries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/frame/module_test.hpp"

namespace {

using frame_test::scripts;
using testing::ElementsAre;
using testing::IsEmpty;

// What the hooks below were called with.
std::vector<std::vector<uint64_t>> hook_calls;

uint64_t number(const void *pointer) { return reinterpret_cast<uintptr_t>(pointer); }

void init_hook(vorn_ctx *ctx) { hook_calls.push_back({1, number(ctx)}); }
uint32_t level_hook(uint32_t level, void *, void *) {
  hook_calls.push_back({2, level});
  return 0;
}
uint32_t level_hook_with_arguments(uint32_t level, void *a, void *b) {
  hook_calls.push_back({2, level, number(a), number(b)});
  return 77;
}
uint32_t thread_hook(void *a, void *b, void *c, void *d) {
  hook_calls.push_back({3, number(a), number(b), number(c), number(d)});
  return 78;
}

class start_up_test : public frame_test::module_test {
protected:
  void SetUp() override {
    module_test::SetUp();
    hook_calls.clear();
    vorn_global_ctx.vorn_global_ctx_init_sharedlib = init_hook;
    vorn_global_ctx.vorn_global_ctx_set_trace_level = level_hook;
    vorn_global_ctx.vorn_global_ctx_status = 9;
  }
  void TearDown() override {
    for (const uint32_t code : {269U, 267U, 259U, 258U})
      vorn_host::override_capability(code, std::nullopt);
    scripts = {};
    module_test::TearDown();
  }

  // Has the processor just these capabilities?
  void capabilities(std::vector<uint32_t> present) {
    for (const uint32_t code : {269U, 267U, 259U, 258U})
      vorn_host::override_capability(code, std::ranges::find(present, code) != present.end());
  }
};

std::vector<uint64_t> initialised(const vorn_ctx &ctx) { return {1, number(&ctx)}; }

} // namespace

TEST_F(start_up_test, other_events_do_nothing) {
  capabilities({269});
  ctx.vorn_ctx_init_flags = 1;
  ctx.vorn_ctx_lib_name = "svxlother";
  ctx.vorn_ctx_trace_level = 5;
  const vorn_global_ctx_t before = vorn_global_ctx;
  for (const uint32_t event : {0U, 1U, 2U, 4U, 0x103U, UINT32_MAX})
    vorn_nfy(event, &ctx);
  EXPECT_EQ(std::memcmp(&vorn_global_ctx, &before, sizeof before), 0);
  EXPECT_THAT(hook_calls, IsEmpty());
  EXPECT_THAT(env.transcript(), IsEmpty());
}

TEST_F(start_up_test, unasked_stays_generic_and_looks_at_nothing) {
  capabilities({269, 267, 259, 258});
  ctx.vorn_ctx_init_flags = 0xfffffffe;
  ctx.vorn_ctx_lib_name = "svxlother";
  ctx.vorn_ctx_flags = 0x88; // the report and the maximum pads belong to the load
  vorn_global_ctx_t expected = vorn_global_ctx;
  expected.vorn_global_ctx_status = 2;
  vorn_nfy(3, &ctx);
  EXPECT_EQ(std::memcmp(&vorn_global_ctx, &expected, sizeof expected), 0);
  EXPECT_THAT(hook_calls, ElementsAre(initialised(ctx)));
  EXPECT_THAT(env.transcript(), IsEmpty());
}

TEST_F(start_up_test, the_first_present_capability_chooses_the_library) {
  ctx.vorn_ctx_init_flags = 1;
  capabilities({269, 267, 259, 258});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(), ElementsAre("cpucap_query 269 1", "svorn_dlopen \"svxlavx51219\" 1",
                                            "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                                            "host_trace_write \"init_sharedlib of %s\" \"svxlavx51219\""));
  restart();
  capabilities({267, 259, 258});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(), ElementsAre("cpucap_query 269 0", "cpucap_query 267 1", "svorn_dlopen \"svxlavx219\" 1",
                                            "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                                            "host_trace_write \"init_sharedlib of %s\" \"svxlavx219\""));
  restart();
  capabilities({259, 258});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(),
              ElementsAre("cpucap_query 269 0", "cpucap_query 267 0", "cpucap_query 259 1",
                          "svorn_dlopen \"svxlavx19\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                          "host_trace_write \"init_sharedlib of %s\" \"svxlavx19\""));
  restart();
  capabilities({258});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(),
              ElementsAre("cpucap_query 269 0", "cpucap_query 267 0", "cpucap_query 259 0", "cpucap_query 258 1",
                          "svorn_dlopen \"svxlsse4219\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                          "host_trace_write \"init_sharedlib of %s\" \"svxlsse4219\""));
  EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_status, 3U);
  EXPECT_THAT(env.errors(), IsEmpty());
}

TEST_F(start_up_test, without_a_capability_stays_generic) {
  ctx.vorn_ctx_init_flags = 1;
  capabilities({});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(),
              ElementsAre("cpucap_query 269 0", "cpucap_query 267 0", "cpucap_query 259 0", "cpucap_query 258 0"));
  EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_status, 2U);
  EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_dispatch, vorn_dispatch_table);
  EXPECT_THAT(hook_calls, ElementsAre(initialised(ctx)));
}

TEST_F(start_up_test, a_name_replaces_the_choice) {
  ctx.vorn_ctx_init_flags = 0xffffffff;
  ctx.vorn_ctx_lib_name = "svxlother";
  capabilities({269});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(), ElementsAre("cpucap_query 269 1", "svorn_dlopen \"svxlother\" 1",
                                            "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                                            "host_trace_write \"init_sharedlib of %s\" \"svxlother\""));
  restart();
  capabilities({});
  vorn_nfy(3, &ctx);
  EXPECT_THAT(env.transcript(),
              ElementsAre("cpucap_query 269 0", "cpucap_query 267 0", "cpucap_query 259 0", "cpucap_query 258 0",
                          "svorn_dlopen \"svxlother\" 1", "svorn_dlsym \"vorn_global_specialized_ctx\" 1",
                          "host_trace_write \"init_sharedlib of %s\" \"svxlother\""));
  EXPECT_STREQ(vorn_global_ctx.vorn_global_ctx_lib_name, "svxlother");
}

TEST_F(start_up_test, a_capability_is_present_when_result_and_both_words_say_so) {
  ctx.vorn_ctx_init_flags = 1;
  capabilities({});
  const frame_test::capability_answer absent[] = {{1, {0, 1, 1}}, {0, {1, 1, 1}},     {0, {0, 1, 0}},
                                                  {0, {0, 1, 2}}, {0, {0x100, 0, 1}}, {0x100, {0, 0, 1}}};
  for (const auto &answer : absent) {
    scripts.capabilities[267] = answer;
    vorn_nfy(3, &ctx);
    EXPECT_EQ(vorn_global_ctx.vorn_global_ctx_status, 2U)
        << answer.result << ' ' << answer.words[0] << ' ' << answer.words[2];
    restart();
  }
  scripts.capabilities[267] = {0, {0, 0xdead, 1}};
  vorn_nfy(3, &ctx);
  EXPECT_STREQ(vorn_global_ctx.vorn_global_ctx_lib_name, "svxlavx219");
}

TEST_F(start_up_test, trace_level_goes_to_the_hook_of_the_implementation_in_force) {
  ctx.vorn_ctx_trace_level = 0x80000005;
  vorn_nfy(3, &ctx);
  EXPECT_THAT(hook_calls, ElementsAre(initialised(ctx), ElementsAre(2, 0x80000005)));
  hook_calls.clear();
  ctx.vorn_ctx_trace_level = 0;
  vorn_nfy(3, &ctx);
  EXPECT_THAT(hook_calls, ElementsAre(initialised(ctx)));
  ctx.vorn_ctx_trace_level = 4;
  hook_calls.clear();
  vorn_init_global_ctx(&ctx); // the part of it that does not look at the level
  EXPECT_THAT(hook_calls, ElementsAre(initialised(ctx)));

  hook_calls.clear();
  capabilities({});
  ctx.vorn_ctx_init_flags = 1;
  ctx.vorn_ctx_lib_name = "svxlother";
  env.clear_calls();
  vorn_nfy(3, &ctx);
  EXPECT_THAT(hook_calls, IsEmpty());
  const auto transcript = env.transcript();
  ASSERT_GE(transcript.size(), 2U);
  EXPECT_EQ(transcript[transcript.size() - 2], "host_trace_write \"init_sharedlib of %s\" \"svxlother\"");
  EXPECT_EQ(transcript.back(), "host_trace_write \"set_trace_level %d\" 4");
}

TEST_F(start_up_test, trace_level_callback_hands_on_level_and_arguments) {
  vorn_global_ctx.vorn_global_ctx_set_trace_level = level_hook_with_arguments;
  uint32_t level = 0x90000001;
  char a, c;
  EXPECT_EQ(vorn_set_trace_level_callback(&a, &level, &c), 77U);
  EXPECT_THAT(hook_calls, ElementsAre(ElementsAre(2, 0x90000001, number(&level), number(&c))));
}

TEST_F(start_up_test, thread_functions_use_their_slots) {
  char a, b, c, d;
  EXPECT_EQ(vorn_thread_ctx_init(&a, &b, &c, &d), 0U);
  EXPECT_EQ(vorn_thread_ctx_fini(&a, &b, &c, &d), 0U);

  const auto handed_on = ElementsAre(ElementsAre(3, number(&a), number(&b), number(&c), number(&d)));
  vorn_global_ctx.vorn_thread_ctx_init_dydi = thread_hook;
  vorn_global_ctx.vorn_thread_ctx_fini_dydi = nullptr;
  EXPECT_EQ(vorn_thread_ctx_init(&a, &b, &c, &d), 78U);
  EXPECT_THAT(hook_calls, handed_on);
  hook_calls.clear();
  EXPECT_EQ(vorn_thread_ctx_fini(&a, &b, &c, &d), 10U);
  EXPECT_THAT(hook_calls, IsEmpty());

  vorn_global_ctx.vorn_thread_ctx_init_dydi = nullptr;
  vorn_global_ctx.vorn_thread_ctx_fini_dydi = thread_hook;
  EXPECT_EQ(vorn_thread_ctx_init(&a, &b, &c, &d), 10U);
  EXPECT_THAT(hook_calls, IsEmpty());
  EXPECT_EQ(vorn_thread_ctx_fini(&a, &b, &c, &d), 78U);
  EXPECT_THAT(hook_calls, handed_on);
}

TEST_F(start_up_test, queries_return_their_own_bit) {
  const std::pair<uint32_t (*)(), uint32_t> queries[] = {{vorn_is_qpak_packed_dict_required, 0x1},
                                                         {vorn_is_byte_aligned_widths_required, 0x2},
                                                         {vorn_is_byte_aligned_widths_required_over_2bytes, 0x4},
                                                         {vorn_is_decode_bitwvec_required, 0x8},
                                                         {vorn_is_qpak_datastream_allowed, 0x10}};
  for (const auto &[query, bit] : queries) {
    vorn_global_ctx.vorn_global_ctx_flags = 0;
    EXPECT_EQ(query(), 0U) << bit;
    vorn_global_ctx.vorn_global_ctx_flags = UINT32_MAX;
    EXPECT_EQ(query(), bit);
    vorn_global_ctx.vorn_global_ctx_flags = ~bit;
    EXPECT_EQ(query(), 0U) << bit;
  }
}

// The record before any load.
TEST(generic_record, has_the_values_of_the_generic_build) {
  const vorn_global_ctx_t &record = vorn_test::initial_global_ctx;
  EXPECT_EQ(record.vorn_global_ctx_magic, 0xb9018218U);
  EXPECT_STREQ(record.vorn_global_ctx_version, "19.1-1");
  EXPECT_EQ(record.vorn_global_ctx_status, 2U);
  EXPECT_EQ(record.vorn_global_ctx_flags, 0U);
  EXPECT_STREQ(record.vorn_global_ctx_lib_name, "generic");
  for (const uint64_t alignment : {record.VORN_MAX_ALIGN, record.VORN_DATASTREAM_ALIGN, record.VORN_BITWVEC_ALIGN,
                                   record.VORN_OUTPUT_BITWVEC_ALIGN, record.VORN_JOIN_BITWVEC_ALIGN,
                                   record.vorn_global_ctx_qpak_in_align, record.vorn_global_ctx_qpak_out_align})
    EXPECT_EQ(alignment, 8U);
  EXPECT_EQ(record.vorn_global_ctx_pad_output, 16U);
  EXPECT_EQ(record.vorn_global_ctx_pad_spare, 0U);
  EXPECT_EQ(record.vorn_global_ctx_end_cu, 16U);
  EXPECT_EQ(record.vorn_global_ctx_dispatch, vorn_dispatch_table);

  // Every slot is a function, those without an operation yet included.
  constexpr size_t slots = 2 + 17 + 17 + 14 + 2;
  uintptr_t functions[slots];
  static_assert(offsetof(vorn_global_ctx_t, vorn_global_ctx_init_sharedlib) + sizeof functions == sizeof record);
  std::memcpy(functions, &record.vorn_global_ctx_init_sharedlib, sizeof functions);
  EXPECT_EQ(std::ranges::count(functions, uintptr_t{0}), 0);
  vorn_ctx ctx = {};
  record.vorn_global_ctx_init_sharedlib(&ctx);
  EXPECT_EQ(record.vorn_global_ctx_set_trace_level(5, nullptr, nullptr), 0U);
}

TEST(generic_record, slots_without_an_operation_say_so) {
  const vorn_global_ctx_t &record = vorn_test::initial_global_ctx;
  const uint32_t answers[] = {record.vorn_bloom_dydi(nullptr, nullptr, nullptr, nullptr),
                              record.vorn_groupkey_dydi(nullptr, nullptr, nullptr, 0, nullptr, nullptr),
                              record.vorn_convert_dydi(nullptr, nullptr, nullptr),
                              record.vorn_hash_dydi(nullptr, nullptr, nullptr, nullptr, nullptr),
                              record.vorn_ht_build_dydi(nullptr, nullptr, nullptr, 0, nullptr, nullptr),
                              record.vorn_partition_dydi(nullptr, nullptr, nullptr, nullptr, nullptr),
                              record.vorn_gather_dydi(nullptr, nullptr, nullptr, nullptr)};
  for (const uint32_t answer : answers)
    EXPECT_EQ(answer, 10U);
}
