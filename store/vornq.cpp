// vornq: loads a table, evaluates conditions on its compressed columns, and checks every answer with DuckDB.
//
// Ends with 0 when all answers agree, 1 when one does not, and 2, with one line on standard error, when it cannot do
// what it was asked to.
#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "store/error.hpp"
#include "store/measure.hpp"
#include "store/progress.hpp"
#include "store/table_file.hpp"

namespace {

using namespace store;

enum status { agreed = 0, disagreed = 1, failed = 2 };

struct options {
  std::string file;
  std::vector<std::string> conditions;
  std::string isa;
  std::string library_folder;
  bool list_columns = false;
};

// A number with its digits in groups of three.
std::string grouped(uint64_t number) {
  std::string digits = std::to_string(number);
  for (size_t end = digits.size(); end > 3; end -= 3)
    digits.insert(end - 3, 1, ',');
  return digits;
}

using column_map = std::map<std::string, column, std::less<>>;

column_map load(const table_file &file, const std::vector<std::string> &names) {
  column_map loaded;
  progress_bar bar(names.size() * file.rows());
  for (const std::string &name : names) {
    const uint64_t before = loaded.size() * file.rows();
    loaded.emplace(name, file.load(file.find(name), [&](uint64_t rows) { bar.show(name, before + rows); }));
  }
  return loaded;
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
  fmt::print("{} rows\n{:<{}}  {:<{}}  {:>11}  {:>5}  {:>5}  {:>14}  {:>14}  {:>5}\n", grouped(file.rows()), "column",
             name_width, "type", type_width, "distinct", "NULLs", "width", "encoded bytes", "plain bytes", "ratio");
  for (const auto &info : file.columns()) {
    fmt::print("{:<{}}  {:<{}}", info.name, name_width, info.sql_type, type_width);
    const auto found = loaded.find(info.name);
    if (found == loaded.end()) {
      fmt::print("  {:>11}\n", "not encoded");
      continue;
    }
    const column &c = found->second;
    fmt::print("  {:>11}  {:>5}  {:>5}", grouped(c.values.size()), c.has_nulls ? "yes" : "no", c.codes.width());
    print_bytes(c.encoded_bytes(), c.plain_bytes);
    encoded += c.encoded_bytes();
    plain += c.plain_bytes;
  }
  fmt::print("{:<{}}", "total", name_width + type_width + 2 + 2 * 7 + 13);
  print_bytes(encoded, plain);
}

void print_answer(const std::string &condition, uint64_t rows, const answer &a) {
  fmt::print("\n{}\n{:<16}  {:>13}  {:>13}  {:>9}  {:>9}\n", condition, "engine", "rows", "matches", "ms", "Mrows/s");
  for (const measurement &m : a.measurements)
    fmt::print("{:<16}  {:>13}  {:>13}  {:>9.3f}  {:>9.1f}\n", m.engine, grouped(rows), grouped(m.matches),
               m.milliseconds, static_cast<double>(rows) / m.milliseconds / 1e3);
  fmt::print("{}\n", a.agree ? "the counts agree" : "the counts DISAGREE");
}

status run(const options &chosen) {
  std::vector<condition> conditions;
  for (const std::string &text : chosen.conditions)
    conditions.push_back(parse_condition(text));
  const kernels library(chosen.isa.empty() ? std::nullopt : std::optional<std::string_view>(chosen.isa),
                        chosen.library_folder);

  duckdb::connection database;
  const table_file file(database, chosen.file);
  std::vector<std::string> asked;
  for (const condition &c : conditions) {
    parse_value(file.find(c.column).traits->kind, c.value); // fails before the load rather than after it
    if (std::find(asked.begin(), asked.end(), c.column) == asked.end())
      asked.push_back(c.column);
  }
  // A query needs its own columns only.
  const bool list_columns = chosen.list_columns || conditions.empty();
  std::vector<std::string> wanted = asked;
  if (list_columns) {
    wanted.clear();
    for (const auto &info : file.columns())
      if (info.traits)
        wanted.push_back(info.name);
  }
  const column_map loaded = load(file, wanted);
  if (list_columns)
    print_columns(file, loaded);
  if (conditions.empty())
    return agreed;

  const reference checker(database, file, asked);
  fmt::print("{}kernels in force: {}; DuckDB on one thread\n", list_columns ? "\n" : "", library.name());
  status end = agreed;
  for (size_t i = 0; i < conditions.size(); ++i) {
    const answer a = measure(library, loaded.at(conditions[i].column), conditions[i], checker);
    print_answer(chosen.conditions[i], file.rows(), a);
    if (!a.agree)
      end = disagreed;
  }
  return end;
}

status run(int argc, char **argv) {
  options chosen;
  CLI::App app("Counts the rows of a table that satisfy a condition, on its compressed columns.", "vornq");
  app.set_version_flag("--version", "vornq " VORN_VERSION);
  app.add_option("file", chosen.file, "A .parquet or .csv file")->required();
  app.add_option("--where", chosen.conditions,
                 "A condition \"column operator value\" with one of = <> < <= > >=; can be given several times")
      ->type_name("CONDITION")
      ->allow_extra_args(false);
  app.add_flag("--columns", chosen.list_columns,
               "List the columns with their encoded sizes; so does a call without a condition");
  app.add_option("--isa", chosen.isa,
                 "The kernels to use: generic, sse42, avx, avx2 or avx512; otherwise the best for this processor")
      ->type_name("NAME");
  app.add_option("--libraries", chosen.library_folder,
                 "The folder of the specialised libraries; otherwise that of this program")
      ->type_name("FOLDER");
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success &asked) { // for help or the version
    app.exit(asked);
    return agreed;
  }
  return run(chosen);
}

} // namespace

int main(int argc, char **argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception &e) {
    // Messages of the parts may go on for lines; the first says what is wrong.
    const std::string_view message = e.what();
    const std::string_view line = message.substr(0, message.find('\n'));
    std::fprintf(stderr, "vornq: %.*s\n", static_cast<int>(line.size()), line.data());
    return failed;
  }
}
