// Threads that take the batches of a table by turns: errors and figures.  Random queries have their answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "sql/request.hpp"
#include "store/encode/column_builder.hpp"
#include "store/encode/encoder.hpp"
#include "store/error.hpp"
#include "store/plan/kept_rows.hpp"
#include "store/plan/plan.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;

auto throws(const char *message) {
  return testing::Throws<error>(testing::Property(&error::what, testing::StrEq(message)));
}

TEST(worker_pool, does_all_work_or_throws_what_one_thread_meets_first) {
  for (const uint32_t count : {1U, 2U, 3U, 7U}) {
    worker_pool threads(count);
    for (const size_t items : {0U, 1U, 500U}) {
      std::vector<std::atomic<int>> done(items);
      threads.run(items, [&](size_t thread, size_t item) { done[item] += thread < count ? 1 : 100; });
      EXPECT_TRUE(std::all_of(done.begin(), done.end(), [](const auto &times) { return times == 1; }));
    }
    for (int repeated = 0; repeated < 50; ++repeated) {
      std::atomic<size_t> begun = 0;
      const auto fail_at_some = [&](size_t, size_t item) {
        ++begun;
        if (item >= 20 && item % 3 == 0)
          throw error(std::to_string(item));
      };
      EXPECT_THAT([&] { threads.run(100'000, fail_at_some); }, throws("21"));
      EXPECT_LT(begun, 100'000U) << "the work went on after an error";
    }
  }
}

// Each batch of a compressed column begins with a call of the block decoder, one of which fails.
std::atomic<int> calls_left = 0;
uint32_t decode_or_fail(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen) {
  if (--calls_left == 0)
    throw error("the block decoder failed");
  return vorn_qpak_decode(qctx, src, dst, outlen, dstlen);
}

column made_column(const char *name, uint64_t rows) {
  column out;
  out.name = name;
  out.type = {value_kind::real, 8};
  code_builder<int64_t> builder(name);
  for (uint64_t row = 0; row < rows; ++row)
    builder.append(builder.row_of(real_key(static_cast<double>(row * 0x9e3779b97f4a7c15 % 199) / 7)));
  builder.finish(out, encoding::dict);
  return out;
}

class threads_test : public testing::Test {
protected:
  threads_test() {
    vorn_test::put_in_force(vorn_test::implementations[0], env);
    ctx = env.context();
    ctx.vorn_ctx_decompress = decode_or_fail;
    second.emplace("k", made_column("k", 99));
    compress(x);
    const auto sum_of = [&](const char *added) { return parse_aggregate(function::sum, added, names); };
    questions = {{{{}, {}, {}, true, {{}}, {}, {}}, false},
                 {{{}, {}, {}, true, {sum_of("x")}, {}, {}}, false},
                 {{{}, {}, {"x"}, true, {{}, sum_of("x * x")}, {}, {}}, false},
                 {{{}, {}, {"k"}, true, {sum_of("x")}, {}, {}}, true},
                 {{{}, {}, {"k", "x"}, false, {}, {{"x", true}}, 9000}, true}};
    questions[0].asked.where = parse_condition("x > 5 and x < 20", names);
  }
  ~threads_test() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  struct question {
    query_parts asked;
    bool is_joined = false;
  };
  kept_rows answer(const question &q, const execution &on) {
    const plan_tables from{first, q.is_joined ? &second : nullptr, {"x", "k"}};
    for (const batch &b : x.batches)
      b.decompressed = nullptr;
    kept_rows out(q.asked.columns.size() + q.asked.aggregates.size());
    const auto rows = planned(on, from, q.asked);
    while (rows->next() != 0)
      out.add(rows->rows());
    return out;
  }

  vorn_host::environment env;
  vorn_ctx ctx = {};
  const std::vector<column_info> infos = {{"x", "DOUBLE", type_of("DOUBLE")}, {"k", "DOUBLE", type_of("DOUBLE")}};
  const column_names names = infos;
  column_map first, second;
  column &x = first.emplace("x", made_column("x", 9 * batch_rows + 5)).first->second;
  std::vector<question> questions;
};

TEST_F(threads_test, end_a_query_at_an_error_and_serve_the_next) {
  std::vector<kept_rows> answers; // of one thread
  for (const uint32_t count : {1U, 2U, 3U, 7U}) {
    worker_pool threads(count);
    for (size_t number = 0; number < questions.size(); ++number) {
      SCOPED_TRACE(fmt::format("{} threads, question {}", count, number));
      const question &asked = questions[number];
      for (const int failing_call : {1, 4, 10}) {
        calls_left = failing_call;
        EXPECT_THAT([&] { answer(asked, {ctx, threads}); }, throws("the block decoder failed"));
      }
      calls_left = 0;
      kept_rows found = answer(asked, {ctx, threads});
      EXPECT_EQ(calls_left, -10) << "not each batch was decoded once";
      if (count == 1)
        answers.push_back(std::move(found));
      else
        EXPECT_TRUE(found == answers[number]);
    }
  }
}

// What was read, joined and grouped adds up, and is the same on any number of threads.
TEST_F(threads_test, are_explained_by_figures_that_add_up) {
  const char *const names_of_steps[] = {
      "scan x,scan x,group by dense keys,", "group by dense keys,", "group by dense keys,",
      "build table of k,join by x,group by hashed values,sort,", "build table of k,join by x,sort,limit,"};
  for (size_t number = 0; number < questions.size(); ++number)
    for (const uint32_t count : {1U, 3U}) {
      SCOPED_TRACE(fmt::format("{} threads, question {}", count, number));
      worker_pool threads(count);
      explanation explained;
      const uint64_t given = answer(questions[number], {ctx, threads, &explained}).count();
      std::string steps;
      uint64_t rows = x.rows;
      for (const plan_step &s : explained.steps()) {
        steps += s.name + ",";
        if (s.name == "build table of k")
          continue;
        EXPECT_EQ(s.rows_in, std::exchange(rows, s.rows_out)) << s.name;
        EXPECT_EQ(s.batches + s.skipped, s.read.empty() ? 0 : x.batches.size()) << s.name;
        EXPECT_EQ(s.bytes != 0 && s.nanoseconds != 0, !s.read.empty()) << s.name;
        EXPECT_LE(s.bytes, s.read.size() * x.encoded_bytes()) << s.name;
      }
      EXPECT_EQ(steps, names_of_steps[number]);
      EXPECT_EQ(rows, given);
    }
}

} // namespace
