// The text of a condition, and the rows that it selects, by a model and by DuckDB.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <span>
#include <tuple>

#include <fmt/format.h>

#include "fuzz/store/sample_table.hpp"
#include "fuzz/store/targets.hpp"
#include "sql/condition.hpp"
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

// What a test says of a value that is not NULL.
using value_test = std::function<truth(const cell &)>;

// A comparison by a library's operation, with NULL where there is no order.
value_test compared(unsigned op, std::optional<value_order> order) {
  return [op, order = std::move(order)](const cell &value) {
    return order ? truth_of(vorn_model::satisfies((*order)(value), op, 0, 0)) : truth::unknown;
  };
}

bool is_null(const constant &c) { return c.written == constant::form::null; }

// The orders to constants that are compared together; none to NULL.
std::vector<std::optional<value_order>> orders_to(const std::vector<constant> &all, const column_type &type) {
  std::vector<constant> known;
  std::ranges::copy_if(all, std::back_inserter(known), [](const constant &c) { return !is_null(c); });
  auto orders = orders_of(known, type);
  std::vector<std::optional<value_order>> out;
  for (size_t i = 0, next = 0; i < all.size(); ++i)
    out.push_back(is_null(all[i]) ? std::nullopt : std::optional(std::move(orders[next++])));
  return out;
}

value_test meaning(const comparison_test &test, const column_type &type) {
  return compared(static_cast<unsigned>(test.op), orders_to({test.value}, type).front());
}
value_test meaning(const interval_test &test, const column_type &type) {
  auto low = orders_to({test.low}, type).front(), high = orders_to({test.high}, type).front();
  if (test.one_type) {
    auto both = orders_to({test.low, test.high}, type);
    std::tie(low, high) = std::tie(both[0], both[1]);
  }
  const value_test above = compared(includes_low(test.form) ? VORN_OPC_GE : VORN_OPC_GT, low);
  const value_test below = compared(includes_high(test.form) ? VORN_OPC_LE : VORN_OPC_LT, high);
  return [above, below](const cell &value) { return std::min(above(value), below(value)); };
}
value_test meaning(const set_test &test, const column_type &type) {
  std::vector<value_test> members;
  for (auto &order : orders_to(test.values, type))
    members.push_back(compared(VORN_OPC_EQ, std::move(order)));
  return [members](const cell &value) {
    truth out = truth::no;
    for (const value_test &member : members)
      out = std::max(out, member(value));
    return out;
  };
}
value_test meaning(const like_test &test, const column_type &) {
  return [&test](const cell &value) { return truth_of(is_like(std::get<std::string_view>(value), test.pattern)); };
}
value_test meaning(const null_test &, const column_type &) {
  return [](const cell &) { return truth::no; };
}

// A condition by the meaning of SQL, for each row.
std::vector<truth> truths_of(const predicate &p) {
  const value_test test =
      std::visit([&](const auto &t) { return meaning(t, sample().encoded.at(p.column).type); }, p.test);
  std::vector<truth> out;
  for (const cell &value : sample().cells.at(p.column)) {
    const bool is_missing = std::holds_alternative<std::monostate>(value);
    const truth of_null = std::holds_alternative<null_test>(p.test) ? truth::yes : truth::unknown;
    const truth holds = is_missing ? of_null : test(value);
    out.push_back(p.negated ? negated(holds) : holds);
  }
  return out;
}
std::vector<truth> truths_of(const expression &e) {
  if (e.what == expression::kind::single)
    return truths_of(e.asked);
  std::vector<truth> out = truths_of(e.parts.front());
  if (e.what == expression::kind::negation)
    std::ranges::transform(out, out.begin(), negated);
  for (const expression &part : std::span(e.parts).subspan(1))
    std::ranges::transform(out, truths_of(part), out.begin(), [&](truth a, truth b) {
      return e.what == expression::kind::any_of ? std::max(a, b) : std::min(a, b);
    });
  return out;
}

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
  explicit condition_maker(input &source) : from_(source) {}

  std::string any(int depth = 0) {
    const int what = from_.ConsumeIntegralInRange(0, depth < 3 ? 5 : 1);
    if (what == 2)
      return fmt::format("not ({})", any(depth + 1));
    if (what > 2)
      return fmt::format("({} {} {})", any(depth + 1), what == 3 ? "and" : "or", any(depth + 1));
    return single();
  }

private:
  std::string single() {
    auto column = sample().encoded.begin();
    std::advance(column, from_.ConsumeIntegralInRange<size_t>(0, sample().encoded.size() - 1));
    const auto value = [&] { return value_of(column->first, column->second.type); };
    const std::string name = duckdb::quoted_name(column->first), negation = from_.ConsumeBool() ? " not" : "";
    constexpr const char *operators[] = {"=", "<>", "<", "<=", ">", ">="};
    switch (from_.ConsumeIntegralInRange(0, 4)) {
    case 0:
      return fmt::format("{}{} between {} and {}", name, negation, value(), value());
    case 1:
      return fmt::format("{}{} between {}{},{}{}", name, negation, "(["[from_.ConsumeBool()], value(), value(),
                         ")]"[from_.ConsumeBool()]);
    case 2:
      return fmt::format("{}{} in ({}, {}, {})", name, negation, value(), value(), value());
    case 3:
      return fmt::format("{} is{} null", name, negation);
    default:
      return fmt::format("{} {} {}", name, from_.PickValueInArray(operators), value());
    }
  }

  std::string value_of(const std::string &name, const column_type &type) {
    const cell &c = sample().cells.at(name)[from_.ConsumeIntegralInRange<uint64_t>(0, sample().rows - 1)];
    std::string text;
    append_text(text, c, type);
    return std::holds_alternative<std::monostate>(c) || (type.is_numeric() && is_number(text) && from_.ConsumeBool())
               ? text
               : duckdb::quoted_text(text);
  }

  input &from_;
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
  for (const truth holds : truths_of(out.asked))
    out.expected.push_back(holds == truth::yes);
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
