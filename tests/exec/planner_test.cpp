// Plans that DuckDB makes: DuckDB answers each plan, written as SQL again, as it answers the query.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "sql/plan_json.hpp"
#include "sql/planner.hpp"
#include "store/error.hpp"
#include "store/logical/text.hpp"
#include "tests/exec/plan_sql.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/random.hpp"

namespace vorn_test {

namespace {

class planner_test : public testing::Test {
protected:
  planner_test() {
    // A row in seven or so has NULL.  Values of every type repeat, and their extremes are there.
    write("sample", R"(SELECT
      CASE WHEN i % 7 <> 3 THEN i % 40 END::INTEGER i, (i * 3 % 25)::BIGINT j, (i % 11 - 5)::TINYINT small,
      CASE i % 9 WHEN 4 THEN NULL WHEN 1 THEN 'nan' WHEN 2 THEN '-inf' WHEN 3 THEN '-0' ELSE i / 4 END::DOUBLE d,
      (i / 8)::FLOAT f, CASE WHEN i % 8 <> 2 THEN 'text ' || i % 30 || 'é''' END s, (i % 100 / 3)::DECIMAL(9,3) de,
      (i % 50 - 7.25)::DECIMAL(15,2) price, (i * 1e20::HUGEINT)::HUGEINT h, (i * 123456789.5)::DECIMAL(38,4) wide,
      (18446744073709551615 - i % 5)::UBIGINT u, DATE '1995-12-30' + (i % 60)::INTEGER dt, TIME '10:00' + to_seconds(i) tm,
      TIMESTAMP '2001-01-31 23:59:59' + to_days((i % 90)::INTEGER) ts, (i % 3 = 0) bo,
      md5((i % 6)::VARCHAR)::UUID id, encode(s) b, [i, i + 1] list, '2001-01-01 00:00:00+00'::TIMESTAMPTZ + to_hours(i % 4) tz
      FROM (SELECT unnest(range(300)) i, 'b' || i % 4 s))");
    write("other", "SELECT unnest(range(35))::INTEGER i, 'text ' || i % 30 || 'é''' s, i::BIGINT * 2 j, i % 3 = 1 bo");
    tables_.add_folder(folder_.path());
    database_.query("SET scalar_subquery_error_on_multiple_rows = false");
    for (const char *table : {"sample", "other"})
      database_.query(
          fmt::format("CREATE TABLE {} AS FROM '{}'", table, folder_.path(std::string(table) + ".parquet")));
  }

  void write(const std::string &table, const std::string &query) {
    database_.query(fmt::format("COPY ({}) TO '{}'", query, folder_.path(table + ".parquet")));
  }

