#include "vornq/row_writer.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "vornq/text_table.hpp"

namespace store {

namespace {

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

void append_quoted(std::string &out, std::string_view text, char quote) {
  out += quote;
  for (char c : text) {
    if (c == quote)
      out += quote;
    out += c;
  }
  out += quote;
}

bool is_null_word(std::string_view text) {
  return text.size() == 4 && (text[0] | 0x20) == 'n' && (text[1] | 0x20) == 'u' && (text[2] | 0x20) == 'l' &&
         (text[3] | 0x20) == 'l';
}

// A text as a condition takes it.  Most need no quotes in a table, though a condition asks for them around several
// words.
void append_typed(std::string &out, std::string_view text) {
  if (std::any_of(text.begin(), text.end(), is_control)) {
    out += "E'";
    for (char c : text)
      if (c == '\n')
        out += "\\n";
      else if (is_control(c))
        fmt::format_to(std::back_inserter(out), "\\x{:02x}", static_cast<unsigned char>(c));
      else if (c == '\\' || c == '\'')
        out += {'\\', c};
      else
        out += c;
    out += '\'';
  } else if (text.empty() || text.front() == ' ' || text.back() == ' ' || text.front() == '\'' ||
             text.substr(1, 1) == "'" || is_null_word(text)) {
    append_quoted(out, text, '\'');
  } else {
    out += text;
  }
}

void append_csv(std::string &out, std::string_view text) {
  if (text.empty() || text.find_first_of(",\"\n\r") != text.npos)
    append_quoted(out, text, '"');
  else
    out += text;
}

// JSON has no number for these.
bool is_finite(const cell &c, const column_type &type) {
  const bool real = type.kind == value_kind::single || type.kind == value_kind::real;
  return !real || std::isfinite(real_of_key(std::get<int64_t>(c)));
}

bool is_null(const cell &c) { return std::holds_alternative<std::monostate>(c); }

void append_csv(std::string &out, const cell &c, const column_type &type) {
  if (is_null(c))
    return; // nothing, where the empty text is ""
  if (const auto *text = std::get_if<std::string_view>(&c); text != nullptr && type.kind == value_kind::text)
    append_csv(out, *text);
  else
    append_text(out, c, type);
}

void append_json(std::string &out, const cell &c, const column_type &type) {
  if (is_null(c)) {
    out += "null";
  } else if (const auto *text = std::get_if<std::string_view>(&c); text != nullptr && type.kind == value_kind::text) {
    append_json_text(out, *text);
  } else if (type.kind == value_kind::boolean || (type.is_numeric() && is_finite(c, type))) {
    append_text(out, c, type);
  } else {
    std::string written;
    append_text(written, c, type);
    append_json_text(out, written);
  }
}

} // namespace

void append_json_text(std::string &out, std::string_view text) {
  out += '"';
  for (char c : text)
    if (c == '"' || c == '\\')
      out += {'\\', c};
    else if (is_control(c))
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned char>(c));
    else
      out += c;
  out += '"';
}

row_format parse_row_format(std::string_view name) {
  for (const auto &[known, format] : {std::pair{"table", row_format::table}, std::pair{"csv", row_format::csv},
                                      std::pair{"json", row_format::json}, std::pair{"jsonl", row_format::jsonl}})
    if (known == name)
      return format;
  throw error(fmt::format("unknown format '{}'; it is one of table, csv, json, jsonl", shortened(name)));
}

row_writer::row_writer(row_format format, std::span<const heading> columns) : format_(format) {
  for (const heading &h : columns) {
    std::string key = columns_.empty() ? "{" : ",";
    append_json_text(key, h.name);
    key += ':';
    columns_.push_back({h, std::move(key), h.type.is_numeric()});
  }
}

void row_writer::write(row_block rows) {
  if (format_ == row_format::table) {
    write_table(rows);
    return;
  }
  const size_t count = rows.front().size();
  if (!begun_)
    write_heading();
  for (size_t row = 0; row < count; ++row) {
    if (format_ == row_format::json)
      out_ += begun_ ? ",\n " : "[";
    for (size_t c = 0; c < columns_.size(); ++c) {
      const column_type &type = columns_[c].of.type;
      if (format_ == row_format::csv) {
        out_ += c == 0 ? "" : ",";
        append_csv(out_, rows[c][row], type);
      } else {
        out_ += columns_[c].key;
        append_json(out_, rows[c][row], type);
      }
    }
    out_ += format_ == row_format::csv ? "\n" : format_ == row_format::jsonl ? "}\n" : "}";
    begun_ = true;
  }
  flush();
}

void row_writer::write_heading() {
  if (format_ != row_format::csv)
    return;
  for (size_t c = 0; c < columns_.size(); ++c) {
    out_ += c == 0 ? "" : ",";
    append_csv(out_, columns_[c].of.name);
  }
  out_ += '\n';
}

// The first block sets the widths, so that no more than a block has to be at hand; a cell that is wider later on pushes
// its line to the right.
void row_writer::write_table(row_block rows) {
  const size_t count = rows.empty() ? 0 : rows.front().size();
  const size_t lines = count + (begun_ ? 0 : 1);
  texts_.resize(std::max(texts_.size(), lines * columns_.size()));
  auto next = texts_.begin();
  if (!begun_)
    for (const shown_column &c : columns_)
      *next++ = visible(c.of.name);
  for (size_t row = 0; row < count; ++row)
    for (size_t c = 0; c < columns_.size(); ++c, ++next) {
      next->clear();
      const column_type &type = columns_[c].of.type;
      const auto *text = std::get_if<std::string_view>(&rows[c][row]);
      if (text != nullptr && type.kind == value_kind::text)
        append_typed(*next, *text);
      else
        append_text(*next, rows[c][row], type);
    }
  next = texts_.begin();
  if (!begun_)
    for (size_t line = 0; line < lines; ++line)
      for (shown_column &c : columns_)
        c.width = std::max(c.width, width_of(*next++));
  begun_ = true;
  next = texts_.begin();
  for (size_t line = 0; line < lines; ++line) {
    for (size_t c = 0; c < columns_.size(); ++c, ++next) {
      const size_t width = width_of(*next);
      const size_t padding = columns_[c].width - std::min(columns_[c].width, width);
      out_ += c == 0 ? "" : "  ";
      if (columns_[c].is_number)
        out_.append(padding, ' ');
      out_ += *next;
      if (!columns_[c].is_number && c + 1 != columns_.size())
        out_.append(padding, ' ');
    }
    out_ += '\n';
  }
  flush();
}

void row_writer::finish() {
  if (format_ == row_format::json)
    out_ += begun_ ? "]\n" : "[]\n";
  else if (!begun_ && format_ == row_format::table)
    write_table({});
  else if (!begun_)
    write_heading();
  flush();
}

void row_writer::flush() {
  if (std::fwrite(out_.data(), 1, out_.size(), stdout) != out_.size())
    throw error("cannot write to standard output");
  out_.clear();
}

} // namespace store
