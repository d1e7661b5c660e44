// Services of an environment: errors, traces, memory, and what is recorded of them.
#include "host/stand_in.hpp"

#include <gtest/gtest.h>
#include <set>
#include <thread>

using namespace vorn_host;
using lines = std::vector<std::string>;

namespace {

constexpr uint32_t component = 0x12050004;
constexpr uint32_t tag_int = HOST_TAG_INT, tag_double = HOST_TAG_DOUBLE, tag_pointer = HOST_TAG_POINTER,
                   tag_text = HOST_TAG_TEXT;

void raise_every_tag(environment &env) {
  void *argument = env.host_env_error_arg;
  host_raise_internal_error(static_cast<host_env *>(&env), argument, "f: bad \"x\"", 5u, tag_int, -7, tag_double, 0.1,
                            tag_pointer, argument, tag_text, "a\nb", tag_text, static_cast<const char *>(nullptr));
}

} // namespace

// Reports keep message, values and argument.  A hard report unwinds or returns, as the policy says; a soft report
// returns.
TEST(Errors, AreKeptAndUnwindOrReturn) {
  environment env;
  EXPECT_NE(env.host_env_error_arg, nullptr);
  int argument = 0;
  env.host_env_error_arg = &argument;
  EXPECT_THROW(raise_every_tag(env), std::exception);
  EXPECT_TRUE(env.calls().empty()) << "recorded although record is off";
  env.record = true;
  env.name_pointer(&argument, "argument");
  host_soft_internal_error(static_cast<host_env *>(&env), env.host_env_error_arg, "soft", 0u);
  env.on_error = error_policy::resume;
  raise_every_tag(env);
  EXPECT_EQ(env.transcript(), (lines{R"(host_soft_internal_error "soft")",
                                     R"~(host_raise_internal_error "f: bad \"x\"" -7 0.1 argument "a\nb" "(null)")~"}));
  const auto errors = env.errors();
  ASSERT_EQ(errors.size(), 3u);
  EXPECT_EQ(errors[1].message, "soft");
  for (const auto &error : {errors[0], errors[2]}) {
    EXPECT_EQ(error.message, "f: bad \"x\"");
    EXPECT_EQ(error.values, (std::vector<value>{int32_t{-7}, 0.1, static_cast<const void *>(&argument),
                                                std::string("a\nb"), std::string("(null)")}));
    EXPECT_STREQ(error.what(), R"~(f: bad "x": -7, 0.1, @1, "a\nb", "(null)")~");
  }
  for (const auto &error : errors)
    EXPECT_EQ(error.error_arg, &argument);
}

TEST(Trace, DefaultAnswersFollowTheLevelOfTheWord) {
  environment env;
  host_trace_ctl *ctl = env.host_env_trace;
  ASSERT_EQ(ctl, &env.trace_control());
  EXPECT_EQ(ctl->trace_on, 0u);
  EXPECT_EQ(ctl->trace_ctl, 0u);
  EXPECT_EQ(host_trace_eval_flags(ctl, component, 3, 0x400, 0x103), 0x402u);
  EXPECT_EQ(host_trace_eval_flags(ctl, component, 4, 0x400, 0x103), 0x400u);
  EXPECT_EQ(host_trace_eval_flags(ctl, component, 0, 0x400, 0), 0x400u);
  EXPECT_EQ(host_trace_eval_flags(nullptr, component, 3, 0x400, 3), 0x404u) << "what is written without a block";
  EXPECT_EQ(host_trace_eval_event(ctl, component, 2, 0x400, 2), 0x402u);
  uint64_t word = 0;
  EXPECT_NE(host_trace_check_event(ctl, ctl->trace_events, 1, component, &word, "e", "f", 1, 0), 0u);
  EXPECT_EQ(host_trace_eval_event(ctl, component, 4, 0x400, word), 0x402u);
  EXPECT_NE(host_trace_eval_filters(ctl, &env, component, 0, 2, 0x402, 1, "e", "f", 1), 0u);
  env.detach_trace();
  EXPECT_EQ(env.host_env_trace, nullptr);
}

TEST(Trace, LinesArePrintedWithTheirValues) {
  environment env;
  char *text = nullptr;
  size_t length = 0;
  env.print_trace = open_memstream(&text, &length);
  env.record = true;
  host_trace_record(env.host_env_trace, component, 0, 0x402, "e", 1, "f.cpp:1\x01Runtime %.0f us (%5.1f%%)\n", 2u,
                    tag_double, 12.4, tag_double, 0.25);
  host_trace_write(static_cast<host_env *>(&env), "%-4s|%lld|%p|%d|%d\n", 4u, tag_text, "ab", tag_int, -1, tag_pointer,
                   nullptr, tag_text, "no number");
  std::fclose(env.print_trace);
  EXPECT_STREQ(text, "Runtime 12 us (  0.2%)\nab  |-1|(nil)|\"no number\"|<missing>\n");
  std::free(text);
  EXPECT_EQ(env.transcript(true),
            (lines{R"(host_trace_record "Runtime %.0f us (%5.1f%%)\n" "e" 0x12050004 0x402 12.4 0.25 at f.cpp:1)",
                   R"(host_trace_write "%-4s|%lld|%p|%d|%d\n" "ab" -1 null "no number")"}));
}

TEST(Transcript, PointersAreNamedOrNumberedAndCallsWithoutEnvironmentGoToTheAdoptingOne) {
  environment first, second;
  first.record = second.record = true;
  uint64_t a = 1, b = 1;
  vornt_compare_res(0, &a, &a, 64);
  first.adopt_thread();
  host_trace_eval_flags(nullptr, component, 2, 0x400, 1);
  first.name_pointer(&b, "res.bv");
  vornt_compare_res(0, &b, &a, 64);
  vornt_compare_res(0, nullptr, &a, 0);
  EXPECT_EQ(first.transcript(), (lines{"host_trace_eval_flags 0x12050004 2 0x400 0x1",
                                       "vornt_compare_res res.bv @1 64 1", "vornt_compare_res null @1 0 1"}));
  EXPECT_EQ(second.transcript(), (lines{"vornt_compare_res @1 @1 64 1"}));
  std::thread([&] { vornt_compare_res(0, &a, &b, 1); }).join();
  first.clear_calls();
  { environment third; }
  vornt_compare_res(0, &a, &b, 1); // adopted by one that has gone
  EXPECT_TRUE(first.calls().empty());
}

TEST(Context, AllocationsAreAlignedAndReadableBehind) {
  environment env;
  env.record = true;
  vorn_ctx ctx = env.context();
  EXPECT_EQ(ctx.vorn_ctx_decompress, nullptr);
  for (const uint64_t size : {uint64_t{0}, uint64_t{1}, uint64_t{1000}}) {
    auto *memory = static_cast<uint8_t *>(ctx.vorn_ctx_alloc(ctx.vorn_ctx_env, nullptr, size, "k: vec1", 128, 8, 5));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % 128, 0u);
    for (uint64_t byte = size; byte < size + 64; ++byte)
      EXPECT_EQ(memory[byte], 0);
  }
  EXPECT_EQ(env.transcript()[2], R"(vorn_ctx_alloc "k: vec1" null 0x3e8 128 8 0x5)");
}

TEST(Context, PrintsToStandardOutputWhereItIsNotCollected) {
  environment env;
  env.capture_print = false;
  testing::internal::CaptureStdout();
  env.host_env_fns->host_env_print(&env, "%d\n", 2);
  std::fflush(stdout);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "2\n");
  EXPECT_EQ(env.printed(), "");
}

