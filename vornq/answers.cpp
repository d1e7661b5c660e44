#include "vornq/answers.hpp"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/logical/text.hpp"
#include "store/operator/explain.hpp"
#include "store/saved/save_rows.hpp"
#include "store/value/text_table.hpp"
#include "vornq/output_file.hpp"

namespace store {

namespace {

void print(std::string_view text, std::FILE *to = stdout) {
  if (std::fwrite(text.data(), 1, text.size(), to) != text.size() && to == stdout)
    throw error("cannot write to standard output");
}

// If programs read standard output, it has only rows.
void print_report(const options &chosen, std::string_view text) {
  const bool has_rows = chosen.format != row_format::table && !chosen.output && !chosen.saved_file;
  print(text, has_rows ? stderr : stdout);
}

void put_out(const options &chosen, const exec::answer &rows) {
  if (chosen.saved_file) {
    const uint64_t bytes = save_rows(*chosen.saved_file, rows);
    print_report(chosen, fmt::format("{} saved in {}, {} bytes\n", rows_named(rows.rows.rows()),
                                     visible(chosen.saved_file->string()), grouped(bytes)));
  } else if (chosen.output) {
    write_file(*chosen.output, rows);
    print_report(chosen,
                 fmt::format("{} written to {}\n", rows_named(rows.rows.rows()), visible(chosen.output->string())));
  } else {
    write_rows(rows, chosen.format, chosen.shown_rows, [](std::string_view text) { print(text); });
  }
}

// Row groups of the scans of a plan, and how many of them are done.
uint64_t row_groups_of(session &with, const logical::plan &of) {
  uint64_t out = 0;
  if (of.what == logical::plan_kind::scan)
    out = (with.tables().find(of.table)->rows() + row_group_rows - 1) / row_group_rows;
  for (const logical::plan &below : of.children)
    out += row_groups_of(with, below);
  return out;
}
uint64_t row_groups_done(const exec::relation &of) {
  const std::vector<const exec::relation *> below = of.children();
  uint64_t out = below.empty() ? of.metrics().row_groups + of.metrics().skipped : 0;
  for (const exec::relation *one : below)
    out += row_groups_done(*one);
  return out;
}

// Runs the operators of a query and shows the progress.
class watched_query {
public:
  watched_query(session &with, const logical::query &planned)
      : with_(with), planned_(planned), row_groups_(row_groups_of(with, planned.root)),
        shown_(with.progress(), [this] { return state(); }) {
    rows_ = with.operators(planned);
  }

  exec::relation &rows() { return *rows_; }
  exec::answer run() {
    running_ = rows_.get();
    // The metrics show the progress of the query.
    exec::kept_rows rows = with_.run(*rows_, with_.kernels_in_force(), with_.progress().is_shown());
    with_.tables().require_unchanged();
    return {planned_.names, exec::plain_layouts(rows_->columns()), std::move(rows)};
  }

private:
  progress_bar::state state() const {
    const exec::relation *running = running_;
    return {"query", running == nullptr ? 0 : row_groups_done(*running), row_groups_};
  }

  session &with_;
  const logical::query &planned_;
  uint64_t row_groups_;
  exec::relation_ptr rows_;
  std::atomic<const exec::relation *> running_ = nullptr;
  progress_bar::work shown_; // ends before what it shows
};

// Runs a query twice.  The first run records the entry points and kernels, the second run is measured.
std::string analyzed(session &with, const logical::query &planned) {
  watched_query observed(with, planned);
  with.library().observe([&](const vorn_ctx &library) { with.run(observed.rows(), library, true); },
                         [](std::string_view entry, std::string_view kernel) {
                           if (exec::operator_metrics *const running = exec::metrics_timer::in())
                             running->add_call(entry, kernel);
                         });
  const exec::relation_ptr measured = with.operators(planned);
  with.run(*measured, with.kernels_in_force(), true);
  return exec::explained(*measured, observed.rows());
}

logical::query plan_of(session &with, const std::string &text) {
  try {
    return with.plan(text);
  } catch (const sql::not_executed &e) {
    throw error(fmt::format("{}; --engine duckdb may answer it", e.what()));
  }
}

// A query in one line.
std::string in_one_line(std::string_view text) {
  std::string out;
  for (size_t at = 0; (at = text.find_first_not_of(" \n\r\t", at)) != text.npos;) {
    const size_t end = std::min(text.find_first_of(" \n\r\t", at), text.size());
    out.append(out.empty() ? "" : " ").append(text.substr(at, end - at));
    at = end;
  }
  return out;
}

uint64_t most_rows(session &with, const std::vector<std::string> &tables) {
  uint64_t out = 0;
  for (const std::string &name : tables)
    out = std::max(out, with.tables().find(name)->rows());
  return out;
}

} // namespace

bool answers::agree() const {
  return std::all_of(given.begin(), given.end(), [](const answered &a) { return !a.compared || a.compared->agree; });
}

void answer_query(session &with, const options &chosen, const std::string &text, answers &out) {
  if (chosen.by_duckdb) {
    put_out(chosen, with.answer_by_duckdb(text));
    return;
  }
  const logical::query planned = plan_of(with, text);
  if (chosen.explain == explaining::plan) {
    print(to_text(planned.root));
    return;
  }
  const std::vector<std::string> tables = sql::session::tables_of(planned);
  for (const std::string &name : tables)
    if (std::find(out.tables.begin(), out.tables.end(), name) == out.tables.end())
      out.tables.push_back(name);
  if (chosen.explain == explaining::run) {
    print(analyzed(with, planned));
    return;
  }
  const exec::answer rows = watched_query(with, planned).run();
  put_out(chosen, rows);
  answered &given = out.given.emplace_back(answered{in_one_line(text), rows.rows.rows()});
  if (chosen.check) {
    given.compared = compare(rows, with.answer_by_duckdb(text), order_of(planned.root), most_rows(with, tables));
    print_report(chosen, described(*given.compared, given.rows) + "\n");
  }
  if (chosen.time) {
    given.times = measure(with, text, planned, chosen.repetitions);
    print_report(chosen, times_of(with, given.times));
  }
}

} // namespace store
