// The text of a condition, and the rows that it selects, by a model and by DuckDB.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include <fmt/format.h>

#include "fuzz/store/sample_table.hpp"
#include "fuzz/store/targets.hpp"
#include "store/error.hpp"
#include "tests/model/predicate.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

// As of a comparison with NULL, which is neither true nor false.
enum class truth { no, unknown, yes };

truth truth_of(bool holds) { return holds ? truth::yes : truth::no; }
truth negated(truth t) { return t == truth::unknown ? t : truth_of(t == truth::no); }

// A pattern, a character of it and of the text at a time.
bool is_like(std::string_view text, std::string_view pattern) {
  const auto rest = [](std::string_view of) {
    size_t bytes = 1;
    while (bytes < of.size() && (of[bytes] & 0xc0) == 0x80)
      ++bytes;
    return of.substr(bytes);
  };
  std::vector<std::string_view> reached = {text}; // what may be left of the text
  for (const char c : pattern) {
    std::vector<std::string_view> next;
    for (std::string_view left : reached) {
      if (c == '%')
        for (next.push_back(left); !left.empty(); next.push_back(left))
          left = rest(left);
      else if (!left.empty() && (c == '_' || left.front() == c))
        next.push_back(c == '_' ? rest(left) : left.substr(1));
    }
    std::ranges::sort(next, {}, &std::string_view::size);
    next.erase(std::unique(next.begin(), next.end(), [](auto a, auto b) { return a.size() == b.size(); }), next.end());
    reached = std::move(next);
  }
  return std::ranges::any_of(reached, &std::string_view::empty);
}

// Conditions by the meaning of SQL, a row at a time.
class row_model {
public:
  explicit row_model(uint64_t number) : row(number) {}

  truth of(const expression &e) const {
    switch (e.what) {
    case expression::kind::single:
      return of(e.asked);
    case expression::kind::negation:
      return negated(of(e.parts.front()));
    default:
      break;
    }
    const bool is_any = e.what == expression::kind::any_of;
    truth out = truth_of(!is_any);
    for (const expression &part : e.parts)
      out = is_any ? std::max(out, of(part)) : std::min(out, of(part));
    return out;
  }

private:
  truth of(const predicate &p) const {
    const cell &value = sample().cells.at(p.column)[row];
    const column_type &type = sample().encoded.at(p.column).type;
    truth out = truth::unknown;
    if (std::holds_alternative<null_test>(p.test))
      out = truth_of(std::holds_alternative<std::monostate>(value));
    else if (!std::holds_alternative<std::monostate>(value))
      out = std::visit([&](const auto &test) { return holds(test, value, type); }, p.test);
    return p.negated ? negated(out) : out;
  }

  static truth compared(unsigned op, const cell &value, const std::vector<constant> &constants, const column_type &type,
                        size_t index = 0) {
    if (constants[index].written == constant::form::null)
      return truth::unknown;
    std::vector<constant> known;
    for (const constant &c : constants)
      if (c.written != constant::form::null)
        known.push_back(c);
    return truth_of(vorn_model::satisfies(orders_of(known, type)[known.size() == 1 ? 0 : index](value), op, 0, 0));
  }
  static truth holds(const comparison_test &test, const cell &value, const column_type &type) {
    return compared(static_cast<unsigned>(test.op), value, {test.value}, type);
  }
  static truth holds(const interval_test &test, const cell &value, const column_type &type) {
    const unsigned above = includes_low(test.form) ? VORN_OPC_GE : VORN_OPC_GT;
    const unsigned below = includes_high(test.form) ? VORN_OPC_LE : VORN_OPC_LT;
    if (test.one_type)
      return std::min(compared(above, value, {test.low, test.high}, type, 0),
                      compared(below, value, {test.low, test.high}, type, 1));
    return std::min(compared(above, value, {test.low}, type), compared(below, value, {test.high}, type));
  }
  static truth holds(const set_test &test, const cell &value, const column_type &type) {
    std::vector<constant> known;
    for (const constant &c : test.values)
      if (c.written != constant::form::null)
        known.push_back(c);
    const auto orders = orders_of(known, type);
    if (std::ranges::any_of(orders, [&](const value_order &order) { return order(value) == 0; }))
      return truth::yes;
    return known.size() == test.values.size() ? truth::no : truth::unknown;
  }
  static truth holds(const like_test &test, const cell &value, const column_type &) {
    return truth_of(is_like(std::get<std::string_view>(value), test.pattern));
  }
  static truth holds(const null_test &, const cell &, const column_type &) { return truth::unknown; }

