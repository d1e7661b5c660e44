#include "vornq/row_writer.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <fmt/format.h>

#include "store/chunk/cells.hpp"
#include "store/error.hpp"
#include "store/logical/sql.hpp"
#include "store/value/column_names.hpp"
#include "store/value/text_table.hpp"

namespace store {

namespace {

bool is_control(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

// The text of a cell with a text; nothing for numbers, dates and blobs.
const std::string_view *text_of(const cell &c, const column_type &type) {
  return type.kind == value_kind::text ? std::get_if<std::string_view>(&c) : nullptr;
}

std::string written(const cell &c, const column_type &type) {
  std::string out;
  append_text(out, c, type);
  return out;
}

// A text that looks like NULL, or is empty, is written in quotes.
std::string shown_text(const cell &c, const column_type &type) {
  const std::string_view *text = text_of(c, type);
  if (text == nullptr)
    return written(c, type);
  return text->empty() || alike(*text, "NULL") ? fmt::format("'{}'", *text) : std::string(*text);
}

void append_csv_text(std::string &out, std::string_view text) {
  if (text.empty() || text.front() == ' ' || text.back() == ' ' || text.find_first_of(",\"\n\r#") != text.npos)
    out += logical::quoted_name(text);
  else
    out += text;
}

// JSON has no number for NaN and infinity.
bool is_finite(const cell &c, const column_type &type) {
  return !type.is_real() || std::isfinite(real_of_key(std::get<int64_t>(c)));
}

void append_csv(std::string &out, const cell &c, const column_type &type) {
  if (is_null(c))
    return; // nothing; the empty text is ""
  if (const std::string_view *text = text_of(c, type); text != nullptr)
    append_csv_text(out, *text);
  else if (type.is_bytes())
    append_csv_text(out, written(c, type));
  else
    append_text(out, c, type);
}

void append_json(std::string &out, const cell &c, const column_type &type) {
  if (is_null(c)) {
    out += "null";
  } else if (const std::string_view *text = text_of(c, type); text != nullptr) {
    append_json_text(out, *text);
  } else if (type.kind == value_kind::boolean || (type.is_numeric() && is_finite(c, type))) {
    append_text(out, c, type);
  } else {
    append_json_text(out, written(c, type));
  }
}

// Cells of an answer by row and column.
class answer_cells {
public:
  explicit answer_cells(const exec::answer &of) : layouts_(of.columns) {
    for (size_t c = 0; c < layouts_.size(); ++c)
      values_.push_back(of.rows.values(c));
  }

  size_t columns() const { return layouts_.size(); }
  const column_type &type(size_t column) const { return layouts_[column].held(); }
  cell at(size_t row, size_t column) const { return cell_at(values_[column], layouts_[column], row); }

private:
  const std::vector<exec::layout> &layouts_;
  std::vector<exec::vector> values_;
};

// Collects text and passes it on in large pieces.
class text_buffer {
public:
  explicit text_buffer(const text_taker &take) : take_(take) {}
  std::string &text() { return text_; }
  void pass_on(size_t least = size_t{1} << 16) {
    if (text_.size() >= least) {
      take_(text_);
      text_.clear();
    }
  }

private:
  const text_taker &take_;
  std::string text_;
};

void write_csv(const exec::answer &of, const text_taker &take) {
  const answer_cells cells(of);
  text_buffer out(take);
  for (size_t c = 0; const std::string &name : distinct_names(of.names)) {
    out.text() += c++ == 0 ? "" : ",";
    append_csv_text(out.text(), name);
  }
  out.text() += '\n';
  for (size_t row = 0; row < of.rows.rows(); ++row) {
    for (size_t c = 0; c < cells.columns(); ++c) {
      out.text() += c == 0 ? "" : ",";
      append_csv(out.text(), cells.at(row, c), cells.type(c));
    }
    out.text() += '\n';
    out.pass_on();
  }
  out.pass_on(0);
}

void write_json(const exec::answer &of, bool as_array, const text_taker &take) {
  const answer_cells cells(of);
  std::vector<std::string> keys;
  for (const std::string &name : distinct_names(of.names)) {
    append_json_text(keys.emplace_back(keys.empty() ? "{" : ","), name);
    keys.back() += ':';
  }
  text_buffer out(take);
  if (as_array)
    out.text() += '[';
  for (size_t row = 0; row < of.rows.rows(); ++row) {
    if (as_array && row != 0)
      out.text() += ",\n ";
    for (size_t c = 0; c < cells.columns(); ++c) {
      out.text() += keys[c];
      append_json(out.text(), cells.at(row, c), cells.type(c));
    }
    out.text() += as_array ? "}" : "}\n";
    out.pass_on();
  }
  if (as_array)
    out.text() += "]\n";
  out.pass_on(0);
}

void write_table(const exec::answer &of, uint64_t shown, const text_taker &take) {
  const answer_cells cells(of);
  const uint64_t rows = of.rows.rows();
  const bool has_gap = shown != 0 && rows > shown;
  const uint64_t first = has_gap ? (shown + 1) / 2 : rows;
  std::vector<text_column> headings;
  for (size_t c = 0; c < cells.columns(); ++c)
    headings.push_back({of.names[c], cells.type(c).is_numeric()});
  std::vector<std::vector<std::string>> lines;
  const auto add = [&](uint64_t row) {
    std::vector<std::string> &line = lines.emplace_back();
    for (size_t c = 0; c < cells.columns(); ++c)
      line.push_back(shown_text(cells.at(row, c), cells.type(c)));
  };
  for (uint64_t row = 0; row < first; ++row)
    add(row);
  if (has_gap) {
    lines.emplace_back(cells.columns(), "...");
    for (uint64_t row = rows - shown / 2; row < rows; ++row)
      add(row);
  }
  take(text_table(headings, lines));
  take(has_gap ? fmt::format("{}, {} of them shown\n", rows_named(rows), grouped(shown)) : rows_named(rows) + "\n");
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

void write_rows(const exec::answer &of, row_format format, uint64_t shown, const text_taker &take) {
  switch (format) {
  case row_format::table:
    return write_table(of, shown, take);
  case row_format::csv:
    return write_csv(of, take);
  case row_format::json:
  case row_format::jsonl:
    return write_json(of, format == row_format::json, take);
  }
}

} // namespace store
