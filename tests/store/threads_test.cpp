<<<<<<< HEAD
// Threads that take the row groups of a table by turns: errors and figures.  Random queries have their answers.
=======
// Threads that take work by turns: the pool, and queries with their errors while other queries run.
>>>>>>> h-port
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
<<<<<<< HEAD
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "sql/catalogue.hpp"
#include "sql/duckdb_functions.hpp"
#include "sql/planner.hpp"
#include "store/chunk/cells.hpp"
#include "store/encode/column_builder.hpp"
#include "store/encode/encoder.hpp"
#include "store/error.hpp"
#include "store/operator/answer.hpp"
#include "store/operator/build.hpp"
#include "tests/support/implementation.hpp"
=======
#include <string>
#include <thread>
#include <vector>

#include "store/error.hpp"
#include "store/run/worker_pool.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/query_tables.hpp"
>>>>>>> h-port

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

<<<<<<< HEAD
// Each row group of a compressed column begins with a call of the block decoder, one of which fails.
std::atomic<int> calls_left = 0;
uint32_t decode_or_fail(vorn_qpak_ctx *qctx, const void *src, void *dst, uint32_t *outlen, uint32_t dstlen) {
  if (--calls_left == 0)
    throw error("the block decoder failed");
  return vorn_qpak_decode(qctx, src, dst, outlen, dstlen);
}

std::shared_ptr<const column> made_column(const char *name, uint64_t rows, bool is_compressed) {
  const auto out = std::make_shared<column>();
  out->name = name;
  out->type = *type_of("DOUBLE");
  code_builder<int64_t> builder(name);
  for (uint64_t row = 0; row < rows; ++row)
    builder.append(builder.row_of(real_key(static_cast<double>(row * 0x9e3779b97f4a7c15 % 199) / 7)));
  builder.finish(*out, encoding::dict);
  if (is_compressed)
    compress(*out);
  return out;
}

constexpr const char *queries[] = {"select count(*) from first where x > 5 and x < 20",
                                   "select count(*), sum(x) from first",
                                   "select x, count(*), sum(x * x) from first group by x order by x",
                                   "select k, sum(x) from first join second on x = k group by k order by k",
                                   "select x, k from first join second on x = k order by k desc, x limit 9000"};

class threads_test : public testing::Test {
protected:
  threads_test() {
    vorn_test::put_in_force(vorn_test::implementations[0], env);
    ctx = env.context();
    ctx.vorn_ctx_decompress = decode_or_fail;
    for (const auto &[name, stored] : {std::pair{"first", x}, {"second", k}})
      tables.add(std::make_shared<exec::table>(name, std::vector<column_info>{{stored->name, "DOUBLE", stored->type}},
                                               stored->rows, [stored = stored](size_t) { return stored; }));
  }
  ~threads_test() override { vorn_global_ctx = vorn_test::initial_global_ctx; }

  // All rows as text.
  std::string answer(const char *query, uint32_t count, exec::relation_ptr *ran = nullptr) {
    for (const batch &b : x->batches)
      b.decompressed = nullptr;
    worker_pool threads(count);
    std::vector<exec::arena> memory(count);
    const std::atomic<bool> is_interrupted = false;
    const logical::query planned = planner.plan(query);
    exec::relation_ptr rows = exec::build(
        planned.root, [&](const std::string &name) { return tables.find(name); }, functions);
    const exec::kept_rows found = all_rows(*rows, {ctx, threads, is_interrupted, memory, ran != nullptr});
    const std::vector<exec::layout> columns = exec::plain_layouts(rows->columns());
    std::string out;
    for (size_t row = 0; row < found.rows(); ++row, out += '\n')
      for (size_t c = 0; c < columns.size(); ++c, out += ' ')
        append_text(out, exec::cell_at(found.values(c), columns[c], row), columns[c].held());
    if (ran != nullptr)
      *ran = std::move(rows);
    return out;
  }

  vorn_host::environment env;
  vorn_ctx ctx = {};
  const std::shared_ptr<const column> x = made_column("x", 9 * batch_rows + 5, true), k = made_column("k", 99, false);
  sql::catalogue tables{ctx};
  sql::planner planner{tables};
  sql::duckdb_functions functions{ctx};
};

TEST_F(threads_test, end_a_query_at_an_error_and_serve_the_next) {
  for (const char *query : queries) {
    const std::string expected = answer(query, 1);
    for (const uint32_t count : {1U, 2U, 3U, 7U}) {
      SCOPED_TRACE(fmt::format("{} threads, {}", count, query));
      for (const int failing_call : {1, 4, 10}) {
        calls_left = failing_call;
        EXPECT_THAT([&] { answer(query, count); }, throws("the block decoder failed"));
      }
      calls_left = 0;
      EXPECT_EQ(answer(query, count), expected);
      EXPECT_EQ(calls_left, -10) << "not each row group was decoded once";
    }
  }
}

// Names and rows of operators; scans have met every row group.
void list_figures(const exec::relation &of, uint64_t row_groups, std::string &out) {
  out += fmt::format("{} {},", of.metrics().name(), of.metrics().rows.load());
  if (of.children().empty() && of.metrics().row_groups > 1)
    EXPECT_EQ(of.metrics().row_groups + of.metrics().skipped, row_groups);
  for (const exec::relation *below : of.children())
    list_figures(*below, row_groups, out);
}

TEST_F(threads_test, are_explained_by_figures_that_do_not_depend_on_them) {
  for (const char *query : queries) {
    SCOPED_TRACE(query);
    std::vector<std::string> figures;
    for (const uint32_t count : {1U, 3U}) {
      exec::relation_ptr ran;
      const std::string rows = answer(query, count, &ran);
      EXPECT_EQ(ran->metrics().rows, std::count(rows.begin(), rows.end(), '\n'));
      list_figures(*ran, x->batches.size(), figures.emplace_back());
    }
    EXPECT_EQ(figures[0], figures[1]);
  }
=======
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
>>>>>>> h-port
}

} // namespace
