// Threads that take the batches of a table by turns: what they do with errors.  That answers do not depend on them is
// what random queries show.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/encode/encoder.hpp"
#include "store/error.hpp"
#include "store/plan/kept_rows.hpp"
#include "store/plan/plan.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;

TEST(worker_pool, does_all_work_or_throws_what_one_thread_meets_first) {
  for (const uint32_t count : {1U, 2U, 3U, 7U}) {
    worker_pool threads(count);
    EXPECT_EQ(threads.threads(), count);
    for (const size_t items : {0U, 1U, 2U, 500U}) {
      std::vector<std::atomic<int>> done(items);
      threads.run(items, [&](size_t thread, size_t item) { done[item] += thread < count ? 1 : 100; });
      for (size_t item = 0; item < items; ++item)
        EXPECT_EQ(done[item], 1) << item << " of " << items << " on " << count;
    }
    for (int repeated = 0; repeated < 50; ++repeated) {
      std::atomic<size_t> begun = 0;
      const auto fail_at_some = [&](size_t, size_t item) {
        ++begun;
        if (item >= 20 && item % 3 == 0)
          throw std::runtime_error(std::to_string(item));
      };
      EXPECT_THAT([&] { threads.run(100'000, fail_at_some); },
                  testing::Throws<std::runtime_error>(testing::Property(&std::exception::what, testing::StrEq("21"))));
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
  dictionary_encoder<int64_t> encoder;
  for (uint64_t row = 0; row < rows; ++row)
    encoder.add(real_key(static_cast<double>(row * 0x9e3779b97f4a7c15 % 199) / 7));
  out.values = encoder.finish();
  store_codes(out, encoder.codes(), encoding::dict);
  return out;
}

TEST(threads, end_a_query_at_an_error_and_serve_the_next) {
  vorn_host::environment env;
  vorn_test::put_in_force(vorn_test::implementations[0], env);
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = decode_or_fail;
  const std::vector<column_info> infos = {{"x", "DOUBLE", type_of("DOUBLE")}, {"k", "DOUBLE", type_of("DOUBLE")}};
  const column_names names = infos;
  column_map first, second;
  column &x = first.emplace("x", made_column("x", 9 * batch_rows + 5)).first->second;
  second.emplace("k", made_column("k", 99));
  compress(x);
  request counted, added, grouped, joined, joined_groups;
  counted.where = parse_condition("x > 5", names);
  counted.is_grouped = added.is_grouped = grouped.is_grouped = joined_groups.is_grouped = true;
  counted.aggregates = {{}};
  added.aggregates = {parse_aggregate(function::sum, "x", names)};
  grouped.aggregates = {{}, parse_aggregate(function::average, "x * x", names)};
  grouped.columns = {"x"};
  joined.columns = {"k", "x"};
  joined_groups.columns = {"k"};
  joined_groups.aggregates = added.aggregates;
  std::vector<kept_rows> answers; // of one thread
  for (const uint32_t count : {1U, 2U, 3U, 7U}) {
    worker_pool threads(count);
    size_t number = 0;
    for (const request *asked : {&counted, &added, &grouped, &joined, &joined_groups}) {
      const bool is_joined = asked == &joined || asked == &joined_groups;
      const plan_tables from{first, is_joined ? &second : nullptr, {"x", "k"}};
      const auto answer = [&](int failing_call) {
        calls_left = failing_call;
        for (const batch &b : x.batches)
          b.decompressed = nullptr;
        kept_rows out(asked->columns.size() + asked->aggregates.size());
        const auto rows = planned({ctx, threads}, from, *asked);
        while (rows->next() != 0)
          out.add(rows->rows());
        return out;
      };
      SCOPED_TRACE(fmt::format("{} threads, question {}", count, number));
      for (const int failing_call : {1, 4, 10})
        EXPECT_THAT([&] { answer(failing_call); },
                    testing::Throws<error>(testing::Property(&error::what, testing::StrEq("the block decoder failed"))));
      if (count == 1)
        answers.push_back(answer(0));
      else
        EXPECT_TRUE(answer(0) == answers[number]);
      EXPECT_EQ(calls_left, -10) << "not each batch was decoded once";
      ++number;
    }
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

} // namespace
