// vornq: loads a table, evaluates conditions on its compressed columns, has selected rows back from them, and checks
// every answer with DuckDB.
//
// Ends with 0 when all answers agree, 1 when one does not or a self-check fails, and 2, with one line on standard
// error, when it cannot do what it was asked to.
#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/decode/projection.hpp"
#include "store/duckdb/table_file.hpp"
#include "store/error.hpp"
#include "store/vornq/measure.hpp"
#include "store/vornq/progress.hpp"
#include "store/vornq/text_table.hpp"

namespace {

using namespace store;

enum status { agreed = 0, disagreed = 1, failed = 2 };

struct options {
  std::string file;
  std::vector<std::string> conditions;
  std::optional<std::string> selected_columns;
  uint64_t limit = 20;
  std::vector<std::string> encodings;
  std::string isa;
  std::string library_folder;
  bool list_columns = false;
  instrumentation more;
};

// A number with its digits in groups of three.
std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t end = digits.size(); end > 3; end -= 3)
    digits.insert(end - 3, 1, ',');
  return digits;
}

using choice_map = std::map<std::string, encoding_choice, std::less<>>;

// Reads "column=encoding".  The name of a column may contain the character too, that of an encoding does not.
choice_map parse_choices(const std::vector<std::string> &texts) {
  choice_map out;
  for (const std::string &text : texts) {
    const size_t middle = text.rfind('=');
    if (middle == text.npos || middle == 0)
      throw error(fmt::format("'{}' is not of the form column=encoding", text));
    out[text.substr(0, middle)] = parse_encoding(text.substr(middle + 1));
  }
  return out;
}

column_map load(const table_file &file, const std::vector<std::string> &names, const choice_map &choices) {
  column_map loaded;
  progress_bar bar(names.size() * file.rows());
  for (const std::string &name : names) {
    const uint64_t before = loaded.size() * file.rows();
    const auto chosen = choices.find(name);
    loaded.emplace(name, file.load(file.find(name), chosen == choices.end() ? encoding_choice{} : chosen->second,
                                   [&](uint64_t rows) { bar.show(name, before + rows); }));
  }
  return loaded;
}

std::string encoding_text(const column &c) {
  return fmt::format("{}{}", encoding_name(c.form), c.compressed ? "+qpak" : "");
}

void print_columns(const table_file &file, const column_map &loaded) {
  size_t name_width = 6;
  size_t type_width = 4;
  for (const auto &info : file.columns()) {
    name_width = std::max(name_width, info.name.size());
    type_width = std::max(type_width, info.sql_type.size());
  }
  uint64_t encoded = 0;
  uint64_t plain = 0;
  const auto print_bytes = [](uint64_t encoded_bytes, uint64_t plain_bytes) {
    fmt::print("  {:>14}  {:>14}  {:>5}\n", grouped(encoded_bytes), grouped(plain_bytes),
               encoded_bytes == 0
                   ? ""
                   : fmt::format("{:.1f}", static_cast<double>(plain_bytes) / static_cast<double>(encoded_bytes)));
  };
  fmt::print("{} rows\n{:<{}}  {:<{}}  {:<10}  {:>11}  {:>5}  {:>5}  {:>14}  {:>14}  {:>5}\n", grouped(file.rows()),
             "column", name_width, "type", type_width, "encoding", "distinct", "NULLs", "width", "encoded bytes",
             "plain bytes", "ratio");
  for (const auto &info : file.columns()) {
    fmt::print("{:<{}}  {:<{}}", info.name, name_width, info.sql_type, type_width);
    const auto found = loaded.find(info.name);
    if (found == loaded.end()) {
      fmt::print("  {}\n", "not encoded");
      continue;
    }
    const column &c = found->second;
    const auto *entries = std::get_if<dictionary>(&c.values);
    fmt::print("  {:<10}  {:>11}  {:>5}  {:>5}", encoding_text(c), entries ? grouped(entries->size()) : "-",
               c.has_nulls() ? "yes" : "no", c.width);
    print_bytes(c.encoded_bytes(), c.plain_bytes);
    encoded += c.encoded_bytes();
    plain += c.plain_bytes;
  }
  fmt::print("{:<{}}", "total", name_width + type_width + 2 + 2 * 7 + 13 + 12);
  print_bytes(encoded, plain);
}

