#include <algorithm>
#include <charconv>
#include <span>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "sql/connection.hpp"
#include "store/error.hpp"

namespace store {

namespace {

constexpr std::pair<std::string_view, comparison> operators[] = {
    {"=", comparison::eq},  {"<>", comparison::ne}, {"!=", comparison::ne}, {"<", comparison::lt},
    {"<=", comparison::le}, {">", comparison::gt},  {">=", comparison::ge},
};
constexpr std::string_view operator_characters = "=<>!~";
constexpr std::string_view blanks = " \t\n\r";
constexpr std::string_view brackets = "()[],";
constexpr uint32_t deepest = 200; // brackets and negations inside each other

bool one_of(char c, std::string_view set) { return set.find(c) != set.npos; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(blanks);
  return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

// A place in a text that is read from the left.
class reader {
public:
  explicit reader(std::string_view text) : whole(text) {}

protected:
  [[noreturn]] void fail(std::string_view problem) const {
    throw error(fmt::format("{} at character {} of '{}'", problem, at + 1, shortened(whole)));
  }
  [[noreturn]] void fail_at_rest() const { fail(fmt::format("unexpected '{}'", shortened(word_here()))); }

  bool at_end() const { return at == whole.size(); }
  char here() const { return at_end() ? '\0' : whole[at]; }

  void skip_blanks() { at = std::min(whole.find_first_not_of(blanks, at), whole.size()); }

  std::string_view word_here() const {
    size_t end = at;
    while (end < whole.size() && !one_of(whole[end], blanks) && !one_of(whole[end], brackets))
      ++end;
    return whole.substr(at, std::max<size_t>(end - at, at_end() ? 0 : 1));
  }

  // What stands between quotes, the first of which is here; a quote inside is doubled.
  std::string take_quoted() {
    const char quote = here();
    std::string out;
    for (size_t i = at + 1; i < whole.size(); ++i) {
      if (whole[i] == quote) {
        if (i + 1 == whole.size() || whole[i + 1] != quote) {
          at = i + 1;
          return out;
        }
        ++i;
      }
      out += whole[i];
    }
    fail("a quote is not closed");
  }

  std::string take_until(size_t end) {
    std::string text(trimmed(whole.substr(at, end - at)));
    at = std::min(end, whole.size());
    return text;
  }

  std::string_view whole;
  size_t at = 0;
};

class condition_parser : reader {
public:
  condition_parser(std::string_view text, const column_names &known) : reader(text), names_(known) {}

  condition all() {
    condition out;
    static_cast<expression &>(out) = alternatives();
    skip_blanks();
    if (!at_end())
      fail_at_rest();
    out.sql = sql_of(0, at);
    out.columns = std::move(named_);
    return out;
  }

private:
  // The SQL is the text with some pieces replaced.
  struct replacement {
    size_t begin;
    size_t end;
    std::string text;
  };
  void replace_from(size_t begin, std::string text) { replaced_.push_back({begin, at, std::move(text)}); }

  std::string sql_of(size_t begin, size_t end) const {
    std::string out;
    for (const replacement &r : replaced_)
      if (r.begin >= begin && r.end <= end) {
        out += whole.substr(begin, r.begin - begin);
        out += r.text;
        begin = r.end;
      }
    return out += whole.substr(begin, end - begin);
  }

  // Is there a word, in either case?  It ends with the text, a blank, a quote or a bracket.
  bool word_is(std::string_view word) const {
    const size_t end = at + word.size();
    return alike(whole.substr(at, word.size()), word) &&
           (end == whole.size() || one_of(whole[end], blanks) || one_of(whole[end], "'\"([)"));
  }
  bool take_word(std::string_view word) {
    skip_blanks();
    if (!word_is(word))
      return false;
    at += word.size();
    return true;
  }

  expression alternatives() {
    return joined("or", expression::kind::any_of, [this] { return conditions(); });
  }
  expression conditions() {
    return joined("and", expression::kind::all_of, [this] { return negatable(); });
  }

  template <class Part>
  expression joined(std::string_view word, expression::kind what, Part part) {
    expression first = part();
    if (!take_word(word))
      return first;
    expression out{what, {}, {}};
    out.parts.push_back(std::move(first));
    do
      out.parts.push_back(part());
    while (take_word(word));
    return out;
  }

  expression negatable() {
    if (++depth_ > deepest)
      fail("too many brackets");
    expression out;
    if (take_word("not")) {
      out.what = expression::kind::negation;
      out.parts.push_back(negatable());
    } else if (skip_blanks(); here() == '(') {
      ++at;
      out = alternatives();
      skip_blanks();
      if (here() != ')')
        at_end() ? fail("a bracket is not closed") : fail_at_rest();
      ++at;
    } else {
      out.asked = single();
    }
    --depth_;
    return out;
  }

  // The longest name of a column that stands here, or the word that should have been one.
  std::string take_name() {
    if (here() == '"')
      return take_quoted();
    size_t length = 0;
    for (const auto &[name, means] : names_.known()) {
      const size_t end = at + name.size();
      const bool ends = end >= whole.size() || one_of(whole[end], blanks) || one_of(whole[end], operator_characters) ||
                        one_of(whole[end], "([)'\"");
      if (name.size() > length && ends && alike(whole.substr(at, name.size()), name))
        length = name.size();
    }
    if (length == 0) {
      const std::string_view word = word_here();
      length = std::min(word.find_first_of(operator_characters), word.size());
    }
    std::string name(whole.substr(at, length));
    at += length;
    return name;
  }

  const column_info &take_column() {
    skip_blanks();
    if (at_end() || one_of(here(), operator_characters))
      fail("no column");
    const size_t begin = at;
    const column_info &found = names_.find(take_name());
    replace_from(begin, duckdb::quoted_name(found.name));
    if (std::find(named_.begin(), named_.end(), found.name) == named_.end())
      named_.push_back(found.name);
    return found;
  }

  std::string take_escaped() {
    std::string out;
    at += 2;
    for (; !at_end(); ++at) {
      if (here() == '\'' && whole.substr(at, 2) != "''") {
        ++at;
        return out;
      }
      if (here() == '\'') {
        ++at;
      } else if (here() == '\\') {
        ++at;
        constexpr std::string_view letters = "ntr\\'";
        constexpr std::string_view meanings = "\n\t\r\\'";
        if (const size_t known = letters.find(here()); !at_end() && known != letters.npos) {
          out += meanings[known];
          continue;
        }
        uint8_t byte = 0;
        const char *digits = whole.data() + at + 1;
        if (here() != 'x' || at + 2 >= whole.size() || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2)
          fail("an unknown escape");
        out += static_cast<char>(byte);
        at += 2;
        continue;
      }
      out += here();
    }
    fail("a quote is not closed");
  }

  constant take_constant(const column_type &type) {
    constant out = read_constant(type);
    if (out.written != constant::form::null)
      orders_of(std::span(&out, 1), type); // whether it is of the type
    return out;
  }

  constant read_constant(const column_type &type) {
    skip_blanks();
    if (here() == '\'')
      return {constant::form::text, take_quoted()};
    if (lower(here()) == 'e' && whole.substr(at + 1, 1) == "'")
      return {constant::form::text, take_escaped()};
    if (here() == '"')
      fail("a value stands in single quotes");
    const size_t begin = at;
    if (at_end() || one_of(here(), brackets) || word_is("and") || word_is("or"))
      fail("no value");
    std::string word(word_here());
    at += word.size();
    if (alike(word, "null"))
      return {constant::form::null, {}};
    if (type.is_numeric() && is_number(word))
      return {constant::form::number, word};
    const bool moment =
        type.kind == value_kind::timestamp || type.kind == value_kind::nanoseconds || type.kind == value_kind::instant;
    if (const size_t next = whole.find_first_not_of(blanks, at);
        moment && next != whole.npos && whole[next] >= '0' && whole[next] <= '9') {
      at = next;
      word += fmt::format(" {}", word_here());
      at += word_here().size();
    }
    replace_from(begin, duckdb::quoted_text(word));
    return {constant::form::text, word};
  }

  struct bracketed {
    std::vector<constant> values;
    std::vector<std::string> sql; // of the values
    bool square_left = false;
    bool square_right = false;

    bool is_interval() const { return square_left || square_right; }
  };
  bracketed take_brackets(const column_type &type) {
    bracketed out;
    out.square_left = here() == '[';
    do {
      ++at;
      skip_blanks();
      const size_t begin = at;
      out.values.push_back(take_constant(type));
      out.sql.push_back(sql_of(begin, at));
      skip_blanks();
    } while (here() == ',');
    if (here() != ')' && here() != ']')
      fail("a bracket is not closed behind the values");
    out.square_right = here() == ']';
    ++at;
    return out;
  }

  bool at_bracket() {
    skip_blanks();
    return here() == '(' || here() == '[';
  }

  // An interval in brackets, which SQL does not have, in the place of all that began somewhere.
  interval_test interval_in(bracketed read, size_t begin, const std::string &name, bool negated) {
    if (read.values.size() != 2)
      fail(fmt::format("an interval of {} bounds rather than 2", read.values.size()));
    std::erase_if(replaced_, [begin](const replacement &r) { return r.begin >= begin; });
    const std::string column = duckdb::quoted_name(name);
    const bool follows_word = begin != 0 && !one_of(whole[begin - 1], blanks) && !one_of(whole[begin - 1], brackets);
    replace_from(begin, fmt::format("{}{}({} {} {} AND {} {} {})", follows_word ? " " : "", negated ? "NOT " : "",
                                    column, read.square_left ? ">=" : ">", read.sql[0], column,
                                    read.square_right ? "<=" : "<", read.sql[1]));
    return {interval_of(read.square_left, read.square_right), std::move(read.values[0]), std::move(read.values[1]),
            false};
  }

  comparison_test take_comparison(const column_type &type) {
    const size_t end = std::min(whole.find_first_not_of(operator_characters, at), whole.size());
    const std::string_view name = whole.substr(at, end - at);
    constexpr std::string_view needed = "(one of = <> != < <= > >= between in like is null is needed)";
    if (name.empty())
      fail(fmt::format("no operator {}", needed));
    for (const auto &[known, op] : operators)
      if (known == name) {
        at = end;
        return {op, take_constant(type)};
      }
    fail(fmt::format("unknown operator '{}' {}", shortened(name), needed));
  }

  predicate single() {
    skip_blanks();
    const size_t begin = at;
    const column_info &column = take_column();
    const column_type &type = *column.type;
    predicate out;
    out.column = column.name;
    if (take_word("is")) {
      out.negated = take_word("not");
      if (!take_word("null"))
        fail("no null");
      out.test = null_test{};
      return out;
    }
    out.negated = take_word("not");
    if (take_word("between")) {
      if (at_bracket()) {
        out.test = interval_in(take_brackets(type), begin, column.name, out.negated);
        return out;
      }
      interval_test between{interval::closed, take_constant(type), {}, true};
      if (!take_word("and"))
        fail("no second bound");
      between.high = take_constant(type);
      out.test = std::move(between);
    } else if (take_word("in")) {
      if (!at_bracket())
        fail("no list or interval");
      bracketed read = take_brackets(type);
      if (read.is_interval())
        out.test = interval_in(std::move(read), begin, column.name, out.negated);
      else
        out.test = set_test{std::move(read.values)};
    } else if (take_word("like")) {
      if (type.kind != value_kind::text)
        fail(fmt::format("like asks for texts, and column '{}' has none", shortened(column.name)));
      const constant pattern = take_constant(type);
      if (pattern.written == constant::form::null)
        out.test = set_test{{pattern}}; // as unknown as this
      else
        out.test = like_test{pattern.text};
    } else {
      if (out.negated)
        fail("no between, in or like");
      out.test = take_comparison(type);
    }
    return out;
  }

  const column_names &names_;
  std::vector<std::string> named_;
  std::vector<replacement> replaced_; // ascending
  uint32_t depth_ = 0;
};

class list_parser : reader {
public:
  using reader::reader;

  std::vector<std::string> columns(const column_names &known) {
    std::vector<std::string> names;
    for (;;) {
      skip_blanks();
      const bool quoted = here() == '"';
      const std::string name = quoted ? take_quoted() : take_until(whole.find(',', at));
      if (name.empty())
        fail("a column without a name");
      if (name == "*" && !quoted) {
        for (const column_info *info : known.columns())
          if (info->type)
            names.push_back(info->name);
      } else {
        names.push_back(known.find(name).name);
      }
      skip_blanks();
      if (at_end())
        return names;
      if (here() != ',')
        fail_at_rest();
      ++at;
    }
  }

  std::vector<directed_name> directions() {
    std::vector<directed_name> out;
    for (;;) {
      skip_blanks();
      directed_name item;
      if (here() == '"')
        item.name = take_quoted();
      std::string rest = take_until(whole.find(',', at));
      for (const std::string_view direction : {"asc", "desc"})
        if (const size_t before = rest.size() - std::min(rest.size(), direction.size());
            alike(rest.substr(before), direction) && (before == 0 || one_of(rest[before - 1], blanks))) {
          item.descending = direction == "desc";
          rest = trimmed(rest.substr(0, before));
        }
      if (item.name.empty())
        item.name = rest;
      else if (!rest.empty())
        fail(fmt::format("unexpected '{}'", shortened(rest)));
      if (item.name.empty())
        fail("a column without a name");
      out.push_back(std::move(item));
      if (at_end())
        return out;
      ++at;
    }
  }

  std::pair<std::string, std::string> equality() {
    std::string sides[2];
    for (size_t side = 0; side < 2; ++side) {
      skip_blanks();
      sides[side] = here() == '"' ? take_quoted() : take_until(side == 0 ? whole.find('=', at) : whole.size());
      skip_blanks();
      if (sides[side].empty() || (side == 0 ? here() != '=' : !at_end()))
        throw error(fmt::format("'{}' is not of the form column=column", shortened(whole)));
      ++at;
    }
    return {sides[0], sides[1]};
  }

  // The name of a column may contain the character = too; the other word does not.
  std::pair<std::string, std::string> assignment() {
    skip_blanks();
    const std::string name = here() == '"' ? take_quoted() : take_until(whole.rfind('='));
    skip_blanks();
    if (name.empty() || here() != '=')
      throw error(fmt::format("'{}' is not of the form column=encoding", shortened(whole)));
    ++at;
    return {name, take_until(whole.size())};
  }
};

} // namespace

condition parse_condition(std::string_view text, const column_names &names) {
  return condition_parser(text, names).all();
}

std::vector<std::string> parse_columns(std::string_view text, const column_names &names) {
  return list_parser(text).columns(names);
}

std::vector<directed_name> parse_directions(std::string_view text) { return list_parser(text).directions(); }

std::pair<std::string, std::string> parse_equality(std::string_view text) { return list_parser(text).equality(); }

std::pair<std::string, std::string> parse_assignment(std::string_view text) { return list_parser(text).assignment(); }

} // namespace store
