// Expressions that DuckDB evaluates on vectors of the store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "sql/duckdb_functions.hpp"
#include "sql/vectors.hpp"
#include "store/error.hpp"
#include "store/logical/sql.hpp"
#include "tests/exec/given_rows.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_test {

namespace {

using namespace store;
using logical::expression;
using logical::operation;
using logical::sql_type;

expression call(std::string name, const std::string &type, std::vector<expression> arguments) {
  expression out;
  out.what = operation::function;
  out.name = std::move(name);
  out.type = sql_type(type);
  out.children = std::move(arguments);
  write_sql(out);
  return out;
}

expression text(const std::string &value) {
  expression out;
  out.type = sql_type("VARCHAR");
  out.value = value;
  return out;
}

class duckdb_functions_test : public testing::Test {
protected:
  // Rows of a query's only column as a vector.
  exec::vector values(const std::string &query, const std::string &type) {
    auto answer = database_.query(query);
    const auto chunk = answer.next();
    return sql::from_duckdb(chunk->column(0), sql_type(type), static_cast<uint32_t>(chunk->rows()), memory_);
  }

  vorn_ctx library_{};
  sql::duckdb_functions functions_{library_};
  duckdb::connection database_{1};
  exec::arena memory_;
};

// Through DuckDB and back, with NULL and extremes, as columns that the expression does not read stand between.
TEST_F(duckdb_functions_test, values_of_every_type) {
  const std::pair<const char *, const char *> types[] = {
      {"BOOLEAN", "true, false"},
      {"TINYINT", "-128, 127"},
      {"USMALLINT", "0, 65535"},
      {"INTEGER", "-2147483648, 2147483647"},
      {"BIGINT", "-9223372036854775808, 9223372036854775807"},
      {"UBIGINT", "0, 18446744073709551615"},
      {"HUGEINT", "'-170141183460469231731687303715884105728', '170141183460469231731687303715884105727'"},
      {"DECIMAL(4,1)", "-999.9, 999.9"},
      {"DECIMAL(15,2)", "-9999999999999.99, 0.01"},
      {"DECIMAL(38,3)", "'-99999999999999999999999999999999999.999', '0.001'"},
      {"FLOAT", "'nan', '-inf', '-0', '1.5'"},
      {"DOUBLE", "'nan', 'inf', '-0', '1e300', '0.1'"},
      {"DATE", "'infinity', '-infinity', '1969-12-31', '0001-01-01 (BC)'"},
      {"TIME", "'00:00:00', '23:59:59.999999'"},
      {"TIMESTAMP", "'infinity', '-infinity', '1969-12-31 23:59:59.999999'"},
      {"TIMESTAMP_S", "'infinity', '-infinity', '1969-12-31 23:59:59'"},
      {"TIMESTAMP_MS", "'infinity', '-infinity', '1969-12-31 23:59:59.999'"},
      {"TIMESTAMP_NS", "'1969-12-31 23:59:59.999999999', '2200-01-01'"},
      {"TIMESTAMP WITH TIME ZONE", "'infinity', '2000-01-01 00:00:00+00'"},
      {"UUID", "'00000000-0000-0000-0000-000000000000', 'ffffffff-ffff-ffff-ffff-fffffffffffe'"},
      {"VARCHAR", "'', 'short', 'a text of more than twelve bytes', 'x' || chr(0) || 'y'"},
      {"BLOB", "'', '\\x00\\xFF', 'a blob of more than twelve bytes\\x80'"}};
  for (const auto &[type, listed] : types) {
    SCOPED_TRACE(type);
    const std::string query = fmt::format("SELECT unnest([NULL, {}]::{}[]) v", listed, type);
    const exec::vector given[] = {{}, values(query, type)};
    const sql_type input_types[] = {sql_type("INTEGER"), sql_type(type)};
    // The text, which DuckDB makes of the value that it got.
    const auto as_text = functions_.bind(
        [&] {
          expression cast;
          cast.what = operation::cast;
          cast.type = sql_type("VARCHAR");
          cast.children = {exec::column_of(1, std::string(input_types[1].name))};
          write_sql(cast);
          return cast;
        }(),
        input_types);
    const exec::vector expected = values(fmt::format("SELECT v::VARCHAR FROM ({})", query), "VARCHAR");
    const exec::vector actual = as_text->run(given, given[1].rows, memory_);
    ASSERT_EQ(actual.rows, expected.rows);
    for (uint32_t row = 0; row < actual.rows; ++row) {
      EXPECT_EQ(actual.is_null(row), expected.is_null(row)) << row;
      if (!expected.is_null(row)) {
        EXPECT_EQ(actual.texts()[row], expected.texts()[row]);
      }
    }
  }
}

TEST_F(duckdb_functions_test, many_rows_in_several_calls_and_threads) {
  const expression added = call("+", "BIGINT", {exec::column_of(0, "BIGINT"), exec::column_of(0, "BIGINT")});
  std::vector<std::thread> threads;
  for (uint32_t t = 0; t < 3; ++t)
    threads.emplace_back([&, t] {
      const sql_type types[] = {sql_type("BIGINT")};
      const auto bound = functions_.bind(added, types);
      exec::arena memory;
      for (const uint32_t rows : {1U, 2047U, 10000U + t}) {
        const auto numbers = memory.take<int64_t>(rows);
        const auto valid = exec::all_valid(memory, rows);
        for (uint32_t row = 0; row < rows; ++row) {
          numbers[row] = row * 7 + t;
          if (row % 5 == 2)
            exec::set_null(valid, row);
        }
        const exec::vector inputs[] = {exec::vector(numbers, valid.data())};
        const exec::vector out = bound->run(inputs, rows, memory);
        ASSERT_EQ(out.rows, rows);
        for (uint32_t row = 0; row < rows; ++row) {
          ASSERT_EQ(out.is_null(row), row % 5 == 2) << row;
          if (row % 5 != 2) {
            ASSERT_EQ(out.int64s()[row], 2 * (row * 7 + t));
          }
        }
      }
    });
  for (std::thread &thread : threads)
    thread.join();
}

TEST_F(duckdb_functions_test, errors_leave_the_function_usable) {
  const sql_type types[] = {sql_type("INTEGER")};
  const auto bound =
      functions_.bind(call("*", "INTEGER", {exec::column_of(0, "INTEGER"), exec::column_of(0, "INTEGER")}), types);
  int64_t number = 1 << 20;
  const exec::vector inputs[] = {exec::vector(std::span<int64_t>(&number, 1))};
  EXPECT_THAT([&] { bound->run(inputs, 1, memory_); },
              testing::ThrowsMessage<error>(testing::HasSubstr("Overflow in multiplication of INT32")));
  number = -3;
  EXPECT_EQ(bound->run(inputs, 1, memory_).int64s()[0], 9);
  EXPECT_THROW(functions_.bind(call("no_such_function", "INTEGER", {}), types), error);
  EXPECT_THROW(functions_.bind(call("range", "BIGINT[]", {exec::column_of(0, "INTEGER")}), types), error);
}

TEST_F(duckdb_functions_test, points_in_a_polygon) {
  const scratch_folder folder;
  const std::string square = folder.write("square.csv", "x,y\n0,0\n4,0\n4,4\n0,4\n");
  const sql_type types[] = {sql_type("DOUBLE"), sql_type("DOUBLE")};
  const auto inside = [&](const std::string &file) {
    return functions_.bind(
        call("vorn_inside", "BOOLEAN", {exec::column_of(0, "DOUBLE"), exec::column_of(1, "DOUBLE"), text(file)}),
        types);
  };
  const double xs[] = {1, 5, 0, -1, 2};
  const double ys[] = {1, 1, 0, 2, 3.5};
  const uint64_t valid = 0b01111;
  const exec::vector inputs[] = {exec::vector(std::span<const double>(xs)),
                                 exec::vector(std::span<const double>(ys), &valid)};
  const exec::vector out = inside(square)->run(inputs, 5, memory_);
  EXPECT_THAT(out.int64s().first(4), testing::ElementsAre(1, 0, 1, 0));
  EXPECT_TRUE(out.is_null(4));
  EXPECT_THAT([&] { inside(folder.write("line.csv", "x,y\n0,0\n1,1\n"))->run(inputs, 5, memory_); },
              testing::ThrowsMessage<error>(testing::HasSubstr("fewer points than a polygon")));
}

} // namespace

} // namespace vorn_test
