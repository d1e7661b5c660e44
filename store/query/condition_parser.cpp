#include <algorithm>
#include <cctype>
#include <optional>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/query/condition.hpp"

namespace store {

namespace {

constexpr comparison comparisons[] = {comparison::eq, comparison::ne, comparison::lt,
                                      comparison::le, comparison::gt, comparison::ge};
constexpr std::string_view operator_characters = "=<>!~";
constexpr std::string_view blanks = " \t";

bool is_blank(char c) { return blanks.find(c) != blanks.npos; }

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(blanks);
  return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

class parser {
public:
  explicit parser(std::string_view text) : whole(text), rest(text) {}

  conjunction all() {
    conjunction conditions;
    do
      conditions.push_back(one());
    while (take_word("and"));
    if (!rest.empty())
      fail(fmt::format("unexpected '{}'", rest));
    return conditions;
  }

  std::vector<std::string> columns() {
    std::vector<std::string> names;
    for (;;) {
      skip_blanks();
      names.push_back(rest.starts_with('"') ? take_quoted() : take_until(rest.find(',')));
      if (names.back().empty())
        fail("a column without a name");
      skip_blanks();
      if (rest.empty())
        return names;
      if (rest.front() != ',')
        fail(fmt::format("unexpected '{}'", rest));
      rest.remove_prefix(1);
    }
  }

private:
  [[noreturn]] void fail(std::string_view problem) const { throw error(fmt::format("{} in '{}'", problem, whole)); }

  void skip_blanks() { rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size())); }

  // Is there a word, in either case, at a position?  A word ends with the text, a blank, a quote or a bracket.
  bool word_at(size_t position, std::string_view word) const {
    const std::string_view there = rest.substr(position, word.size());
    const size_t end = position + word.size();
    return std::equal(there.begin(), there.end(), word.begin(), word.end(),
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; }) &&
           (end == rest.size() || is_blank(rest[end]) || std::string_view("'\"([").find(rest[end]) != rest.npos);
  }

  // Where a word stands behind a blank and fulfils a condition.
  template <class Accept>
  size_t find_word(std::string_view word, Accept accept) const {
    for (size_t i = 1; i < rest.size(); ++i)
      if (is_blank(rest[i - 1]) && word_at(i, word) && accept(i + word.size()))
        return i;
    return rest.size();
  }
  size_t find_word(std::string_view word) const {
    return find_word(word, [](size_t) { return true; });
  }

  bool take_word(std::string_view word) {
    skip_blanks();
    if (!word_at(0, word))
      return false;
    rest.remove_prefix(word.size());
    return true;
  }

  // What stands between quotes at the front.
  std::string take_quoted() {
    const char quote = rest.front();
    std::string out;
    for (size_t i = 1; i < rest.size(); ++i) {
      if (rest[i] == quote) {
        if (i + 1 == rest.size() || rest[i + 1] != quote) {
          rest.remove_prefix(i + 1);
          return out;
        }
        ++i;
      }
      out += rest[i];
    }
    fail("a quote is not closed");
  }

  std::string take_until(size_t end) {
    std::string text(trimmed(rest.substr(0, end)));
    rest.remove_prefix(std::min(end, rest.size()));
    return text;
  }

  std::string take_column() {
    skip_blanks();
    if (rest.starts_with('"'))
      return take_quoted();
    // "in" is a word of the language only before a bracket, so that it may be one of a name.
    const auto before_bracket = [this](size_t i) {
      const size_t next = rest.find_first_not_of(blanks, i);
      return next != rest.npos && (rest[next] == '(' || rest[next] == '[');
    };
    const size_t end =
        std::min({rest.find_first_of(operator_characters), find_word("between"), find_word("in", before_bracket)});
    return take_until(end);
  }

  // A value that ends where the text does or at `end`, before the blanks there.
  std::string take_value(size_t end) {
    if (rest.starts_with('\''))
      return take_quoted();
    std::string value = take_until(end);
    if (value.empty())
      fail("no value");
    return value;
  }
  std::string take_plain_value() {
    skip_blanks();
    // An empty value directly before "and" is a missing one, so the word counts at the front too.
    return take_value(word_at(0, "and") ? 0 : find_word("and"));
  }
  std::string take_listed_value() {
    skip_blanks();
    return take_value(rest.find_first_of(",)]"));
  }

  comparison_test take_comparison() {
    const size_t end = std::min(rest.find_first_not_of(operator_characters), rest.size());
    const std::string_view name = rest.substr(0, end);
    rest.remove_prefix(end);
    const auto *known = std::find_if(std::begin(comparisons), std::end(comparisons),
                                     [name](comparison op) { return sql_name(op) == name; });
    if (name.empty())
      fail("no operator (one of = <> < <= > >= between in is needed)");
    if (known == std::end(comparisons))
      fail(fmt::format("unknown operator '{}' (one of = <> < <= > >= between in is needed)", name));
    return {*known, take_plain_value()};
  }

  struct bracketed {
    std::vector<std::string> values;
    bool square_left;
    bool square_right;
  };
  bracketed take_brackets() {
    bracketed out{{}, rest.front() == '[', false};
    do {
      rest.remove_prefix(1);
      out.values.push_back(take_listed_value());
      skip_blanks();
    } while (rest.starts_with(','));
    if (rest.empty() || (rest.front() != ')' && rest.front() != ']'))
      fail("a bracket is not closed behind the values");
    out.square_right = rest.front() == ']';
    rest.remove_prefix(1);
    return out;
  }

  interval_test interval_in(bracketed brackets) const {
    if (brackets.values.size() != 2)
      fail(fmt::format("an interval of {} bounds rather than 2", brackets.values.size()));
    return {interval_of(brackets.square_left, brackets.square_right), std::move(brackets.values[0]),
            std::move(brackets.values[1])};
  }

  bool at_bracket() {
    skip_blanks();
    return rest.starts_with('(') || rest.starts_with('[');
  }

  interval_test take_between() {
    if (at_bracket())
      return interval_in(take_brackets());
    interval_test out{interval::closed, take_plain_value(), ""};
    if (!take_word("and"))
      fail("no second bound");
    out.high = take_plain_value();
    return out;
  }

  condition one() {
    condition c;
    c.column = take_column();
    if (c.column.empty())
      fail("no column");
    if (take_word("between")) {
      c.test = take_between();
    } else if (take_word("in")) {
      if (!at_bracket())
        fail("no list or interval");
      bracketed brackets = take_brackets();
      if (!brackets.square_left && !brackets.square_right)
        c.test = set_test{std::move(brackets.values)};
      else
        c.test = interval_in(std::move(brackets));
    } else {
      c.test = take_comparison();
    }
    return c;
  }

  std::string_view whole;
  std::string_view rest;
};

} // namespace

conjunction parse_conditions(std::string_view text) { return parser(text).all(); }
std::vector<std::string> parse_columns(std::string_view text) { return parser(text).columns(); }

} // namespace store
