// vornq: loads a table, evaluates conditions on its compressed columns, has selected rows back from them, and checks
// every answer with DuckDB.
//
// Ends with 0 when all answers agree, 1 when one does not or a self-check fails, and 2, with one line on standard
// error, when it cannot do what it was asked to.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/vornq/options.hpp"
#include "store/vornq/progress.hpp"
#include "store/vornq/report.hpp"
#include "store/vornq/text_table.hpp"

namespace {

using namespace store;

enum status { agreed = 0, disagreed = 1, failed = 2 };

using choice_map = std::map<std::string, encoding_choice, std::less<>>;

choice_map parse_choices(const std::vector<std::string> &texts, const table_file &file) {
  choice_map out;
  for (const std::string &text : texts) {
    const auto [name, form] = parse_assignment(text);
    const encoding_choice choice = parse_encoding(form);
    const column_info &info = file.find(name);
    table_file::check_encoding(info, choice);
    out[info.name] = choice;
  }
  return out;
}

struct loaded_columns {
  column_map columns;
  std::map<std::string, std::string> reasons; // of those that cannot be stored and that nothing was asked of
};

loaded_columns load(const table_file &file, const std::vector<std::string> &names,
                    const std::vector<std::string> &needed, const choice_map &choices) {
  loaded_columns out;
  progress_bar bar(names.size() * file.rows());
  uint64_t before = 0;
  for (const std::string &name : names) {
    const auto chosen = choices.find(name);
    const auto show = [&](uint64_t rows) { bar.show(visible(shortened(name)), before + rows); };
    try {
      out.columns.emplace(
          name, file.load(file.find(name), chosen == choices.end() ? encoding_choice{} : chosen->second, show));
    } catch (const error &e) {
      if (chosen != choices.end() || std::find(needed.begin(), needed.end(), name) != needed.end())
        throw;
      out.reasons.emplace(name, e.what());
    }
    before += file.rows();
  }
  return out;
}

void add_names(std::vector<std::string> &names, const std::vector<std::string> &more) {
  for (const std::string &name : more)
    if (std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(name);
}

std::vector<const column *> columns_of(const column_map &loaded, const std::vector<std::string> &names) {
  std::vector<const column *> out;
  out.reserve(names.size());
  for (const std::string &name : names)
    out.push_back(&loaded.at(name));
  return out;
}

// One line on standard error.  Messages of the parts may go on for lines; the first says what is wrong.
void print_line(std::string_view message) {
  constexpr size_t longest = 400;
  const std::string line = visible(message.substr(0, std::min(message.find('\n'), longest)));
  std::fprintf(stderr, "vornq: %s\n", line.c_str());
}

status complain(std::string_view message, status end) {
  print_line(message);
  return end;
}

status run(const options &chosen) {
  const kernels library(chosen.isa, chosen.library_folder, chosen.more);
  if (const auto &missing = library.missing_library())
    print_line(fmt::format("the library {} is not there; the generic kernels are used", *missing));

  duckdb::connection database;
  const table_file file(database, chosen.files);
  // What can be found wrong is found before the load rather than after it.
  const choice_map choices = parse_choices(chosen.encodings, file);
  std::vector<condition> conditions;
  std::vector<std::string> asked;
  for (const std::string &text : chosen.conditions) {
    conditions.push_back(parse_condition(text, file.columns()));
    add_names(asked, conditions.back().columns);
  }
  for (const std::string &name : asked)
    if (const auto choice = choices.find(name); choice != choices.end())
      check_searchable(name, *choice->second.form);
  std::vector<std::string> selected_names;
  if (chosen.selected_columns)
    selected_names = parse_columns(*chosen.selected_columns, file.columns());
  if (!selected_names.empty() && conditions.size() > 1)
    throw error(fmt::format("--select shows the rows of one --where; {} are given", conditions.size()));
  add_names(asked, selected_names);
  // A query needs its own columns only.
  const bool list_columns = chosen.list_columns || asked.empty();
  std::vector<std::string> wanted = asked;
  if (list_columns || chosen.summary) {
    wanted.clear();
    for (const column_info &info : file.columns())
      if (info.type)
        wanted.push_back(info.name);
  }
  const auto [columns, reasons] = load(file, wanted, asked, choices);
  if (list_columns)
    print_columns(file, columns, reasons);
  std::vector<answered> answers;
  status end = agreed;
  if (!asked.empty()) {
    const bool as_table = chosen.format == row_format::table;
    const reference checker =
        conditions.empty() || !as_table ? reference(database, file) : reference(database, file, asked);
    if (as_table)
      fmt::print("{}kernels in force: {}; DuckDB {} on one thread\n", list_columns ? "\n" : "", library.name(),
                 duckdb::version());
    // One run is enough to trace, and to show.
    const uint32_t repetitions = chosen.more.trace || !as_table ? 1 : 9;
    for (size_t i = 0; i < conditions.size(); ++i) {
      answers.push_back({chosen.conditions[i], measure(library, columns, conditions[i], checker, repetitions)});
      const answer &given = answers.back().given;
      if (as_table)
        print_answer(chosen.conditions[i], file.rows(), given);
      if (!given.agree)
        end = as_table ? disagreed : complain("the counts DISAGREE", disagreed);
    }
    if (!selected_names.empty()) {
      const auto shown = columns_of(columns, selected_names);
      row_writer writer(chosen.format, shown);
      if (as_table)
        fmt::print("\n");
      const projection rows = project(library.chosen(), shown, answers.empty() ? nullptr : &answers[0].given.selected,
                                      checker.values(shown, conditions.empty() ? "" : conditions[0].sql), chosen.limit,
                                      [&](row_block block) { writer.write(block); });
      writer.finish();
      if (as_table)
        fmt::print("{} of {} rows\n{}\n", grouped(std::min(rows.count, chosen.limit)), grouped(rows.count),
                   rows.agree ? "the rows agree" : "the rows DISAGREE");
      if (!rows.agree)
        end = as_table ? disagreed : complain("the rows DISAGREE", disagreed);
    }
  }
  if (chosen.summary)
    print_summary(file, columns, answers);
  if (chosen.more.rates)
    library.print_rates();
  return end;
}

status run(int argc, char **argv) {
  // A closed standard output would be found out late, and its number given to the next file that is opened.
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1)
    throw error("cannot write to standard output: it is closed");
  const auto chosen = read_options(argc, argv);
  const status end = chosen ? run(*chosen) : agreed;
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    throw error(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
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
