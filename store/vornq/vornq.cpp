// vornq: loads a table or two, evaluates conditions and joins on their compressed columns, has selected rows back from
// them, and checks every answer with DuckDB.
//
// Ends with 0 when all answers agree, 1 when one does not or a self-check fails, and 2, with one line on standard
// error, when it cannot do what it was asked to.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/vornq/options.hpp"
#include "store/vornq/progress.hpp"
#include "store/vornq/report.hpp"
#include "store/vornq/tables.hpp"
#include "store/vornq/text_table.hpp"

namespace {

using namespace store;

enum status { agreed = 0, disagreed = 1, failed = 2 };

// What a user asks of the tables.
struct questions {
  choice_map choices;
  std::vector<condition> conditions;
  std::vector<std::string> selected; // columns of the rows to show
  std::vector<std::string> columns;  // all that are needed; none when nothing is asked
};

void add_names(std::vector<std::string> &names, const std::vector<std::string> &more) {
  for (const std::string &name : more)
    if (std::find(names.begin(), names.end(), name) == names.end())
      names.push_back(name);
}

// What can be found wrong is found here, before the load, rather than after it.
questions read_questions(const options &chosen, const tables &from) {
  questions out;
  for (const std::string &text : chosen.encodings) {
    const auto [name, form] = parse_assignment(text);
    const encoding_choice choice = parse_encoding(form);
    const column_info &info = from.names().find(name);
    table_file::check_encoding(info, choice);
    out.choices[info.name] = choice;
  }
  for (const std::string &text : chosen.conditions) {
    out.conditions.push_back(parse_condition(text, from.names()));
    add_names(out.columns, out.conditions.back().columns);
  }
  for (const std::string &name : out.columns)
    if (const auto choice = out.choices.find(name); choice != out.choices.end())
      check_searchable(name, *choice->second.form);
  if (chosen.selected_columns)
    out.selected = parse_columns(*chosen.selected_columns, from.names());
  if (!out.selected.empty() && out.conditions.size() > 1)
    throw error(fmt::format("--select shows the rows of one --where; {} are given", out.conditions.size()));
  if (from.are_joined())
    add_names(out.columns, {from.keys().first, from.keys().second});
  add_names(out.columns, out.selected);
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

// The tables with what answers questions about them.
struct session {
  const options &chosen;
  const kernels &library;
  const tables &from;
  const questions &asked;
  const reference checker;

  bool as_table() const { return chosen.format == row_format::table; }
  // One run is enough to trace, and to show.
  uint32_t repetitions() const { return chosen.more.trace || !as_table() ? 1 : 9; }
};

std::vector<answered> answer_all(const session &s) {
  std::vector<answered> out;
  const auto keep = [&](const std::string &question, answer given) {
    out.push_back({question, std::move(given)});
    if (s.as_table())
      print_answer(question, s.from.rows(), out.back().given);
  };
  for (size_t i = 0; i < s.asked.conditions.size(); ++i) {
    const condition &c = s.asked.conditions[i];
    keep(s.chosen.conditions[i],
         s.from.are_joined() ? measure(s.library, s.from.query_for(&c), c.sql, s.checker, s.repetitions())
                             : measure(s.library, s.from.list().front().columns, c, s.checker, s.repetitions()));
  }
  if (s.from.are_joined() && s.asked.conditions.empty())
    keep(*s.chosen.join, measure(s.library, s.from.query_for(nullptr), "", s.checker, s.repetitions()));
  return out;
}

// The rows of the one condition, or all; `answers` has those of a table.
projection show_rows(const session &s, std::span<const answered> answers) {
  std::vector<const column *> shown;
  for (const std::string &name : s.asked.selected)
    shown.push_back(&s.from.at(name));
  const condition *where = s.asked.conditions.empty() ? nullptr : &s.asked.conditions.front();
  row_writer writer(s.chosen.format, shown);
  const auto write = [&](row_block block) { writer.write(block); };
  duckdb::result expected = s.checker.values(shown, where == nullptr ? "" : where->sql);
  projection out;
  if (s.from.are_joined()) {
    const join_query joining = s.from.query_for(where);
    const auto rows = joining.run(s.library.chosen(), s.from.outputs(s.asked.selected), {});
    out = project(*rows, shown, std::move(expected), s.chosen.limit, write);
  } else {
    out = project(s.library.chosen(), shown, answers.empty() ? nullptr : &answers[0].given.selected,
                  std::move(expected), s.chosen.limit, write);
  }
  writer.finish();
  return out;
}

status run(const options &chosen) {
  const kernels library(chosen.isa, chosen.library_folder, chosen.more);
  if (const auto &missing = library.missing_library())
    print_line(fmt::format("the library {} is not there; the generic kernels are used", *missing));

  duckdb::connection database;
  tables from(database, chosen.files, chosen.join);
  const questions asked = read_questions(chosen, from);
  // A query needs its own columns only.
  const bool list_columns = chosen.list_columns || asked.columns.empty();
  std::vector<std::string> wanted = asked.columns;
  if (list_columns || chosen.summary) {
    wanted.clear();
    for (const column_info *info : from.names().columns())
      if (info->type)
        wanted.push_back(info->name);
  }
  from.load(wanted, asked.columns, asked.choices);
  if (list_columns)
    print_columns(from);
  std::vector<answered> answers;
  status end = agreed;
  if (!asked.columns.empty()) {
    const bool as_table = chosen.format == row_format::table;
    const session s{chosen, library, from, asked,
                    from.made_reference(database, asked.columns, as_table && !asked.conditions.empty())};
    const auto disagree = [&](std::string_view what) {
      end = as_table ? disagreed : complain(fmt::format("the {} DISAGREE", what), disagreed);
    };
    if (as_table)
      fmt::print("{}kernels in force: {}; DuckDB {} on one thread\n", list_columns ? "\n" : "", library.name(),
                 duckdb::version());
    answers = answer_all(s);
    if (std::any_of(answers.begin(), answers.end(), [](const answered &a) { return !a.given.agree; }))
      disagree("counts");
    if (!asked.selected.empty()) {
      if (as_table)
        fmt::print("\n");
      const projection rows = show_rows(s, answers);
      if (as_table)
        fmt::print("{} of {} rows\n{}\n", grouped(std::min(rows.count, chosen.limit)), grouped(rows.count),
                   rows.agree ? "the rows agree" : "the rows DISAGREE");
      if (!rows.agree)
        disagree("rows");
    }
  }
  if (chosen.summary)
    print_summary(from, answers);
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
