#include "sql/statement.hpp"

#include <cctype>
#include <charconv>
#include <optional>

#include <fmt/format.h>

#include "sql/connection.hpp"
#include "sql/tokens.hpp"
#include "store/error.hpp"
#include "store/value/column_names.hpp"

namespace store::sql {

namespace {

// The tokens of a text without comments and white space.
class token_reader {
public:
  explicit token_reader(std::string_view text) : text_(text) { skip_blanks(); }

  // The next token, empty at the end.
  std::string_view next() const { return text_.substr(at_, length_at(at_)); }
  std::string_view take() {
    const std::string_view out = next();
    at_ += out.size();
    skip_blanks();
    return out;
  }
  bool take_word(std::string_view word) {
    const bool is_next = alike(next(), word);
    if (is_next)
      take();
    return is_next;
  }
  std::string_view rest() const { return text_.substr(at_); }

  // A name, or the last part of a qualified one; nothing when there is none.
  std::optional<std::string> take_name() {
    std::optional<std::string> out;
    do {
      const std::string_view token = next();
      if (token.starts_with('"'))
        out = take_quoted('"');
      else if (!token.empty() && (std::isalpha(static_cast<unsigned char>(token[0])) != 0 || token[0] == '_'))
        out = std::string(take());
      else
        return std::nullopt;
    } while (take_word("."));
    return out;
  }

  // A quoted text or name without its quotes; nothing when there is none.
  std::optional<std::string> take_quoted(char quote) {
    std::optional<std::string> out;
    // A doubled quote ends a token, and the next token begins at once.
    while (next().size() >= 2 && next().front() == quote && next().back() == quote) {
      const std::string_view token = next();
      out = out ? *out + quote : std::string();
      *out += token.substr(1, token.size() - 2);
      at_ += token.size();
      if (at_ == text_.size() || text_[at_] != quote)
        break;
    }
    skip_blanks();
    return out;
  }

  // The text between the next bracket and its closing bracket; nothing if it is not closed.
  std::optional<std::string> take_bracketed() {
    take();
    const size_t begin = at_;
    for (size_t depth = 1; !next().empty(); take())
      if (next() == "(")
        ++depth;
      else if (next() == ")" && --depth == 0) {
        std::string out(text_.substr(begin, at_ - begin));
        take();
        return out;
      }
    return std::nullopt;
  }

private:
  size_t length_at(size_t at) const { return at == text_.size() ? 0 : token_length(text_.substr(at)); }
  void skip_blanks() {
    while (at_ < text_.size() && is_blank(next()))
      at_ += next().size();
  }

  std::string_view text_;
  size_t at_ = 0;
};

[[noreturn]] void refuse(std::string_view form, const token_reader &at) {
  throw error(fmt::format("Parser Error: {} is expected{}", form,
                          at.next().empty() ? "" : fmt::format(", at or near \"{}\"", shortened(at.next()))));
}

statement read_copy(token_reader tokens) {
  constexpr std::string_view form = "COPY table TO 'file', COPY (query) TO 'file' or COPY table FROM 'file'";
  statement out{statement_kind::copy_to, {}, {}, {}};
  if (tokens.next() == "(") {
    const auto query = tokens.take_bracketed();
    if (!query)
      refuse(form, tokens);
    out.query = *query;
  } else {
    const auto table = tokens.take_name();
    if (!table)
      refuse(form, tokens);
    out.table = *table;
    out.query = "FROM " + duckdb::quoted_name(*table);
  }
  if (!out.table.empty() && tokens.take_word("from"))
    out.what = statement_kind::copy_from;
  else if (!tokens.take_word("to"))
    refuse(form, tokens);
  const auto file = tokens.take_quoted('\'');
  if (!file)
    refuse(form, tokens);
  out.file = *file;
  if (tokens.next() == "(" || alike(tokens.next(), "with"))
    throw error("not executed: options of COPY");
  tokens.take_word(";");
  if (!tokens.next().empty())
    refuse(form, tokens);
  return out;
}

statement read_drop(token_reader tokens) {
  constexpr std::string_view form = "DROP TABLE [IF EXISTS] table";
  statement out{statement_kind::drop, {}, {}, {}};
  if (!tokens.take_word("table"))
    refuse(form, tokens);
  out.may_miss = tokens.take_word("if");
  if (out.may_miss && !tokens.take_word("exists"))
    refuse(form, tokens);
  const auto table = tokens.take_name();
  tokens.take_word(";");
  if (!table || !tokens.next().empty())
    refuse(form, tokens);
  out.table = *table;
  return out;
}

} // namespace

statement read_statement(std::string_view text) {
  token_reader tokens(text);
  if (tokens.take_word("copy"))
    return read_copy(tokens);
  if (tokens.take_word("drop"))
    return read_drop(tokens);
  if (tokens.take_word("explain")) {
    statement out{statement_kind::explain, {}, {}, {}};
    out.runs = tokens.take_word("analyze");
    out.query = tokens.rest();
    return out;
  }
  return {statement_kind::query, std::string(text), {}, {}};
}

std::vector<parameter> parameters_of(std::string_view text) {
  std::vector<parameter> out;
  size_t positional = 0;
  const auto name_at = [&](size_t at) {
    const std::string_view name = at == text.size() ? "" : text.substr(at, token_length(text.substr(at)));
    return !name.empty() && (std::isalnum(static_cast<unsigned char>(name[0])) != 0 || name[0] == '_') ? name : "";
  };
  for (size_t at = 0; at < text.size();) {
    const std::string_view token = text.substr(at, token_length(text.substr(at)));
    const std::string_view name = token == "?" || token == "$" ? name_at(at + 1) : "";
    size_t number = 0;
    const auto [end, fault] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool is_number = fault == std::errc{} && end == name.data() + name.size() && number > 0;
    if (is_number)
      out.push_back({at, 1 + name.size(), number - 1, {}});
    else if (token == "?")
      out.push_back({at, 1, positional++, {}});
    else if (token == "$" && !name.empty())
      out.push_back({at, 1 + name.size(), out.size(), std::string(name)});
    at += out.empty() || out.back().at != at ? token.size() : out.back().length;
  }
  return out;
}

std::string with_values(std::string_view text, const std::vector<parameter> &parameters,
                        const std::function<std::string(const parameter &)> &constant) {
  std::string out;
  size_t done = 0;
  for (const parameter &p : parameters) {
    out.append(text.substr(done, p.at - done)).append(constant(p));
    done = p.at + p.length;
  }
  return out.append(text.substr(done));
}

std::string sql_constant(const cell &value, const column_info &of) {
  if (is_null(value))
    return fmt::format("CAST(NULL AS {})", of.sql_type);
  std::string text;
  append_text(text, value, *of.type);
  if (text.find('\0') != text.npos)
    throw error("not executed: a parameter with a zero byte");
  if (of.type->kind == value_kind::text) // DuckDB reads it as a date when it is compared with a date
    return duckdb::quoted_text(text);
  return fmt::format("CAST({} AS {})", duckdb::quoted_text(text), of.sql_type);
}

} // namespace store::sql