TEST(Scratch, IsAlignedPaddedFilledAndCounted) {
  environment env;
  env.scratch_fill = 0xa5;
  vorn_ctx ctx = env.context();
  std::set<void *> tokens;
  std::vector<std::pair<void *, void *>> blocks;
  for (uint64_t align = 0; align <= 65536; align = align ? 2 * align : 1) {
    void *token = nullptr;
    auto *memory =
        static_cast<uint8_t *>(ctx.vorn_ctx_stack_alloc(ctx.vorn_ctx_env, 13, "name", align, align + 3, &token));
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % std::max<uint64_t>(align, 8), 0u) << align;
    for (uint64_t byte = 0; byte < 13 + align + 3; ++byte)
      ASSERT_EQ(memory[byte], 0xa5);
    tokens.insert(token);
    blocks.emplace_back(memory, token);
  }
  EXPECT_EQ(tokens.size(), blocks.size());
  EXPECT_EQ(env.outstanding_scratch(), blocks.size());

  EXPECT_THROW(vornu_stack_free_align(ctx.vorn_ctx_env, blocks[0].first, blocks[1].second), internal_error);
  EXPECT_EQ(env.outstanding_scratch(), blocks.size()) << "freed under a foreign token";
  for (const auto &[memory, token] : blocks)
    ctx.vorn_ctx_stack_free(ctx.vorn_ctx_env, memory, token);
  EXPECT_EQ(env.outstanding_scratch(), 0u);
  EXPECT_THROW(vornu_stack_free_align(ctx.vorn_ctx_env, blocks[0].first, blocks[0].second), internal_error)
      << "freed twice";
}

TEST(Environment, ServicesRunOnManyThreads) {
  environment env;
  env.record = true;
  env.on_error = error_policy::resume;
  vorn_ctx ctx = env.context();
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      env.adopt_thread();
      for (int round = 0; round < 200; ++round) {
        void *token;
        void *memory = vornu_stack_alloc_align(ctx.vorn_ctx_env, 64, "t", 64, 0, &token);
        host_clock_time64();
        host_raise_internal_error(ctx.vorn_ctx_env, nullptr, "m", 0u);
        vornu_stack_free_align(ctx.vorn_ctx_env, memory, token);
      }
    });
  for (std::thread &thread : threads)
    thread.join();
  EXPECT_EQ(env.calls().size(), 4u * 200 * 4);
  EXPECT_EQ(env.errors().size(), 4u * 200);
  EXPECT_EQ(env.outstanding_scratch(), 0u);
}
