// Queries of tables in every form of storage are answered as DuckDB does, by all kernels and on several threads.
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/query_tables.hpp"

namespace {

using namespace vorn_test;

// A query and the columns whose values are rounded or either zero, such as sums of DOUBLEs: as letters from a on.  With
// ORDER BY the rows have one order; a query with LIMIT orders by all that it shows.
struct test_query {
  const char *sql = nullptr;
  const char *rounded = "";
};

constexpr test_query all_queries[] = {
    // Conditions on each type, on all encodings.
    {"SELECT i FROM one WHERE t = 'ab' OR t = ''"},
    {"SELECT i FROM one WHERE t <> 'a' AND t < 'b'"},
    {"SELECT i FROM one WHERE t NOT IN ('a', 'x', NULL)"},
    {"SELECT i FROM one WHERE t IS NULL OR t LIKE '_' OR t LIKE '%long_r%'"},
    {"SELECT i FROM one WHERE NOT (t LIKE 'a%' OR n > 0)"},
    {"SELECT i FROM one WHERE n BETWEEN -9 AND 90 AND n NOT IN (1, 3, 5, 7, 9, 11, 50)"},
    {"SELECT i FROM one WHERE n = 2.5 OR n > 148.5 OR n <= -150"},
    {"SELECT i FROM one WHERE n <> -150 AND small <> 0"},
    {"SELECT i FROM one WHERE small IS DISTINCT FROM 3 AND small IS NOT DISTINCT FROM NULL"},
    {"SELECT i FROM one WHERE big = 9223372036854775807 OR big < -9223372036854775806"},
    {"SELECT i FROM one WHERE nat >= 18446744073709551614 AND nat <> 18446744073709551615"},
    {"SELECT i FROM one WHERE huge <= -100000000000000000000000000 OR huge = 0"},
    {"SELECT i FROM one WHERE price > 12.345 AND price <= 250 OR price = -500"},
    {"SELECT i FROM one WHERE eighth BETWEEN -1 AND 1.125"},
    {"SELECT i FROM one WHERE d < -4.5 OR d = -5 OR d > 9"},
    {"SELECT i FROM one WHERE f = 0.1 OR f >= 6.2::FLOAT OR f < 0"},
    {"SELECT i FROM one WHERE odd = 0 OR odd > 1e300"},
    {"SELECT i FROM one WHERE odd <> 0 AND odd < 'nan'"},
    {"SELECT i FROM one WHERE odd IN (-0.0, 'inf')"},
    {"SELECT i FROM one WHERE day >= DATE '2000-01-15' AND day <> '2000-01-17' OR day < 'infinity' AND n = 7"},
    {"SELECT i FROM one WHERE clock < '01:00:00.5' OR clock = '24:00:00'"},
    {"SELECT i FROM one WHERE moment > '2000-01-01 00:30' AND moment < '2000-01-01 01:00:00.000001'"},
    {"SELECT i FROM one WHERE nano < TIMESTAMP_NS '1970-01-01 00:00:59.999999999'"},
    {"SELECT i FROM one WHERE zoned = '2001-01-15 10:30:00+02' OR zoned > '2001-01-15 12:30:00+00'"},
    {"SELECT i FROM one WHERE id > '80000000-0000-0000-0000-000000000000' OR id = md5('7')::UUID"},
    {"SELECT i FROM one WHERE raw = 'a'::BLOB OR raw > 'a\\x00'::BLOB"},
    {"SELECT i FROM one WHERE flag AND NOT n > 3"},
    {"SELECT i FROM one WHERE none = 1 OR none IS NOT NULL OR runs = 2 AND none IS NULL"},
    {"SELECT i FROM one WHERE runs = 3 OR runs > 6 AND code < '000100'"},
    {"SELECT i FROM one WHERE code = '000012' OR code LIKE '%99' OR code = '12'"},
    {"SELECT i FROM one WHERE n > 1000"},
    {"SELECT i FROM one WHERE runs >= 0"},
    // Conditions on several columns and on expressions.
    {"SELECT i FROM one WHERE n > small OR price < d"},
    {"SELECT i FROM one WHERE upper(t) = 'AB' AND length(key) = 2"},
    {"SELECT i FROM one WHERE year(day) = 2000 AND extract(day FROM day) IN (1, 2, 19) AND regexp_matches(t, '^a.')"},
    {"SELECT i FROM one WHERE n % 7 = 3 AND abs(n) > 20"},
    {"SELECT i FROM one WHERE CASE WHEN t IS NULL THEN n > 0 WHEN flag THEN small = 3 ELSE d IS NULL END"},
    {"SELECT i FROM one WHERE substring(code, 4, 1) IN ('0', '8') AND t || key > 'ak2'"},
    // Values of every type, and expressions.
    {"SELECT * FROM one WHERE n BETWEEN 0 AND 30"},
    {"SELECT n + 1, n * small, n - big / 2, price * 2, price * eighth, -n, d * 2 + f, n / 4, n // 7 FROM one"},
    {"SELECT n::DOUBLE, price::INT, n::VARCHAR, day::TIMESTAMP, d::DECIMAL(9, 3), f::DOUBLE, flag::INT FROM one"},
    {"SELECT try_cast(code AS TINYINT), coalesce(t, key), nullif(n, 3), greatest(n, small), round(d, 1) FROM one"},
    {"SELECT CASE runs WHEN 1 THEN 'one' WHEN 2 THEN t ELSE code END, odd = 0, t LIKE '%a%' FROM one"},
    {"SELECT year(moment), month(day), hour(clock), date_trunc('hour', moment), day + 3, day - DATE '2000-01-05' FROM "
     "one"},
    {"SELECT huge + 1, huge * 2, nat - 5, huge = 0, upper(t), md5(key), raw || 'x'::BLOB FROM one WHERE runs < 3"},
    // Groups and sums.
    {"SELECT count(*), count(t), count(none), sum(n), avg(n), min(n), max(n) FROM one"},
    {"SELECT sum(n), sum(big), sum(huge), sum(price), avg(price), sum(none), avg(none), sum(nat) FROM one"},
    {"SELECT avg(small), sum(d), avg(d), sum(f), min(d), max(f) FROM one", "bcd"},
    {"SELECT count(*), sum(n), avg(d) FROM one WHERE n > 1000"},
    {"SELECT min(t), max(t), min(raw), max(raw), min(id), max(zoned), min(clock), max(moment), min(nano), max(day), "
     "min(flag), max(huge), min(nat), max(key) FROM one"},
    {"SELECT t, count(*), sum(small), avg(small), sum(none), min(none) FROM one GROUP BY t"},
    {"SELECT t, runs, sum(big), sum(nat), avg(huge) FROM one WHERE n > 0 AND t LIKE 'a%' GROUP BY t, runs"},
    {"SELECT runs, day, sum(d), avg(d), sum(f), count(*) FROM one WHERE runs <> 3 GROUP BY ALL", "cde"},
    {"SELECT small, flag, avg(price) AS a, sum(price) FROM one GROUP BY small, flag ORDER BY small, flag"},
    {"SELECT t, small, n, runs, sum(n), count(*) FROM one WHERE small < 20 GROUP BY t, small, n, runs"},
    {"SELECT odd, count(*), sum(n) FROM one GROUP BY odd", "a"},
    {"SELECT d, f, huge, count(*) FROM one GROUP BY d, f, huge"},
    {"SELECT none, t, sum(nat) FROM one WHERE n > 1000 GROUP BY none, t"},
    {"SELECT zoned, id, raw, clock, count(*) FROM one WHERE i < 2000 GROUP BY zoned, id, raw, clock"},
    {"SELECT t, sum(n * d), sum(2 - small), avg(small + price), sum(f * 0.1), avg(huge * none) FROM one GROUP BY t",
     "bde"},
    {"SELECT day, count(*) AS c FROM one GROUP BY day HAVING count(*) > 2 AND min(n) < 100 ORDER BY day DESC"},
    {"SELECT n // 10, max(t), min(code), count(DISTINCT key), sum(DISTINCT small) FROM one GROUP BY 1"},
    {"SELECT upper(t), length(key), count(*) FROM one GROUP BY 1, 2"},
    {"SELECT flag, count(*) FILTER (WHERE n > 0), sum(n) FILTER (WHERE t = 'a') FROM one GROUP BY flag"},
    {"SELECT t, flag, count(*) FROM one GROUP BY ROLLUP (t, flag)"},
    {"SELECT t, flag, grouping(t), grouping(flag, t), count(*), sum(n) FROM one GROUP BY CUBE (t, flag)"},
    {"SELECT count(DISTINCT t), count(DISTINCT odd), count(DISTINCT huge) FROM one"},
    {"SELECT DISTINCT t, flag FROM one"},
    {"SELECT DISTINCT n, price, code FROM one WHERE runs = 1"},
    {"SELECT i, key, code, count(*), sum(n) FROM one GROUP BY i, key, code"},
    // Orders and limits.
    {"SELECT n, i FROM one ORDER BY n, i LIMIT 33"},
    {"SELECT t, d, i FROM one WHERE n BETWEEN -9 AND 90 ORDER BY t DESC NULLS LAST, d, i"},
    {"SELECT huge, small, key, i FROM one ORDER BY huge, small DESC NULLS FIRST, key, i LIMIT 300"},
    {"SELECT d, i FROM one ORDER BY d NULLS FIRST, i LIMIT 20 OFFSET 5"},
    {"SELECT f, i FROM one WHERE runs = 2 ORDER BY f DESC, i"},
    {"SELECT t, raw, id, zoned, i FROM one ORDER BY raw, id DESC, zoned, t, i LIMIT 50"},
    {"SELECT day, moment, i FROM one ORDER BY day DESC, moment, i LIMIT 7"},
    {"SELECT i FROM one ORDER BY i LIMIT 0"},
    {"SELECT i FROM one ORDER BY i OFFSET 60"},
    {"SELECT i FROM one ORDER BY i LIMIT 7.5% OFFSET 3"},
    {"SELECT DISTINCT ON (t, flag) t, flag, n, d, i FROM one ORDER BY t, flag DESC, n DESC, d, i"},
    // Joins.
    {"SELECT u, count(*), sum(n), avg(w), sum(w) FROM one JOIN (SELECT k, u, w FROM other) ON key = k GROUP BY u",
     "de"},
    {"SELECT u, runs, sum(w), avg(d) FROM one JOIN (SELECT k, u, w FROM other) ON key = k WHERE n > 0 AND w "
     "< 9 GROUP BY ALL",
     "cd"},
    {"SELECT one.i, k, u, w FROM one JOIN other ON key = k WHERE u = 1 OR runs = 2"},
    {"SELECT one.i, u FROM one JOIN other ON key = k WHERE one.n > 100 OR w < 3"},
    {"SELECT one.i, k FROM one LEFT JOIN other ON key = k AND u = 1 WHERE one.n < 30"},
    {"SELECT k, count(i) FROM one RIGHT JOIN other ON key = k AND one.n > 140 GROUP BY k"},
    {"SELECT i, k FROM (FROM one WHERE n > 100) LEFT JOIN other ON key = k WHERE k IS NULL"},
    {"SELECT count(*), sum(i), count(k) FROM one FULL JOIN other ON key = k AND one.n = other.n"},
    {"SELECT i, k FROM one JOIN other ON one.odd = other.odd WHERE i < 300"},
    {"SELECT i, k FROM one JOIN other ON one.huge = other.huge WHERE i % 10 = 3 AND i < 3000"},
    {"SELECT i, k FROM one JOIN other ON one.price = other.price"},
    {"SELECT i, k FROM one JOIN other ON one.t = other.t AND one.day = other.day"},
    {"SELECT i, k FROM one JOIN other ON one.n = other.n AND one.price < other.price + 100"},
    {"SELECT i, k FROM one, other WHERE i < 40 AND one.n > other.n"},
    {"SELECT a.i, b.i FROM one a JOIN one b ON a.n = b.small AND a.day = b.day WHERE a.i < 500 AND b.i < 500"},
    {"SELECT i FROM one WHERE key IN (SELECT k FROM other WHERE u = 1)"},
    {"SELECT i FROM one WHERE t NOT IN (SELECT t FROM other WHERE t IS NOT NULL)"},
    {"SELECT i FROM one WHERE t NOT IN (SELECT t FROM other)"},
    {"SELECT i FROM one WHERE EXISTS (SELECT 1 FROM other WHERE k = key AND other.n > one.n)"},
    {"SELECT i FROM one WHERE NOT EXISTS (SELECT 1 FROM other WHERE k = key AND u <> 0)"},
    {"SELECT i, n > (SELECT avg(n) FROM other) FROM one WHERE small < (SELECT max(u) FROM other WHERE k <> key) + 9"},
    {"SELECT i, t IN (SELECT t FROM other) FROM one"},
    // Several queries in one.
    {"SELECT n FROM one WHERE runs = 1 UNION ALL SELECT n FROM other"},
    {"SELECT t FROM one UNION SELECT t FROM other"},
    {"SELECT t FROM one EXCEPT SELECT t FROM other"},
    {"SELECT day FROM one INTERSECT SELECT day FROM other"},
    {"WITH g AS MATERIALIZED (SELECT t, count(*) AS c FROM one GROUP BY t) SELECT a.t, b.c FROM g a JOIN g b ON a.c <= "
     "b.c"},
    {"SELECT t, c FROM (SELECT t, count(*) AS c FROM one GROUP BY t) WHERE c > 5"},
    {"SELECT * FROM (VALUES (1, 'a'), (2, NULL)) v(x, y)"},
    {"SELECT i, range, G.y FROM one JOIN range(3) ON runs = range.range, generate_series(1, (2)) AS g(y) WHERE i < 99"},
};

// Whether rows are equal in order: as they are read, without ORDER BY they may come in any.
answer_shape shape_of(const test_query &query, size_t columns) {
  answer_shape out;
  for (const char *letter = query.rounded; *letter != '\0'; ++letter)
    out.rounded.push_back(static_cast<size_t>(*letter - 'a'));
  if (std::string_view(query.sql).find("ORDER BY") != std::string_view::npos) {
    out.is_whole_order = true;
    for (size_t c = 0; c < columns; ++c)
      out.order.push_back(c);
  }
  return out;
}

class queries_test : public testing::TestWithParam<size_t> {
protected:
  void TearDown() override { vorn_global_ctx = initial_global_ctx; }
};

TEST_P(queries_test, are_answered_as_duckdb_does) {
  const table_storage stored = table_storages()[GetParam()];
  const scratch_folder folder;
  write_tables(folder, stored);
  engines both(folder.path(), stored.encodings);
  ASSERT_NO_FATAL_FAILURE(put_in_force(implementations[0], both.env));
  // Of a long table, whose answers take long to compare, one query in 4 runs, each on one of the libraries.
  size_t turn = 0;
  for (const test_query &query : all_queries) {
    SCOPED_TRACE(query.sql);
    if (stored.rows > 3000 && ++turn % 4 != GetParam() % 4)
      continue;
    std::string error;
    answer expected;
    try {
      expected = both.expected(query.sql);
    } catch (const store::error &e) {
      error = e.what();
    }
    const store::logical::query plan = both.plan(query.sql);
    for (size_t which = 0; which < std::size(implementations); ++which) {
      const implementation &each = implementations[which];
      if (!runs_here(each))
        continue;
      ASSERT_NO_FATAL_FAILURE(put_in_force(each, both.env));
      for (const uint32_t threads : thread_counts) {
        if (stored.rows > 3000 && (turn + threads) % std::size(implementations) != which)
          continue;
        try {
          const answer found = both.found(plan, threads);
          EXPECT_EQ(difference(found, expected, shape_of(query, expected.names.size())), error)
              << each.name << ", " << threads << " threads";
        } catch (const store::error &e) {
          EXPECT_FALSE(error.empty()) << each.name << ", " << threads << " threads: " << e.what();
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(of, queries_test, testing::Range(size_t{0}, table_storages().size()),
                         [](const auto &of) { return fmt::format("{}_rows", table_storages()[of.param].rows); });

} // namespace
