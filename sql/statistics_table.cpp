#include "sql/statistics_table.hpp"

#include <algorithm>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/connection.hpp"

namespace store::sql {

namespace {

// Numbers up to this one stay as they are: the sizes of small tables, and the distinct values of columns that
// conditions compare with constants.
constexpr uint64_t exact_numbers = 512;

uint64_t reduced(uint64_t number, uint64_t factor) {
  return number <= exact_numbers ? number : std::max(exact_numbers, number / factor);
}

// Values of the type of a column, one for each value of the number `n`.
std::string values_of(const column_info &column, const std::string &n) {
  switch (column.type->kind) {
  case value_kind::boolean:
    return fmt::format("{} = 0", n);
  case value_kind::date:
    return fmt::format("DATE '2000-01-01' + {}::INTEGER", n);
  case value_kind::time:
    return fmt::format("TIME '00:00:00' + to_microseconds({})", n);
  case value_kind::timestamp:
  case value_kind::nanoseconds:
  case value_kind::instant:
    return fmt::format("CAST(make_timestamp({} * 1000000) AS {})", n, column.sql_type);
  case value_kind::uuid:
    return fmt::format("CAST('00000000-0000-0000-0000-' || lpad({}::VARCHAR, 12, '0') AS UUID)", n);
  case value_kind::blob:
    return fmt::format("encode({}::VARCHAR)", n);
  default:
    return fmt::format("TRY_CAST({} AS {})", n, column.sql_type);
  }
}

} // namespace

std::string statistics_rows(exec::table &of, uint64_t factor) {
  const uint64_t rows = reduced(of.rows(), factor);
  std::vector<std::string> columns;
  for (size_t i = 0; i < of.columns().size(); ++i) {
    const column_info &column = of.columns()[i];
    const uint64_t distinct = reduced(of.distinct_values(i), factor);
    const std::string values = distinct == 0 ? fmt::format("CAST(NULL AS {})", column.sql_type)
                                             : values_of(column, fmt::format("(i % {})", distinct));
    columns.push_back(fmt::format("{} AS {}", values, duckdb::quoted_name(column.name)));
  }
  // DuckDB counts the distinct values in the first rows of each chunk, so equal values must not be neighbours.
  return fmt::format("SELECT {} FROM (SELECT i * 2654435761 % {} AS i FROM range({}) numbers(i))",
                     fmt::join(columns, ", "), std::max<uint64_t>(rows, 1), rows);
}

} // namespace store::sql
