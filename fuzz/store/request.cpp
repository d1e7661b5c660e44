// What else is typed: columns, orders, sums, keys of joins and encodings.  What was read is written again, with every
// name in quotes, and read once more.
#include <gtest/gtest.h>

#include <algorithm>

#include <fmt/format.h>

#include "fuzz/store/sample_table.hpp"
#include "fuzz/store/targets.hpp"
#include "sql/request.hpp"
#include "store/error.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

const column_names &names() {
  static const column_names known(sample().columns);
  return known;
}

std::string quoted(const std::vector<std::string> &all) {
  std::string out;
  for (const std::string &name : all)
    out += (out.empty() ? "" : " ,") + duckdb::quoted_name(name);
  return out;
}

std::string written(const asked_operand &of) { return of.constant ? of.text : duckdb::quoted_name(of.text); }
std::string written(const asked_aggregate &of) {
  return of.op == '\0' ? written(of.left) : fmt::format("{} {} {}", written(of.left), of.op, written(of.right));
}

template <class Named>
std::string written(const std::vector<Named> &all, std::string Named::*name) {
  std::string out;
  for (const Named &item : all)
    out += (out.empty() ? "" : ",") + duckdb::quoted_name(item.*name) + (item.descending ? " DESC" : " asc");
  return out;
}

// What names a column that is there is never refused.
void expect_understood(input &from) {
  std::vector<std::string> numbers;
  for (const column_info &info : sample().columns)
    if (info.type && info.type->is_numeric())
      numbers.push_back(info.name);
  const auto column = [&] {
    return asked_operand{numbers[from.ConsumeIntegralInRange<size_t>(0, numbers.size() - 1)]};
  };
  constexpr char operators[] = {'\0', '+', '-', '*'};
  asked_aggregate asked{function::sum, column(), from.PickValueInArray(operators), column()};
  if (asked.op != '\0' && from.ConsumeBool())
    (from.ConsumeBool() ? asked.left : asked.right) = {"-2.5", -2.5};
  EXPECT_EQ(parse_aggregate(asked.what, written(asked), names()).name(), asked.name());
  EXPECT_EQ(parse_columns(quoted(numbers), names()), numbers);
}

// Lines as options of a query.  The first byte of a line says which option it is.  A query without sums shows rows.
store::request read_request(const std::vector<std::vector<char>> &lines) {
  store::request out;
  for (const std::vector<char> &line : lines) {
    if (line.empty())
      continue;
    const std::string_view text(line.data() + 1, line.size() - 1);
    switch (line.front()) {
    case 'g': {
      out.columns = parse_columns(text, names());
      EXPECT_EQ(parse_columns(quoted(out.columns), names()), out.columns) << text;
      break;
    }
    case '+':
    case '/': {
      const function what = line.front() == '+' ? function::sum : function::average;
      const asked_aggregate &read = out.aggregates.emplace_back(parse_aggregate(what, text, names()));
      EXPECT_EQ(parse_aggregate(what, written(read), names()).name(), read.name()) << text;
      out.is_grouped = true;
      break;
    }
    case '#':
      out.aggregates.emplace_back();
      out.is_grouped = true;
      break;
    case 'o': {
      out.order = parse_order(text, out, names());
      const std::string again = written(out.order, &asked_order::by);
      EXPECT_EQ(written(parse_order(again, out, names()), &asked_order::by), again) << text;
      break;
    }
    case 'd': {
      const std::string again = written(parse_directions(text), &directed_name::name);
      EXPECT_EQ(written(parse_directions(again), &directed_name::name), again) << text;
      break;
    }
    case 'j': {
      const auto read = parse_equality(text);
      EXPECT_EQ(parse_equality(quoted({read.first}) + "=" + quoted({read.second})), read) << text;
      break;
    }
    case 'e': {
      const auto read = parse_assignment(text);
      EXPECT_EQ(parse_assignment(quoted({read.first}) + "=" + read.second), read) << text;
      const encoding_choice choice = parse_encoding(read.second);
      EXPECT_EQ(fmt::format("{}{}", encoding_name(choice.form.value()), choice.compressed ? "+qpak" : ""), read.second);
      break;
    }
    default:
      out.set_where(parse_condition({line.data(), line.size()}, names()));
    }
  }
  return out;
}

} // namespace

void request(input &from) {
  expect_understood(from);
  const auto text = from.ConsumeRemainingBytes<char>();
  std::vector<std::vector<char>> lines(1); // nothing ends them
  for (const char c : text)
    if (c == '\n')
      lines.emplace_back();
    else
      lines.back().push_back(c);
  try {
    const store::request asked = read_request(lines);
    const auto headings = asked.headings(names());
    EXPECT_EQ(headings.size(), asked.columns.size() + asked.aggregates.size());
    for (const std::string &name : asked.all_columns())
      EXPECT_EQ(names().find(name).name, name);
    const sql_select sql = asked.sql(names(), true);
    EXPECT_GE(sql.values.size(), headings.size());
    EXPECT_GE(sql.order.size(), asked.order.size());
  } catch (const error &) { // NOLINT(bugprone-empty-catch)
  }
}

} // namespace vorn_fuzz