void print_answer(const std::string &condition, uint64_t rows, const answer &a) {
  fmt::print("\n{}\n{:<16}  {:>13}  {:>13}  {:>9}  {:>9}\n", condition, "engine", "rows", "matches", "ms", "Mrows/s");
  for (const measurement &m : a.measurements)
    fmt::print("{:<16}  {:>13}  {:>13}  {:>9.3f}  {:>9.1f}\n", m.engine, grouped(rows), grouped(m.matches),
               m.milliseconds, static_cast<double>(rows) / m.milliseconds / 1e3);
  fmt::print("{}\n", a.agree ? "the counts agree" : "the counts DISAGREE");
}

void print_rows(std::span<const column *const> columns, const projection &p) {
  std::vector<text_column> headings;
  for (const column *c : columns)
    headings.push_back({c->name, c->kind == value_kind::integer || c->kind == value_kind::real});
  fmt::print("\n{}{} of {} rows\n{}\n", text_table(headings, p.first_rows), grouped(p.first_rows.size()),
             grouped(p.count), p.agree ? "the rows agree" : "the rows DISAGREE");
}

// Takes a name once.
void add_name(std::vector<std::string> &names, const std::string &name) {
  if (std::find(names.begin(), names.end(), name) == names.end())
    names.push_back(name);
}

status run(const options &chosen) {
  std::vector<conjunction> conditions;
  for (const std::string &text : chosen.conditions)
    conditions.push_back(parse_conditions(text));
  std::vector<std::string> selected_names;
  if (chosen.selected_columns)
    selected_names = parse_columns(*chosen.selected_columns);
  if (!selected_names.empty() && conditions.size() > 1)
    throw error(fmt::format("--select shows the rows of one --where; {} are given", conditions.size()));
  const choice_map choices = parse_choices(chosen.encodings);
  const kernels library(chosen.isa.empty() ? std::nullopt : std::optional<std::string_view>(chosen.isa),
                        chosen.library_folder, chosen.more);

  duckdb::connection database;
  const table_file file(database, chosen.file);
  // What can be found wrong is found before the load rather than after it.
  for (const auto &[name, choice] : choices)
    table_file::check_encoding(file.find(name), choice);
  std::vector<std::string> asked;
  for (const conjunction &all : conditions)
    for (const condition &c : all) {
      check_constants(c, file.find(c.column).traits->kind);
      if (const auto choice = choices.find(c.column); choice != choices.end())
        check_searchable(c.column, *choice->second.form);
      add_name(asked, c.column);
    }
  for (const std::string &name : selected_names)
    add_name(asked, file.find(name).name);
  // A query needs its own columns only.
  const bool list_columns = chosen.list_columns || asked.empty();
  std::vector<std::string> wanted = asked;
  if (list_columns) {
    wanted.clear();
    for (const auto &info : file.columns())
      if (info.traits)
        wanted.push_back(info.name);
  }
  const column_map loaded = load(file, wanted, choices);
  if (list_columns)
    print_columns(file, loaded);
  if (asked.empty())
    return agreed;

  const reference checker(database, file, asked);
  fmt::print("{}kernels in force: {}; DuckDB on one thread\n", list_columns ? "\n" : "", library.name());
  // One run is enough to trace.
  const uint32_t repetitions = chosen.more.trace ? 1 : 9;
  status end = agreed;
  std::optional<selection> selected;
  for (size_t i = 0; i < conditions.size(); ++i) {
    answer a = measure(library, loaded, conditions[i], checker, repetitions);
    print_answer(chosen.conditions[i], file.rows(), a);
    if (!a.agree)
      end = disagreed;
    selected = std::move(a.selected);
  }
  if (!selected_names.empty()) {
    std::vector<const column *> columns;
    columns.reserve(selected_names.size());
    for (const std::string &name : selected_names)
      columns.push_back(&loaded.at(name));
    const std::string condition = conditions.empty() ? "" : to_sql(conditions.front(), loaded);
    const projection p = project(library.chosen(), columns, selected ? &*selected : nullptr,
                                 checker.values(columns, condition), chosen.limit);
    print_rows(columns, p);
    if (!p.agree)
      end = disagreed;
  }
  if (chosen.more.rates)
    library.print_rates();
  return end;
}

