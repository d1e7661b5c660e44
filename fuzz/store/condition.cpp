// The text of a condition, and the rows that it selects.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

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

std::optional<store::condition> parsed(std::string_view text) {
  try {
    return parse_condition(text, sample().columns);
  } catch (const error &) {
    return std::nullopt;
  }
}

} // namespace

void condition(input &from) {
  const auto text = from.ConsumeRemainingBytes<char>(); // nothing ends it
  const auto asked = parsed({text.data(), text.size()});
  if (!asked)
    return;
  std::vector<bool> expected;
  for (uint64_t row = 0; row < sample().rows; ++row)
    expected.push_back(row_model(row).of(asked->root) == truth::yes);
  EXPECT_EQ(selected(*asked), expected) << asked->sql;
  // What DuckDB is handed is a condition of the same meaning.  It may have more brackets than are read.
  if (const auto again = parsed(asked->sql)) {
    EXPECT_EQ(again->sql, asked->sql);
    EXPECT_EQ(again->columns, asked->columns);
    EXPECT_EQ(selected(*again), expected) << asked->sql;
  } else {
    EXPECT_GT(std::ranges::count(asked->sql, '('), 100) << asked->sql;
  }
}

} // namespace vorn_fuzz
