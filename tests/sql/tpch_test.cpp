// The 22 queries of TPC-H are answered as DuckDB does, by all kernels and on several threads.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <fmt/format.h>

#include "tests/sql/engines.hpp"

namespace {

using namespace vorn_test;

class tpch : public testing::TestWithParam<int> {
protected:
  void TearDown() override { vorn_global_ctx = initial_global_ctx; }
};

TEST_P(tpch, is_answered_as_duckdb_does) {
  if (!std::filesystem::exists(TPCH_TABLES))
    GTEST_SKIP() << "tools/tpch makes the tables";
  static engines both(TPCH_TABLES); // the tests of one process load each table once
  ASSERT_NO_FATAL_FAILURE(put_in_force(implementations[0], both.env));
  std::ifstream file(fmt::format("{}/{:02}.sql", TPCH_QUERIES, GetParam()));
  const std::vector<std::string> texts = store::sql::statements(std::string(std::istreambuf_iterator<char>(file), {}));
  ASSERT_EQ(texts.size(), 1);
  const std::string &sql = texts.front();
  const answer expected = both.expected(sql);
  const store::logical::query plan = both.plan(sql);
  // Sums are exact, and so are the quotients of exact sums.  Queries without an order have one row.
  const answer_shape shape{.rounded = {}, .order = {}, .is_whole_order = true};
  for (const implementation &each : implementations) {
    if (!runs_here(each))
      continue;
    ASSERT_NO_FATAL_FAILURE(put_in_force(each, both.env));
    for (const uint32_t threads : thread_counts)
      EXPECT_EQ(difference(both.found(plan, threads), expected, shape), "")
          << each.name << ", " << threads << " threads";
  }
}

INSTANTIATE_TEST_SUITE_P(query, tpch, testing::Range(1, 23));

} // namespace
