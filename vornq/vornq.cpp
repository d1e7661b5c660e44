// vornq: loads a table or two, evaluates conditions, joins and groupings on their compressed columns, has selected rows
// back from them, and checks every answer with DuckDB.
//
// Ends with 0 when all answers agree, 1 when one does not or a self-check fails, and 2, with one line on standard
// error, when it cannot do what it was asked to.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "vornq/answers.hpp"
#include "vornq/options.hpp"
#include "vornq/questions.hpp"
#include "vornq/record.hpp"
#include "vornq/report.hpp"
#include "vornq/tables.hpp"
#include "vornq/text_table.hpp"

namespace {

using namespace store;

enum status { agreed = 0, disagreed = 1, failed = 2 };

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
  kernels library(chosen.isa, chosen.library_folder, chosen.more);
  if (const auto &missing = library.missing_library())
    print_line(*missing);

  worker_pool threads(chosen.threads);
  duckdb::connection database;
  tables from(library.chosen(), database, chosen.files, chosen.join);
  const questions asked = read_questions(database, chosen, from);
  // A query needs its own columns only.
  const bool list_columns = chosen.list_columns || (asked.columns.empty() && !chosen.saved_file);
  std::vector<std::string> wanted = asked.columns;
  if (list_columns || chosen.summary || chosen.record || chosen.saved_file) {
    wanted.clear();
    for (const column_info *info : from.names().columns())
      if (info->type)
        wanted.push_back(info->name);
  }
  from.load(wanted, asked.columns, asked.choices);
  if (chosen.saved_file) {
    const uint64_t bytes = from.save(*chosen.saved_file);
    if (chosen.format == row_format::table)
      print_saved(from, *chosen.saved_file, bytes);
  }
  if (list_columns)
    print_columns(from);
  std::vector<answered> answers;
  status end = agreed;
  if (!asked.columns.empty()) {
    const bool as_table = chosen.format == row_format::table;
    const session s{
        chosen,
        library,
        threads,
        from,
        asked,
        from.made_reference(database, asked.columns,
                            (as_table && (!asked.conditions.empty() || chosen.asks_for_groups())) || chosen.order)};
    const auto disagree = [&](std::string_view what) {
      end = as_table ? disagreed : complain(fmt::format("the {} DISAGREE", what), disagreed);
    };
    if (as_table)
      fmt::print("{}kernels in force: {}{}; {}\n", list_columns ? "\n" : "", library.name(),
                 s.checker.has_columns() ? fmt::format("; DuckDB {}", duckdb::version()) : "",
                 threads_named(threads.threads()));
    answers = answer_all(s);
    if (std::any_of(answers.begin(), answers.end(), [](const answered &a) { return !a.given.agree; }))
      disagree("counts");
    if (asked.shown) {
      if (as_table)
        fmt::print("\n");
      if (!show(s))
        disagree(asked.shown->is_grouped ? "groups" : "rows");
    }
  }
  if (chosen.summary)
    print_summary(from, answers, threads.threads());
  if (chosen.record)
    write_record(*chosen.record, from, answers, library.name(), threads.threads());
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
