// vornq: answers SQL on compressed columns.  DuckDB plans the queries, and the kernels of vorn execute them.
//
// The exit status is 0 on success, 1 when an answer differs from DuckDB's or a self-check fails, 2 with a message on
// standard error when a request fails, and 130 after Ctrl-C.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/saved/save_rows.hpp"
#include "store/value/text_table.hpp"
#include "vornq/answers.hpp"
#include "vornq/interruption.hpp"
#include "vornq/options.hpp"
#include "vornq/output_file.hpp"
#include "vornq/record.hpp"
#include "vornq/report.hpp"
#include "vornq/session.hpp"

namespace {

using namespace store;

enum status { well = 0, differs = 1, failed = 2 };

// Prints a message on standard error.  The last lines of a message of DuckDB show the position in the query.
void print_message(std::string_view message) {
  std::string out = "vornq: ";
  while (!message.empty()) {
    const size_t end = std::min(message.find('\n'), message.size());
    if (const std::string_view line = message.substr(0, end); line.find_first_not_of(' ') != line.npos)
      out += visible(line) + "\n";
    message.remove_prefix(std::min(end + 1, message.size()));
  }
  std::fflush(stdout); // rows of earlier queries come first
  std::fputs(out.c_str(), stderr);
}

status complain(std::string_view message, status end) {
  print_message(message);
  return end;
}

std::vector<std::string> queries_of(const options &chosen) {
  std::vector<std::string> out;
  for (const std::string &text : chosen.queries)
    for (std::string &statement : sql::statements(text))
      out.push_back(std::move(statement));
  return out;
}

// Without a query: describes the tables of the files, or saves the only table.
void describe(session &with, const options &chosen) {
  for (size_t i = 0; i < chosen.files.size(); ++i) {
    const std::string name = session::table_name(chosen.files[i]);
    if (!chosen.saved_file) {
      fmt::print("{}{}", i == 0 ? "" : "\n", described_table(with, name, true));
      continue;
    }
    exec::table &of = *with.tables().find(name);
    const uint64_t bytes = save_table(*chosen.saved_file, of);
    fmt::print("{} saved in {}, {} bytes\n", rows_named(of.rows()), visible(chosen.saved_file->string()),
               grouped(bytes));
  }
}

status run(const options &chosen) {
  session with(chosen);
  if (const auto &missing = with.library().missing_library())
    print_message(*missing);
  answers all;
  const std::vector<std::string> queries = queries_of(chosen);
  if (queries.empty())
    describe(with, chosen);
  for (const std::string &query : queries) {
    if (query != queries.front() && chosen.format == row_format::table)
      fmt::print("\n");
    answer_query(with, chosen, query, all);
  }
  if (chosen.list_columns)
    for (const std::string &name : all.tables)
      fmt::print("\n{}", described_table(with, name, false));
  if (chosen.summary)
    fmt::print("{}", summary_of(with, all.tables, all.given));
  if (chosen.record)
    write_record(*chosen.record, with, all);
  if (chosen.more.rates)
    with.library().print_rates();
  return all.agree() ? well : differs;
}

status run(int argc, char **argv) {
  // With a closed standard output, the next file that is opened would get its number.
  if (fcntl(STDOUT_FILENO, F_GETFD) == -1)
    throw error("cannot write to standard output: it is closed");
  const auto chosen = read_options(argc, argv);
  const status end = chosen ? run(*chosen) : well;
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    throw error(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
  return end;
}

} // namespace

int main(int argc, char **argv) {
  end_cleanly_at_signals();
  try {
    return run(argc, argv);
  } catch (const vorn_host::internal_error &report) {
    if (report.message.find("vxl check") == report.message.npos)
      return complain(report.what(), failed);
    return complain(fmt::format("self-check: kernels differ: {}", report.what()), differs);
  } catch (const std::bad_alloc &) {
    return complain("out of memory", failed);
  } catch (const std::system_error &e) {
    return complain(fmt::format("the system does not give what is needed, such as a thread: {}", e.what()), failed);
  } catch (const std::exception &e) {
    return complain(e.what(), failed);
  }
}
