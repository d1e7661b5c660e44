// Reading and writing of values, and their order.
#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/connection.hpp"
#include "sql/values.hpp"
#include "store/error.hpp"
#include "store/value/constant.hpp"
#include "store/value/value.hpp"

namespace {

using namespace store;

// Where a value written as a text lies to a constant.
int order(std::string_view sql_type, const std::string &value, const std::string &other) {
  static duckdb::connection db;
  const column_type type = type_of(sql_type).value();
  auto rows = db.query(
      fmt::format("SELECT {} FROM (SELECT {}::{} AS v)", sql_values("v", type), duckdb::quoted_text(value), sql_type));
  const auto chunk = rows.next();
  const constant c{constant::form::text, other};
  return orders_of(std::span(&c, 1), type).front()(value_at(chunk->column(0), 0, type.kind));
}

TEST(constant, of_each_type_is_read_as_duckdb_reads_it) {
  const std::pair<const char *, std::vector<std::string>> ascending[] = {
      {"BOOLEAN", {"false", "true"}},
      {"BIGINT", {"-9223372036854775808", "-1", "0", "9223372036854775807"}},
      {"UBIGINT", {"0", "9223372036854775807", "9223372036854775808", "18446744073709551615"}},
      {"HUGEINT", {"-170141183460469231731687303715884105", "-1", "0", "99999999999999999999999999999999999999"}},
      {"DECIMAL(5,2)", {"-1.26", "-1.25", "0.00", "999.99"}},
      {"DECIMAL(38,10)", {"-12345678901234567890.5", "-0.0000000001", "0", "12345678901234567890.5"}},
      {"FLOAT", {"-inf", "-1e30", "0", "1e-45", "0.1", "inf", "nan"}},
      {"DOUBLE", {"-inf", "-1e308", "-1.5", "-5e-324", "0", "5e-324", "1", "1e308", "inf", "nan"}},
      {"DATE", {"-infinity", "0044-03-15 (BC)", "0001-01-01", "1969-12-31", "2000-02-29", "12345-01-01", "infinity"}},
      {"TIME", {"00:00:00", "10:30:00.000001", "23:59:59.999999", "24:00:00"}},
      {"TIMESTAMP",
       {"-infinity", "0044-03-15 (BC) 01:02:03", "1969-12-31 23:59:59.25", "1970-01-02 01:02:00",
        "12345-01-01 00:00:00.5", "infinity"}},
      {"TIMESTAMP_NS", {"1969-12-31 23:59:59.999999999", "1970-01-01 00:00:00.000000001", "2001-01-01 00:00:00"}},
      {"TIMESTAMP WITH TIME ZONE",
       {"-infinity", "2001-01-01 10:00:00+02", "2001-01-01 10:00:00", "2001-01-01 10:00:00-03:30"}},
      {"UUID",
       {"00000000-0000-0000-0000-000000000001", "7fffffff-ffff-ffff-ffff-ffffffffffff",
        "80000000-0000-0000-0000-00000000000a"}},
      {"VARCHAR", {"", "12", "a", "\xc3\xa9"}},
      {"BLOB", {"", "\\x00a", "a", "\\xFF"}},
  };
  for (const auto &[type, values] : ascending)
    for (size_t i = 0; i < values.size(); ++i)
      for (size_t j = 0; j < values.size(); ++j)
        EXPECT_EQ(std::clamp(order(type, values[i], values[j]), -1, 1), i < j   ? -1
                                                                        : i > j ? 1
                                                                                : 0)
            << type << " " << values[i] << " to " << values[j];
  EXPECT_EQ(order("DOUBLE", "-0.0", "0"), 0);
  EXPECT_EQ(order("INTEGER", "6", "5.5"), 0) << "a text is rounded";
  EXPECT_EQ(order("DECIMAL(5,2)", "-1.26", "-1.255"), 0);
}

TEST(constant, is_refused_when_it_is_not_of_the_type) {
  const std::pair<const char *, std::vector<std::string>> cases[] = {
      {"BOOLEAN", {"", "2", "yes please"}},
      {"BIGINT", {"", "-", "12a", "1.5.2", "1e", "e5", "0x10", "inf"}},
      {"DOUBLE", {"", "1.5.2", "x", "1e", "1 2"}},
      {"DATE", {"", "2001", "2001-02-29", "2001-13-01", "2001-01-15x", "infinite"}},
      {"TIME", {"10", "25:00", "24:00:01", "10:60", "10:30:00."}},
      {"TIMESTAMP",
       {"2001-01-15 10", "2001-01-15 10:30:60", "2001-01-15 10:30:00.", "2001-01-15 10:3", "999999-01-01 00:00:00"}},
      {"TIMESTAMP WITH TIME ZONE", {"2001-01-15 10:00:00+", "2001-01-15 10:00:00 CET"}},
      {"UUID", {"", "80000000-0000-0000-0000-00000000000g", "800000000000-0000-0000-00000000000a"}},
      {"BLOB", {"\\x0", "\\", "\xc3\xa9"}},
  };
  for (const auto &[type, texts] : cases)
    for (const std::string &text : texts) {
      const constant c{constant::form::text, text};
      EXPECT_THROW(orders_of(std::span(&c, 1), type_of(type).value()), error) << type << " '" << text << "'";
    }
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
      {"DOUBLE",
       "VALUES ('nan'), ('inf'), ('-inf'), ('0'), ('-0.0'), ('1e15'), ('1e16'), ('0.0001'), ('0.00001'), ('5e-324')"},
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
      {"UBIGINT", "VALUES (18446744073709551615)"},
      {"HUGEINT", "VALUES ('-170141183460469231731687303715884105728'), ('0'), (NULL)"},
      {"DECIMAL(4,3)", "VALUES (-1.25), (0), (9.999), (0.001), (-0.001)"},
      {"DECIMAL(18,0)", "VALUES (-999999999999999999)"},
      {"DECIMAL(38,37)", "VALUES (-1.5), (0.1)"},
      {"TIME", "VALUES ('10:00'), ('24:00:00'), ('00:00:00.000001'), ('23:59:59.5')"},
      {"TIMESTAMP_NS", "VALUES ('1969-12-31 23:59:59.123456789'), ('2001-01-01'), ('infinity')"},
      {"TIMESTAMP WITH TIME ZONE", "VALUES ('2001-01-01 10:00:00.5+02'), ('-infinity')"},
      {"UUID", "VALUES ('00112233-4455-6677-8899-aabbccddeeff'), ('ffffffff-0000-0000-0000-000000000000')"},
      {"BLOB", "VALUES ('a\\x00\\xFF\\x5C'), (''), ('\\x27\\x22 ~')"},
  };
  duckdb::connection db;
  for (const sample &s : samples) {
    const column_type type = type_of(s.sql_type).value();
    auto rows = db.query(fmt::format("SELECT {}, coalesce(v::VARCHAR, 'NULL'), FROM (SELECT v::{} AS v FROM ({}) t(v))",
                                     sql_values("v", type), s.sql_type, s.values));
    uint64_t compared = 0;
    while (auto chunk = rows.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row, ++compared) {
        std::string written;
        append_text(written, value_at(chunk->column(0), row, type.kind), type);
        EXPECT_EQ(written, chunk->column(1).text(row)) << s.sql_type;
      }
    EXPECT_GT(compared, 0U) << s.sql_type;
  }
}

} // namespace
