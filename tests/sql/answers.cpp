#include "tests/sql/answers.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include <fmt/format.h>

#include "store/chunk/kept_rows.hpp"

namespace vorn_test {

namespace {

using namespace store;

constexpr std::string_view null_text = {"\0NULL", 5}; // no text that a test makes

std::string number_text(__int128 number) {
  std::string out;
  auto magnitude = number < 0 ? -static_cast<unsigned __int128>(number) : static_cast<unsigned __int128>(number);
  do
    out.insert(out.begin(), static_cast<char>('0' + static_cast<int>(magnitude % 10)));
  while ((magnitude /= 10) != 0);
  return number < 0 ? "-" + out : out;
}

// Of a value in the plain representation of its type: a decimal number is written without its point, and a date as its
// days.
std::string text_of(const exec::vector &values, size_t row) {
  if (values.is_null(row))
    return std::string(null_text);
  switch (values.form) {
  case exec::representation::codes:
    break; // not plain
  case exec::representation::int64:
    return std::to_string(values.int64s()[row]);
  case exec::representation::int128:
    return number_text(values.int128s()[row]);
  case exec::representation::float64: {
    const double number = values.float64s()[row];
    return std::isnan(number) ? "nan" : fmt::format("{}", number == 0 ? 0 : number); // both zeros are one value
  }
  case exec::representation::text:
    return std::string(values.texts()[row]);
  }
  std::abort();
}

void append(std::vector<std::vector<std::string>> &to, std::span<const exec::vector> columns, uint32_t rows) {
  for (uint32_t row = 0; row < rows; ++row) {
    std::vector<std::string> &cells = to.emplace_back();
    for (const exec::vector &values : columns)
      cells.push_back(text_of(values, row));
  }
}

std::string shown(const std::vector<std::string> &row) {
  std::string out;
  for (const std::string &cell : row)
    out += (out.empty() ? "" : " | ") + (cell == null_text ? "NULL" : cell.empty() ? "''" : cell);
  return out;
}

bool are_near(const std::string &a, const std::string &b, double bound) {
  if (a == b)
    return true;
  char *end_of_a = nullptr;
  char *end_of_b = nullptr;
  const double x = std::strtod(a.c_str(), &end_of_a);
  const double y = std::strtod(b.c_str(), &end_of_b);
  if (*end_of_a != '\0' || *end_of_b != '\0' || a.empty() || b.empty())
    return false;
  return std::abs(x - y) <= bound * std::max(std::abs(x), std::abs(y));
}

// Orders rows by the columns that are exact, then by the others as numbers.
class row_order {
public:
  row_order(const answer_shape &shape, size_t columns) : is_rounded_(columns) {
    for (const size_t c : shape.rounded)
      is_rounded_[c] = true;
  }
  bool operator()(const std::vector<std::string> &a, const std::vector<std::string> &b) const {
    for (size_t c = 0; c < a.size(); ++c)
      if (!is_rounded_[c] && a[c] != b[c])
        return a[c] < b[c];
    for (size_t c = 0; c < a.size(); ++c)
      if (is_rounded_[c] && number_of(a[c]) != number_of(b[c]))
        return number_of(a[c]) < number_of(b[c]);
    return false;
  }
  bool are_equal(const std::vector<std::string> &a, const std::vector<std::string> &b, double bound) const {
    for (size_t c = 0; c < a.size(); ++c)
      if (is_rounded_[c] ? !are_near(a[c], b[c], bound) : a[c] != b[c])
        return false;
    return true;
  }

private:
  // NULL comes first and NaN last.
  static std::pair<int, double> number_of(const std::string &cell) {
    if (cell == null_text || cell == "nan")
      return {cell == null_text ? -1 : 1, 0};
    return {0, std::strtod(cell.c_str(), nullptr)};
  }

  std::vector<bool> is_rounded_;
};

std::string different_heads(const answer &found, const answer &expected) {
  if (found.names != expected.names)
    return fmt::format("columns {}, not {}", shown(found.names), shown(expected.names));
  if (found.types != expected.types)
    return fmt::format("types {}, not {}", shown(found.types), shown(expected.types));
  if (found.rows.size() != expected.rows.size())
    return fmt::format("{} rows, not {}", found.rows.size(), expected.rows.size());
  return {};
}

std::string different_order(const answer &found, const answer &expected, const answer_shape &shape) {
  for (size_t row = 0; row < found.rows.size(); ++row)
    for (const size_t c : shape.order)
      if (found.rows[row][c] != expected.rows[row][c])
        return fmt::format("row {} in the order is {}, not {}", row, shown(found.rows[row]), shown(expected.rows[row]));
  return {};
}

} // namespace

answer answer_of(exec::relation &of, const std::vector<std::string> &names, const exec::query_run &run) {
  answer out{names, {}, {}};
  for (const exec::layout &column : of.columns())
    out.types.push_back(column.type.name);
  of.open(run);
  exec::row_collector collected(of.columns(), std::vector<bool>(of.columns().size(), true), run.threads.threads());
  exec::run_all(of, run,
                [&](size_t thread, size_t morsel, exec::chunk &rows) { collected.append(thread, morsel, rows); });
  const exec::kept_rows rows = collected.finish();
  exec::arena memory;
  std::vector<exec::vector> columns;
  for (size_t c = 0; c < of.columns().size(); ++c)
    columns.push_back(exec::plain_values(rows.values(c), of.columns()[c], memory));
  append(out.rows, columns, static_cast<uint32_t>(rows.rows()));
  return out;
}

answer answer_of(sql::duckdb_answer rows) {
  answer out{rows.names(), {}, {}};
  for (const logical::sql_type &type : rows.types())
    out.types.push_back(type.name);
  exec::arena memory;
  std::vector<exec::vector> columns(out.names.size());
  while (const uint32_t count = rows.next(memory, columns)) {
    append(out.rows, columns, count);
    memory.rewind({});
  }
  return out;
}

std::string difference(const answer &found, const answer &expected, const answer_shape &shape) {
  if (std::string heads = different_heads(found, expected); !heads.empty())
    return heads;
  if (std::string order = different_order(found, expected, shape); !order.empty())
    return order;
  const row_order order(shape, found.names.size());
  std::vector<std::vector<std::string>> ours = found.rows;
  std::vector<std::vector<std::string>> theirs = expected.rows;
  if (!shape.is_whole_order) {
    std::ranges::sort(ours, order);
    std::ranges::sort(theirs, order);
  }
  for (size_t row = 0; row < ours.size(); ++row)
    if (!order.are_equal(ours[row], theirs[row], shape.bound))
      return fmt::format("{}row {} is {}, not {}", shape.is_whole_order ? "" : "sorted by all columns, ", row,
                         shown(ours[row]), shown(theirs[row]));
  return {};
}

std::string difference_of_some(const answer &found, const answer &expected, const answer &all,
                               const answer_shape &shape) {
  if (std::string heads = different_heads(found, expected); !heads.empty())
    return heads;
  if (std::string order = different_order(found, expected, shape); !order.empty())
    return order;
  const row_order order(shape, found.names.size());
  std::vector<std::vector<std::string>> ours = found.rows;
  std::vector<std::vector<std::string>> possible = all.rows;
  std::ranges::sort(ours, order);
  std::ranges::sort(possible, order);
  for (size_t row = 0, at = 0; row < ours.size(); ++row, ++at) {
    while (at < possible.size() && !order.are_equal(ours[row], possible[at], shape.bound))
      ++at;
    if (at == possible.size())
      return fmt::format("row {} is not among the {} rows without a limit", shown(ours[row]), possible.size());
  }
  return {};
}

} // namespace vorn_test