  uint64_t row;
};

std::vector<bool> selected(const store::condition &asked) {
  selection found;
  query(asked, sample().encoded).run(lasting_context(), found);
  std::vector<bool> out;
  for (uint64_t row = 0; row < sample().rows; ++row)
    out.push_back(found.contains(row));
  EXPECT_EQ(std::ranges::count(out, true), found.count);
  return out;
}

// A condition on values that are there.
class condition_maker {
public:
  explicit condition_maker(input &source) : from(source) {}

  std::string any(int depth = 0) {
    const int what = from.ConsumeIntegralInRange(0, depth < 3 ? 5 : 1);
    if (what == 2)
      return fmt::format("not ({})", any(depth + 1));
    if (what > 2)
      return fmt::format("({} {} {})", any(depth + 1), what == 3 ? "and" : "or", any(depth + 1));
    return single();
  }

private:
  std::string single() {
    auto column = sample().encoded.begin();
    std::advance(column, from.ConsumeIntegralInRange<size_t>(0, sample().encoded.size() - 1));
    const auto value = [&] { return value_of(column->first, column->second.type); };
    const std::string name = duckdb::quoted_name(column->first), negation = from.ConsumeBool() ? " not" : "";
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="};
    switch (from.ConsumeIntegralInRange(0, 4)) {
    case 0:
      return fmt::format("{}{} between {} and {}", name, negation, value(), value());
    case 1:
      return fmt::format("{}{} between {}{},{}{}", name, negation, "(["[from.ConsumeBool()], value(), value(),
                         ")]"[from.ConsumeBool()]);
    case 2:
      return fmt::format("{}{} in ({}, {}, {})", name, negation, value(), value(), value());
    case 3:
      return fmt::format("{} is{} null", name, negation);
    default:
      return fmt::format("{} {} {}", name, from.PickValueInArray(operators), value());
    }
  }

  std::string value_of(const std::string &name, const column_type &type) {
    const cell &c = sample().cells.at(name)[from.ConsumeIntegralInRange<uint64_t>(0, sample().rows - 1)];
    std::string text;
    append_text(text, c, type);
    return std::holds_alternative<std::monostate>(c) || (type.is_numeric() && is_number(text) && from.ConsumeBool())
               ? text
               : duckdb::quoted_text(text);
  }

  input &from;
};

std::vector<char> text_from(input &from) {
  if (from.ConsumeBool())
    return from.ConsumeRemainingBytes<char>(); // nothing ends it
  const std::string made = condition_maker(from).any();
  return {made.begin(), made.end()};
}

std::optional<store::condition> parsed(std::string_view text) {
  try {
    return parse_condition(text, sample().columns);
  } catch (const error &) {
    return std::nullopt;
  }
}

struct selecting {
  store::condition asked;
  std::vector<bool> expected; // the rows that it selects
};

std::optional<selecting> selecting_from(input &from) {
  const std::vector<char> text = text_from(from);
  auto asked = parsed({text.data(), text.size()});
  if (!asked)
    return std::nullopt;
  selecting out{std::move(*asked), {}};
  for (uint64_t row = 0; row < sample().rows; ++row)
    out.expected.push_back(row_model(row).of(out.asked.root) == truth::yes);
  return out;
}

} // namespace

void condition(input &from) {
  const auto made = selecting_from(from);
  if (!made)
    return;
  const auto &[asked, expected] = *made;
  EXPECT_EQ(selected(asked), expected) << asked.sql;
  // What DuckDB is handed is a condition of the same meaning.  It may have more brackets than are read.
  if (const auto again = parsed(asked.sql)) {
    EXPECT_EQ(again->sql, asked.sql);
    EXPECT_EQ(again->columns, asked.columns);
    EXPECT_EQ(selected(*again), expected) << asked.sql;
  } else {
    EXPECT_GT(std::ranges::count(asked.sql, '('), 100) << asked.sql;
  }
}

void answer(input &from) {
  if (const auto made = selecting_from(from))
    try {
      EXPECT_EQ(sample().selected(made->asked.sql), made->expected) << made->asked.sql;
    } catch (const error &) { // NOLINT(bugprone-empty-catch): of a text that DuckDB does not take
    }
}

} // namespace vorn_fuzz
