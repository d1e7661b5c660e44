#include "vornq/measure.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "store/plan/kept_rows.hpp"
#include "store/run/execution.hpp"

namespace store {

namespace {

// A digest of joined rows: their count, and sums over their row numbers with and without the order.
struct digest {
  uint64_t count = 0;
  uint64_t rows = 0;
  uint64_t rows_in_place = 0;

  void add(std::span<const joined_row> joined) {
    constexpr uint64_t odd = 0x9e3779b97f4a7c15;
    for (const joined_row &row : joined) {
      const uint64_t made = row.first * odd + row.second;
      rows += made;
      rows_in_place += made * (2 * count++ + 1);
    }
  }
  // Adds the digest of the rows that come after these rows.
  void add(const digest &more) {
    rows_in_place += more.rows_in_place + 2 * count * more.rows;
    rows += more.rows;
    count += more.count;
  }
  friend bool operator==(const digest &, const digest &) = default;
};

uint64_t count_of(const selection &found) { return found.count; }
uint64_t count_of(const digest &found) { return found.count; }
uint64_t count_of(const kept_rows &found) { return found.count(); }

template <class Work>
measurement measured(std::string engine, uint32_t repetitions, Work work) {
  using clock = std::chrono::steady_clock;
  if (repetitions > 1)
    work();
  std::vector<double> times(repetitions);
  for (double &time : times) {
    const auto start = clock::now();
    work();
    time = std::chrono::duration<double, std::milli>(clock::now() - start).count();
  }
  const auto middle = times.begin() + repetitions / 2;
  std::nth_element(times.begin(), middle, times.end());
  return {std::move(engine), 0, *middle, *std::min_element(times.begin(), times.end())};
}

// What work finds with the kernels in force, and whether it finds the same with the generic ones.  Its memory is used
// again from run to run.
template <class None, class Work>
auto by_kernels(const measuring &how, answer &out, None none, Work work) {
  auto found = none();
  const auto run = [&](const vorn_ctx &ctx, std::string_view engine) {
    explanation steps;
    explanation *first_run = &steps;
    out.measurements.push_back(measured(std::string(engine), how.repetitions, [&] {
      work({ctx, how.threads, std::exchange(first_run, nullptr)}, found);
    }));
    out.measurements.back().matches = count_of(found);
    out.row_groups = out.settled = 0;
    for (const plan_step &step : steps.steps()) {
      out.row_groups += step.batches + step.skipped;
      out.settled += step.skipped;
    }
  };
  run(how.library.generic(), "generic");
  if (how.library.is_specialised()) {
    const auto generic = std::exchange(found, none());
    run(how.library.chosen(), how.library.name());
    out.agree = found == generic;
  }
  if (how.explains)
    out.explained = explain(how, [&](const execution &on) { work(on, found); });
  return found;
}

// Adds DuckDB's count, with the time of the table from which DuckDB answers faster.
template <class Prepare>
void ask_duckdb(const measuring &how, answer &out, Prepare prepared, uint64_t (*count_of_rows)(duckdb::statement &)) {
  if (!how.checker.has_columns())
    return;
  std::optional<measurement> best;
  how.checker.use_threads(how.threads.threads());
  for (const reference *from : {&how.checker, how.compressed}) {
    if (from == nullptr)
      continue;
    duckdb::statement asked = prepared(*from);
    uint64_t count = 0;
    measurement took = measured("DuckDB", how.repetitions, [&] { count = count_of_rows(asked); });
    took.matches = count;
    took.read = from->form();
    out.agree = out.agree && count == out.measurements.front().matches;
    if (!best || took.least < best->least)
      best = std::move(took);
  }
  how.checker.use_threads(1);
  out.measurements.push_back(std::move(*best));
  out.is_compared = true;
}

auto counting(const std::string &condition_sql) {
  return [&](const reference &from) { return from.counting(condition_sql); };
}

digest digest_of(const join_query &asked, const execution &run, join_statistics &did) {
  per_thread<hash_join> joins(run, asked.run(run, {}, {}));
  std::vector<digest> found(asked.key(false).batches.size());
  run.each(found.size(), [&](size_t thread, size_t batch) {
    hash_join &join = joins.of(thread, [&] { return joins.first().copy(); });
    join.go_to(batch);
    while (join.next() != 0)
      found[batch].add(join.joined());
  });
  did = joins.first().statistics();
  for (const auto &join : joins.all())
    if (join && join.get() != &joins.first())
      did.add_probe(join->statistics());
  digest all;
  for (const digest &some : found)
    all.add(some);
  return all;
}

} // namespace

std::unique_ptr<explanation> explain(const measuring &how, const std::function<void(const execution &)> &work) {
  explanation named;
  how.library.observe(
      [&](const vorn_ctx &ctx) {
        work({ctx, how.threads, &named});
      },
      [&](std::string_view entry, std::string_view kernel) { named.add_call(entry, kernel); });
  auto out = std::make_unique<explanation>();
  work({how.library.chosen(), how.threads, out.get()});
  out->take_calls(named);
  return out;
}

answer measure(const measuring &how, const column_map &columns, const condition &asked) {
  answer out{};
  const query bound(asked, columns);
  out.selected = by_kernels(
      how, out, [] { return selection(); }, [&](const execution &run, selection &found) { bound.run(run, found); });
  ask_duckdb(how, out, counting(asked.sql), reference::count);
  return out;
}

answer measure(const measuring &how, const join_query &asked, const std::string &condition_sql) {
  answer out{};
  by_kernels(
      how, out, [] { return digest(); },
      [&](const execution &run, digest &found) { found = digest_of(asked, run, out.join.emplace()); });
  ask_duckdb(how, out, counting(condition_sql), reference::count);
  return out;
}

answer measure(const measuring &how, const plan_tables &from, const request &asked, const column_names &names) {
  answer out{};
  out.counted = "groups";
  const auto none = [&] { return kept_rows(asked.columns.size() + asked.aggregates.size()); };
  by_kernels(how, out, none, [&](const execution &run, kept_rows &found) {
    found = none();
    const auto rows = planned(run, from, asked);
    while (rows->next() != 0)
      found.add(rows->rows());
  });
  const auto prepared = [&](const reference &duckdb) { return duckdb.prepared(asked.sql(names, false)); };
  ask_duckdb(how, out, prepared, reference::count_rows);
  return out;
}

} // namespace store