  std::vector<std::string> rows(const std::string &query) {
    std::vector<std::string> out;
    auto answer = database_.query(fmt::format("SELECT t::VARCHAR FROM ({}) t", query));
    while (const auto chunk = answer.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        out.emplace_back(chunk->column(0).text(row));
    return out;
  }
  // The rows of a query, with columns by number.
  std::vector<std::string> numbered_rows(const std::string &query, size_t columns) {
    std::vector<std::string> names;
    for (size_t i = 0; i < columns; ++i)
      names.push_back(fmt::format("c{}", i));
    return rows(fmt::format("FROM ({}\n) t({})", query, fmt::join(names, ", ")));
  }

  void expect_equal_answers(const std::string &query) {
    SCOPED_TRACE(query);
    EXPECT_NO_THROW(compare_answers(query));
  }
  void compare_answers(const std::string &query) {
    // Through its JSON text, as another process would read it.
    const std::string text = store::sql::plan_text(planner_.plan(query));
    const store::logical::query planned = store::sql::read_plan_text(text);
    EXPECT_EQ(store::sql::plan_text(planned), text);
    SCOPED_TRACE(to_text(planned.root));
    std::string again = plan_sql(tables_)(planned.root);
    SCOPED_TRACE(again);
    std::vector<std::string> expected = numbered_rows(query, planned.names.size());
    std::vector<std::string> actual = numbered_rows(again, planned.names.size());
    if (query.find("ORDER BY") == query.npos) {
      std::sort(expected.begin(), expected.end());
      std::sort(actual.begin(), actual.end());
    }
    EXPECT_EQ(actual, expected);
    EXPECT_FALSE(expected.empty() && query.find("-- none") == query.npos);
    EXPECT_EQ(rows(fmt::format("SELECT column_type FROM (DESCRIBE {}\n)", again)),
              rows(fmt::format("SELECT column_type FROM (DESCRIBE {}\n)", query)));
  }

  std::string refusal(const std::string &query) {
    try {
      planner_.plan(query);
    } catch (const store::error &e) {
      return e.what();
    }
    return "taken";
  }

  scratch_folder folder_;
  store::duckdb::connection database_{1};
  vorn_ctx library_{};
  store::sql::catalogue tables_{library_};
  store::sql::planner planner_{tables_};
};

TEST_F(planner_test, expressions) {
  for (const char *e :
       {// Constants of every type.
        "true, 3::TINYINT, -7::SMALLINT, 12345678901234567890123::HUGEINT, 18446744073709551615::UBIGINT",
        "'nan'::DOUBLE, 'inf'::DOUBLE, '-inf'::FLOAT, -0.0::DOUBLE, 0.1::FLOAT, 1e300, 0.1, -99999999999999999999.55",
        "'a''b\"\\' || chr(1) || 'é', 'x' || chr(0) || 'y', '\\x00a\\xFF\\x5C'::BLOB, NULL, NULL::DATE",
        "DATE '0044-03-15 (BC)', DATE 'infinity', TIME '10:00:00.000001', TIMESTAMP '-infinity'",
        "TIMESTAMP '9999-12-31 23:59:59.999999', '2001-01-01 10:00:00.123456789'::TIMESTAMP_NS, TIMESTAMP_S "
        "'2020-02-02'",
        "TIMESTAMPTZ '2020-01-01 10:00:00+02', TIMESTAMP_MS '2020-02-02 00:00:00.5', UUID "
        "'f0000000-0000-0000-0000-000000000001'",
        // Arithmetic, and its types.
        "i + 1, j * i, i // 7, i % 7, i / 3, -i, abs(small), small * small, i << 2, i & 6, ~i, h + 1, u - 1, h * 3",
        "price * (1 - price), price * 2, de + price, de * de, wide + 1, wide - price, price / 3, de % 2, -price, 1 + "
        "price",
        "round(de, 1), round(price, -1), round(d, 2), round(de), floor(price), ceil(wide), trunc(de), sign(price)",
        "sqrt(abs(i)), ln(j + 1), power(i, 2), greatest(i, j, 3), least(d, f), even(d), isnan(d), pi() * i, "
        "price::DOUBLE",
        // Comparisons and logic.
        "i = j, i <> 3, d < 3, d >= f, s > 'text 2', i IS DISTINCT FROM j, i IS NOT DISTINCT FROM NULL, dt = DATE "
        "'1996-01-01'",
        "i BETWEEN 3 AND j, i NOT BETWEEN 2 AND 9, NOT bo, bo AND i > 3 OR d < 2, i IS NULL, s IS NOT NULL, bo IS TRUE",
        "i IN (1, 2, 3, 5, 8, 13, 21), s NOT IN ('text 1', 'b'), i IN (j, 3, NULL), de IN (1, 2.5), id < "
        "'8f000000-0000-0000-0000-000000000000'",
        "CASE i WHEN 1 THEN 'a' WHEN j THEN s END, CASE WHEN bo THEN i END, coalesce(i, j, 3), nullif(i, 2), ifnull(s, "
        "'-'), if(bo, 1, 2.5)",
        // Texts.
        "s LIKE 'text%', s LIKE '%1%2_', s NOT LIKE 'a%b', s ILIKE 'TEXT%', s LIKE 'x!%' ESCAPE '!', s SIMILAR TO "
        "'text [12].*', s GLOB '*1*'",
        "upper(s), lower(s), substring(s, 2, 3), substring(s FROM 3), s[2:4], left(s, 3), length(s), s || '-' || i, "
        "concat(s, i, NULL), trim(s), reverse(s)",
        "regexp_matches(s, '1.'), regexp_extract(s, '(\\d+)', 1), regexp_replace(s, '[0-9]', 'x', 'g'), replace(s, "
        "'t', 'T'), split_part(s, ' ', 2)",
        "starts_with(s, 'text'), suffix(s, '1'), contains(s, '1'), strpos(s, ' '), lpad(s, 12, '*'), repeat(s, 2), "
        "ascii(s), md5(s), string_split(s, ' ')[1]",
        "b || b, octet_length(b), hex(b), format('{}-{}', i, s), printf('%d', i), s COLLATE NOCASE = 'TEXT 1é''', "
        "hash(s), translate(s, 'te', 'et')",
        // Dates and times.
        "year(dt), month(ts), extract(epoch FROM ts), date_part('dow', dt), date_trunc('month', ts), dt + 3, dt - DATE "
        "'1995-01-01', dt + INTERVAL 1 MONTH",
        "ts - INTERVAL '3 days 2 hours', strftime(dt, '%Y/%m'), date_diff('day', dt, ts::DATE), last_day(dt), "
        "dayname(dt), ts::TIME, tm, age(ts, TIMESTAMP '2000-01-01') > INTERVAL 1 YEAR",
        "make_date(2001, 2, (1 + small + 5)::INTEGER), epoch_ms(ts), tz + INTERVAL 1 DAY, tz::DATE, tz > '2001-01-01 "
        "02:00:00', tm + INTERVAL 1 HOUR",
        // Casts.
        "i::VARCHAR, de::INTEGER, price::DECIMAL(18,4), d::VARCHAR, dt::VARCHAR, dt::TIMESTAMP, bo::INTEGER, "
        "i::BOOLEAN, f::DOUBLE, wide::DOUBLE",
        "TRY_CAST(s AS INTEGER), TRY_CAST(d AS SMALLINT), CAST(i AS DECIMAL(5,1)), price::VARCHAR::DECIMAL(9,1), "
        "h::DOUBLE, u::HUGEINT, id::VARCHAR",
        "list_value(i, j)[1], len([i, j, NULL]), list_contains([1, 2, 3], i), {'a': i, 'b': s}.b, struct_pack(x := "
        "j).x, map {1: i}[1]"})
    expect_equal_answers(fmt::format("SELECT {} FROM sample", e));
}

TEST_F(planner_test, operators) {
  for (const char *query :
       {"SELECT 1 + 1, 'x'",
        "SELECT 3 WHERE 1 = 0 -- none",
        "FROM (VALUES (1, 'a'), (2, NULL), (NULL, 'c')) t(a, b)",
        "SELECT count(*) FROM sample",
        "SELECT i, s FROM sample WHERE i > 3 AND s LIKE '%1%' OR bo AND d = 'nan'",
        "SELECT count(*), 5 FROM sample WHERE i IS NOT NULL AND i IN (1, 3, 5, 7, 9, 11) AND price BETWEEN 1 AND 20",
        ("SELECT s, sum(i), count(*), count(i), avg(price), min(d), max(dt), count(DISTINCT j), sum(price * j) FROM "
         "sample GROUP BY s"),
        ("SELECT sum(i) FILTER (WHERE i > 3), sum(DISTINCT j), min(DISTINCT s), bool_and(bo), bool_or(bo), "
         "avg(DISTINCT "
         "i) FROM sample"),
        ("SELECT any_value(i), any_value(j) FILTER (WHERE j > 3), count(*) FILTER (WHERE bo) FROM sample WHERE i = 5 "
         "AND j = 15"),
        "SELECT bo, i % 3, count(*) FROM sample GROUP BY ROLLUP (bo, i % 3)",
        "SELECT bo, s, sum(j) FROM sample GROUP BY GROUPING SETS ((bo), (s), ())",
        "SELECT i, count(*) FROM sample GROUP BY i HAVING count(*) > 7",
        "SELECT DISTINCT bo, i % 4 FROM sample",
        "SELECT i, s FROM sample ORDER BY i DESC NULLS LAST, s NULLS FIRST, j LIMIT 20 OFFSET 3",
        "SELECT i FROM sample ORDER BY i NULLS FIRST, 1",
        "SELECT count(*) FROM (SELECT i FROM sample LIMIT 10 OFFSET 295)",
        "SELECT count(*) FROM (SELECT i, s FROM sample LIMIT 5)",
        "SELECT i FROM sample UNION ALL SELECT j FROM sample",
        "SELECT i FROM sample UNION SELECT i FROM other UNION SELECT 99",
        "SELECT i FROM sample INTERSECT SELECT i FROM other",
        "SELECT i, bo FROM sample EXCEPT SELECT i, bo FROM other",
        "SELECT a.i, b.s FROM sample a JOIN other b ON a.i = b.i AND a.j < b.j",
        "SELECT a.i, b.i FROM sample a, other b WHERE a.s = b.s AND a.i <> b.i",
        "SELECT a.i, b.j FROM sample a LEFT JOIN other b ON a.i = b.i AND b.j > 20",
        "SELECT a.i, b.s FROM sample a LEFT JOIN other b ON a.i = b.i AND (a.bo OR b.bo)",
        "SELECT a.i, b.i FROM sample a RIGHT JOIN other b ON a.i = b.i AND a.s LIKE b.s || '%'",
        "SELECT a.i, b.j FROM sample a FULL JOIN other b USING (s)",
        "SELECT a.i, b.i FROM sample a LEFT JOIN other b ON a.i < b.i OR a.s = b.s",
        "SELECT count(*) FROM sample a, other b WHERE a.i < b.i",
        "SELECT count(*) FROM sample a CROSS JOIN other b",
        "SELECT i FROM sample SEMI JOIN other USING (i)",
        "SELECT i FROM sample ANTI JOIN other USING (i, bo)",
        "SELECT i FROM sample WHERE i IN (SELECT i FROM other WHERE bo)",
        "SELECT i FROM sample WHERE i NOT IN (SELECT i FROM other WHERE i > 9)",
        "SELECT i, s IN (SELECT s FROM other WHERE i < 5), i IN (SELECT nullif(i, 3) FROM other WHERE bo) FROM sample",
        "SELECT i FROM sample a WHERE EXISTS (SELECT 1 FROM other b WHERE b.i < a.i AND b.s = a.s)",
        "SELECT i FROM sample a WHERE NOT EXISTS (FROM other b WHERE b.i = a.i AND b.j <> a.j)",
        ("SELECT i, (SELECT max(j) FROM other b WHERE b.i = a.i), (SELECT count(*) FROM other b WHERE b.j < a.i) FROM "
         "sample a"),
        ("SELECT i FROM sample a WHERE j > (SELECT avg(j) FROM sample b WHERE b.bo = a.bo AND b.i IN (SELECT i FROM "
         "other c WHERE c.j < b.j))"),
        "SELECT i FROM sample WHERE j = (SELECT max(j) FROM sample)",
        "SELECT i, (SELECT b.s FROM other b WHERE b.i = a.i) FROM sample a",
        ("WITH t AS (SELECT bo, sum(j) n FROM sample GROUP BY bo) SELECT a.bo, a.n, b.n FROM t a, t b WHERE a.n < b.n "
         "OR a.bo IS NULL"),
        "WITH t AS MATERIALIZED (SELECT i, j FROM sample) SELECT count(*) FROM t a JOIN t b ON a.i = b.j",
        "SELECT a.i, n FROM sample a, LATERAL (SELECT count(*) FROM other b WHERE b.i < a.small) t(n)"})
    expect_equal_answers(query);
}

TEST_F(planner_test, refused_parts) {
  using testing::HasSubstr;
  using testing::StartsWith;
  const std::pair<const char *, const char *> refused[] = {
      {"SELECT i,\n row_number() OVER (ORDER BY i) FROM sample",
       "not executed: window functions (row_number, line 2, column 2)"},
      {"SELECT sum(i) OVER () FROM sample", "not executed: window functions (sum, line 1, column 8)"},
      {"SELECT median(i) FROM sample", "not executed: aggregates of this kind (median, line 1, column 8)"},
      {"WITH RECURSIVE r AS (SELECT 1 a UNION ALL SELECT a + 1 FROM r WHERE a < 5) FROM r",
       "not executed: recursive queries"},
      {"SELECT list FROM sample", "not executed: columns of the type BIGINT[] (list"},
      {"SELECT INTERVAL 1 DAY", "not executed: values of the type INTERVAL"},
      {"SELECT list_transform([i], x -> x + i) FROM sample", "not executed: lambda functions (list_transform"},
      {"SELECT i FROM sample LIMIT (SELECT 10)", "not executed: limits that are not constant"},
      {"SELECT i FROM sample LIMIT 101%", "Out of Range Error: Limit percent out of range"},
      {"SELECT i FROM sample EXCEPT ALL SELECT i FROM other", "not executed: EXCEPT ALL"},
      {"FROM sample USING SAMPLE 10 ROWS", "not executed: samples"},
      {"SELECT first(i ORDER BY s) FROM sample", "not executed: aggregates of this kind (arg_min_null)"},
      {"SELECT unnest([1, 2])", "not executed: lists that become rows"},
      {"FROM sample s, range(s.small)", "not executed: "},
      {"SELECT i FROM sample QUALIFY row_number() OVER (ORDER BY i) = 1", "not executed: window functions"},
      {"CREATE TABLE t (i INTEGER)", "only queries are answered"},
      {"EXPLAIN SELECT 1", "only queries are answered"}};
  for (const auto &[query, message] : refused)
    EXPECT_THAT(refusal(query), StartsWith(message)) << query;
  EXPECT_THAT(refusal("SELECT prise FROM sample"), HasSubstr("Candidate bindings: \"price\""));
  EXPECT_THAT(refusal("SELECT prise FROM sample"), HasSubstr("LINE 1: SELECT prise FROM sample\n               ^"));
  EXPECT_THAT(refusal("FROM sampel"), HasSubstr("Did you mean \"sample\"?"));
  EXPECT_THAT(refusal("SELECT FROM"), HasSubstr("syntax error"));
  EXPECT_THAT(refusal("FROM 'no.parquet'"), HasSubstr("no such file: no.parquet"));
}

TEST_F(planner_test, damaged_plan_texts) {
  const std::string text = store::sql::plan_text(
      planner_.plan("SELECT s, sum(sample.i) FROM sample JOIN other USING (s) WHERE price IN (1, 2) AND "
                    "b <> 'a'::BLOB GROUP BY s ORDER BY 2"));
  random_source random(7);
  for (int trial = 0; trial < 2000; ++trial) {
    std::string damaged = text;
    const size_t at = random.below(text.size());
    switch (random.below(3)) {
    case 0:
      damaged[at] = static_cast<char>(random.below(128));
      break;
    case 1:
      damaged.erase(at, 1 + random.below(40));
      break;
    default:
      damaged.insert(at, text, random.below(text.size()), random.below(40));
    }
    // A change may leave a plan, such as one with another name.
    try {
      store::sql::read_plan_text(damaged);
    } catch (const store::error &e) {
      EXPECT_THAT(e.what(), testing::StartsWith("not a plan: ")) << damaged;
    }
  }
}

TEST_F(planner_test, statements_of_a_text) {
  using testing::ElementsAre;
  EXPECT_THAT(store::sql::statements("SELECT 1;\n-- a; comment\nSELECT ';' ; ;SELECT \"a;\"\"b\" /* ; /* ; */ */"),
              ElementsAre("SELECT 1", "\n-- a; comment\nSELECT ';' ", "SELECT \"a;\"\"b\" /* ; /* ; */ */"));
  EXPECT_THAT(store::sql::statements("SELECT 'it''s;', E'\\';', $$;$$, $a$ $$;$a$, name'x;'; -- end"),
              ElementsAre("SELECT 'it''s;', E'\\';', $$;$$, $a$ $$;$a$, name'x;'"));
  EXPECT_THAT(store::sql::statements(" ; \n"), ElementsAre());
}

} // namespace

} // namespace vorn_test
