// Reading and writing of values, and the order of their keys.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "store/duckdb/connection.hpp"
#include "store/duckdb/values.hpp"
#include "store/error.hpp"
#include "store/value/value.hpp"

namespace {

using namespace store;

int64_t key(value_kind kind, std::string_view text) { return std::get<int64_t>(parse_value(kind, text)); }

TEST(value, reads_each_kind) {
  constexpr int64_t day = 86'400'000'000;
  EXPECT_EQ(key(value_kind::boolean, "false"), 0);
  EXPECT_EQ(key(value_kind::boolean, "true"), 1);
  EXPECT_EQ(key(value_kind::integer, "-9223372036854775808"), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(key(value_kind::date, "1970-01-01"), 0);
  EXPECT_EQ(key(value_kind::date, "1969-12-31"), -1);
  EXPECT_EQ(key(value_kind::date, "2000-02-29"), 11'016);
  EXPECT_EQ(key(value_kind::timestamp, "1970-01-02"), day);
  EXPECT_EQ(key(value_kind::timestamp, "1970-01-02 01:02"), day + 3'720'000'000);
  EXPECT_EQ(key(value_kind::timestamp, "1970-01-02T01:02:03"), day + 3'723'000'000);
  EXPECT_EQ(key(value_kind::timestamp, "1969-12-31 23:59:59.25"), -750'000);
  EXPECT_EQ(std::get<std::string>(parse_value(value_kind::text, "12")), "12");
}

TEST(value, refuses_what_is_not_of_the_kind) {
  const std::pair<value_kind, std::vector<std::string>> cases[] = {
      {value_kind::boolean, {"", "1", "True "}},
      {value_kind::integer, {"", "-", "12a", "1.5", " 1", "9223372036854775808"}},
      {value_kind::real, {"", "1.5.2", "x", "1e", "1 2"}},
      {value_kind::date, {"", "2001", "2001-1-15", "2001-02-29", "2001-13-01", "2001-01-15 10:30", "2001-01-15x"}},
      {value_kind::timestamp,
       {"2001-01-15 ", "2001-01-15 10", "2001-01-15 24:00", "2001-01-15 10:60", "2001-01-15 10:30:60",
        "2001-01-15 10:30:00.", "2001-01-15 10:30:00.1234567", "2001-01-15 10:3"}},
  };
  for (const auto &[kind, texts] : cases)
    for (const std::string &text : texts)
      EXPECT_THROW(parse_value(kind, text), error) << kind_name(kind) << " '" << text << "'";
}

TEST(value, keys_of_reals_sort_as_sql_does) {
  const char *ascending[] = {"-inf",   "-1e308", "-1.5", "-1",    "-5e-324", "0",
                             "5e-324", "1",      "1.5",  "1e308", "inf",     "nan"};
  for (size_t i = 1; i < std::size(ascending); ++i)
    EXPECT_LT(key(value_kind::real, ascending[i - 1]), key(value_kind::real, ascending[i])) << ascending[i];
  EXPECT_EQ(real_key(-0.0), real_key(0.0));
  EXPECT_EQ(real_key(-std::numeric_limits<double>::quiet_NaN()), real_key(std::numeric_limits<double>::quiet_NaN()));
}

TEST(value, writes_as_duckdb_does) {
  struct sample {
    const char *sql_type;
    const char *values; // a table of one column, v
  };
  const sample samples[] = {
      {"BOOLEAN", "VALUES (true), (false), (NULL)"},
      {"UBIGINT", "VALUES (0), (9223372036854775807)"},
      {"BIGINT", "VALUES (-9223372036854775808), (0)"},
      {"DOUBLE", "VALUES ('nan'), ('inf'), ('-inf'), ('0'), ('1e15'), ('1e16'), ('0.0001'), ('0.00001'), ('5e-324')"},
      {"DOUBLE", "SELECT (hash(i) / 1e18 - 9) * pow(10, i % 60 - 30) FROM range(3000) t(i)"},
      {"FLOAT", "VALUES ('nan'), ('0.1'), ('16777216'), ('1e10'), ('1e15'), ('1e16'), ('1e-5'), ('3.4e38')"},
      {"FLOAT", "SELECT (i - 500) / 8 FROM range(1000) t(i)"},
      {"DATE", "VALUES ('1969-12-31'), ('2000-02-29'), ('0001-01-01'), ('0044-03-15 (BC)'), ('infinity'), "
               "('-infinity'), ('99999-12-31'), ('5877642-06-25 (BC)'), ('5881580-07-10')"},
      {"DATE", "SELECT DATE '1970-01-01' + (hash(i) % 2000000)::INTEGER - 1000000 FROM range(1000) t(i)"},
      {"TIMESTAMP", "VALUES ('1969-12-31 23:59:59.25'), ('2001-01-15 10:30:00'), ('2001-01-15 00:00:00.000001'), "
                    "('0044-03-15 (BC) 01:02:03'), ('infinity'), ('-infinity'), ('294247-01-10 04:00:54.775806')"},
      {"TIMESTAMP_S", "VALUES ('2001-01-15 10:30:59')"},
      {"TIMESTAMP_MS", "VALUES ('2001-01-15 10:30:59.120')"},
      {"VARCHAR", "VALUES ('a b'), (''), (NULL)"},
  };
  duckdb::connection db;
  for (const sample &s : samples) {
    const value_kind kind = traits_of(s.sql_type)->kind;
    auto rows = db.query(fmt::format("SELECT {}, coalesce(v::VARCHAR, 'NULL'), FROM (SELECT v::{} AS v FROM ({}) t(v))",
                                     sql_values("v", kind), s.sql_type, s.values));
    uint64_t compared = 0;
    while (auto chunk = rows.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row, ++compared)
        EXPECT_EQ(to_text(value_at(chunk->column(0), row, kind), s.sql_type), chunk->column(1).text(row)) << s.sql_type;
    EXPECT_GT(compared, 0U) << s.sql_type;
  }
}

} // namespace
