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
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/plan/limit.hpp"
#include "store/vornq/options.hpp"
#include "store/vornq/questions.hpp"
#include "store/vornq/report.hpp"
#include "store/vornq/tables.hpp"
#include "store/vornq/text_table.hpp"

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
  const auto &[choices, conditions, shown, columns] = s.asked;
  if (shown && shown->is_grouped) {
    keep(described(*shown, s.chosen),
         measure(s.library, s.from.plan(), *shown, s.from.names(), s.checker, s.repetitions()));
    return out;
  }
  // To count the rows of a join takes all of them, which a limit is there to spare.  Those in a polygon are others than
  // those of the condition alone.
  if ((s.from.are_joined() && s.chosen.limit) || (shown && shown->area))
    return out;
  for (size_t i = 0; i < conditions.size(); ++i) {
    const condition &c = conditions[i];
    keep(s.chosen.conditions[i],
         s.from.are_joined() ? measure(s.library, s.from.query_for(&c), c.sql, s.checker, s.repetitions())
                             : measure(s.library, s.from.list().front().columns, c, s.checker, s.repetitions()));
  }
  if (s.from.are_joined() && conditions.empty())
    keep(*s.chosen.join, measure(s.library, s.from.query_for(nullptr), "", s.checker, s.repetitions()));
  return out;
}

// Shows rows or groups, and says whether they are DuckDB's.
bool show(const session &s) {
  const request &asked = *s.asked.shown;
  const column_names &names = s.from.names();
  const plan_tables from = s.from.plan();
  const vorn_ctx &ctx = s.library.chosen();
  const std::vector<heading> headings = asked.headings(names);
  row_writer writer(s.chosen.format, headings);
  constexpr uint64_t shown_without_limit = 20; // of a table
  const uint64_t shown = s.as_table() && !s.chosen.limit ? shown_without_limit : std::numeric_limits<uint64_t>::max();
  const auto compare = [&](const request &compared, uint64_t most, const std::function<void(row_block)> &take) {
    return project(*planned(ctx, from, compared), headings, s.checker.answer(compared.sql(names, true)), most, take);
  };
  const auto write = [&](row_block block) { writer.write(block); };
  projection rows;
  if (asked.has_rounded_order(names))
    rows = compare(asked.comparable(names), 0, write);
  const bool is_order_open = rows.rounded != 0;
  if (is_order_open) {
    rows.count = std::min(rows.count, s.chosen.limit.value_or(rows.count));
    limited_rows first(planned(ctx, from, asked), shown);
    while (first.next() != 0)
      writer.write(first.rows());
  } else if (rows.agree) {
    rows = compare(asked, shown, write);
  }
  writer.finish();
  if (s.as_table())
    print_shown(rows, asked.is_grouped ? "groups" : "rows", shown, rows.count == s.chosen.limit, is_order_open);
  return rows.agree;
}

status run(const options &chosen) {
  const kernels library(chosen.isa, chosen.library_folder, chosen.more);
  if (const auto &missing = library.missing_library())
    print_line(fmt::format("the library {} is not there; the generic kernels are used", *missing));

  duckdb::connection database;
  tables from(database, chosen.files, chosen.join);
  const questions asked = read_questions(database, chosen, from);
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
    const session s{
        chosen, library, from, asked,
        from.made_reference(database, asked.columns,
                            (as_table && (!asked.conditions.empty() || chosen.asks_for_groups())) || chosen.order)};
    const auto disagree = [&](std::string_view what) {
      end = as_table ? disagreed : complain(fmt::format("the {} DISAGREE", what), disagreed);
    };
    if (as_table)
      fmt::print("{}kernels in force: {}; DuckDB {} on one thread\n", list_columns ? "\n" : "", library.name(),
                 duckdb::version());
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