status run(int argc, char **argv) {
  options chosen;
  CLI::App app("Counts, and shows, the rows of a table that satisfy a condition, on its compressed columns.", "vornq");
  app.set_version_flag("--version", "vornq " VORN_VERSION);
  app.add_option("file", chosen.file, "A .parquet or .csv file")->required();
  app.add_option("--where", chosen.conditions,
                 "One or more conditions joined by \"and\"; can be given several times.  A condition is\n"
                 "  column = value             or one of <> < <= > >=\n"
                 "  column between low and high\n"
                 "  column between [low, high) a square bracket includes its bound, a round one does not\n"
                 "  column in [low, high)      the same, but two round brackets hold a list:\n"
                 "  column in (value, ...)\n"
                 "Put values that contain \"and\", commas or brackets in single quotes")
      ->type_name("CONDITION")
      ->allow_extra_args(false);
  auto *select = app.add_option("--select", chosen.selected_columns,
                                "Show these columns of the rows that the condition selects, of all rows without one")
                     ->type_name("COLUMN,...");
  app.add_option("--limit", chosen.limit, "How many of the selected rows to show; all of them are checked")
      ->type_name("ROWS")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber)
      ->needs(select);
  app.add_option("--encode", chosen.encodings,
                 "How to store a column: dict, rle, fixed or dynp, with +qpak to compress the stream in blocks, or\n"
                 "prefix, which holds values of one short length and no condition can be put to; otherwise dict, or\n"
                 "rle where equal values follow each other; can be given several times")
      ->type_name("COLUMN=ENCODING")
      ->allow_extra_args(false);
  app.add_flag("--columns", chosen.list_columns,
               "List the columns with their encoded sizes; so does a call without a condition");
  app.add_option("--isa", chosen.isa,
                 "The kernels to use: generic, sse42, avx, avx2 or avx512; otherwise the best for this processor")
      ->type_name("NAME");
  app.add_option("--libraries", chosen.library_folder,
                 "The folder of the specialised libraries; otherwise that of this program")
      ->type_name("FOLDER");
  app.add_flag("--self-check", chosen.more.self_check,
               "Run every specialised kernel against the generic one; ends with status 1 when they differ");
  app.add_flag("--trace", chosen.more.trace, "Print the library's trace lines on standard error");
  app.add_flag("--stats", chosen.more.rates,
               "Time every call of the library and print the mean rates at the end; a rate is inf or nan when a call\n"
               "took less than the microsecond of the clock");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked) { // for help or the version
    app.exit(asked);
    return agreed;
  }
  return run(chosen);
}

// One line on standard error.  Messages of the parts may go on for lines; the first says what is wrong.
status complain(std::string_view message, status end) {
  const std::string_view line = message.substr(0, message.find('\n'));
  std::fprintf(stderr, "vornq: %.*s\n", static_cast<int>(line.size()), line.data());
  return end;
}

} // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const vorn_host::internal_error &report) {
    if (report.message.find("vxl check") == report.message.npos)
      return complain(report.what(), failed);
    return complain(fmt::format("self-check: kernels differ: {}", report.what()), disagreed);
  } catch (const std::exception &e) {
    return complain(e.what(), failed);
  }
}
