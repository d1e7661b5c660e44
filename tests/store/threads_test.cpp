// Threads that take work by turns: the pool, and queries with their errors while other queries run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "store/error.hpp"
#include "store/run/worker_pool.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/query_tables.hpp"

// DuckDB is not built with the thread sanitizer, so the sanitizer does not see how its threads wait for each other. Its
// threads run the copy of std::string's functions that lies in this program.
extern "C" const char *__tsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier): the sanitizer calls it
  return "called_from_lib:libduckdb.so\nrace:std::__cxx11::basic_string<*>::_M_assign\n";
}

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

// One query for each operator, with one order of rows.
constexpr const char *operators[] = {
    "SELECT i, t, d FROM one WHERE n > 3 AND upper(t) LIKE 'A%' ORDER BY i",
    "SELECT i, n * small, price / 3 FROM one WHERE price < d ORDER BY d, i LIMIT 50",
    "SELECT t, runs, count(*), sum(n), avg(n), min(key), count(DISTINCT key) FROM one GROUP BY t, runs ORDER BY t, "
    "runs",
    "SELECT i, code, sum(big) FROM one GROUP BY i, code ORDER BY i, code",
    "SELECT i, k, u FROM one LEFT JOIN other ON key = k ORDER BY i, k, u",
    "SELECT one.i, w FROM one JOIN other ON one.huge = other.huge AND one.n > other.n WHERE i < 900 ORDER BY i, w",
    "SELECT i FROM one WHERE key IN (SELECT k FROM other) AND NOT EXISTS (FROM other WHERE k = key AND u = 1) ORDER BY "
    "i",
    "WITH g AS MATERIALIZED (SELECT t, count(*) AS c FROM one GROUP BY t) SELECT t, c FROM g UNION ALL SELECT t, c "
    "FROM "
    "g ORDER BY t, c",
    "SELECT DISTINCT key, flag FROM one ORDER BY key, flag"};

TEST(queries, of_two_sessions_run_at_once_on_several_threads) {
  const vorn_test::scratch_folder folder;
  const vorn_test::table_storage stored = vorn_test::table_storages()[1];
  vorn_test::write_tables(folder, stored);
  vorn_test::engines first(folder.path(), stored.encodings), second(folder.path());
  ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(vorn_test::implementations[0], first.env));
  const auto answers_of = [](vorn_test::engines &session, uint32_t threads) {
    std::vector<vorn_test::answer> out;
    for (const char *sql : operators)
      out.push_back(session.found(session.plan(sql), threads));
    return out;
  };
  const std::vector<vorn_test::answer> expected = answers_of(first, 1);
  std::vector<vorn_test::answer> found[2];
  std::thread other([&] { found[1] = answers_of(second, 4); });
  found[0] = answers_of(first, 4);
  other.join();
  for (const auto &of_session : found)
    for (size_t i = 0; i < expected.size(); ++i) {
      EXPECT_FALSE(expected[i].rows.empty()) << operators[i];
      EXPECT_EQ(vorn_test::difference(of_session[i], expected[i], {.rounded = {}, .order = {}, .is_whole_order = true}),
                "")
          << operators[i];
    }
}

} // namespace
