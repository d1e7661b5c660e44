#include "store/vornq/measure.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "store/plan/kept_rows.hpp"
#include "store/run/execution.hpp"

namespace store {

namespace {

template <class Work>
double median_milliseconds(uint32_t repetitions, Work work) {
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
  return *middle;
}

// Adds DuckDB's count.
void ask_duckdb(answer &out, const reference &checker, size_t threads, duckdb::statement asked,
                uint64_t (*count_of)(duckdb::statement &), uint32_t repetitions) {
  uint64_t count = 0;
  checker.use_threads(threads);
  const double time = median_milliseconds(repetitions, [&] { count = count_of(asked); });
  checker.use_threads(1);
  out.agree = out.agree && count == out.measurements.front().matches;
  out.measurements.push_back({"DuckDB", count, time});
}

// Joined rows, told from others by their number and a number made of theirs, each in its place.
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
  // Those behind them.
  void add(const digest &more) {
    rows_in_place += more.rows_in_place + 2 * count * more.rows;
    rows += more.rows;
    count += more.count;
  }
  friend bool operator==(const digest &, const digest &) = default;
};

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

answer measure(const kernels &library, worker_pool &threads, const column_map &columns, const condition &asked,
               const reference &checker, uint32_t repetitions) {
  answer out{};
  const query bound(asked, columns);
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    selection selected;
    const double time = median_milliseconds(repetitions, [&] { bound.run({ctx, threads}, selected); });
    out.measurements.push_back({std::move(engine), selected.count, time});
    return selected;
  };
  const selection generic = run(library.generic(), "generic");
  out.selected = library.is_specialised() ? run(library.chosen(), std::string(library.name())) : generic;
  out.agree = out.selected == generic;

  ask_duckdb(out, checker, threads.threads(), checker.counting(asked.sql), reference::count, repetitions);
  return out;
}

answer measure(const kernels &library, worker_pool &threads, const join_query &asked,
               const std::string &condition_sql, const reference &checker, uint32_t repetitions) {
  answer out{};
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    digest found;
    const double time = median_milliseconds(repetitions, [&] {
      found = digest_of(asked, {ctx, threads}, out.join.emplace());
    });
    out.measurements.push_back({std::move(engine), found.count, time});
    return found;
  };
  const digest generic = run(library.generic(), "generic");
  out.agree = !library.is_specialised() || run(library.chosen(), std::string(library.name())) == generic;
  ask_duckdb(out, checker, threads.threads(), checker.counting(condition_sql), reference::count, repetitions);
  return out;
}

answer measure(const kernels &library, worker_pool &threads, const plan_tables &from, const request &asked,
               const column_names &names, const reference &checker, uint32_t repetitions) {
  answer out{};
  out.counted = "groups";
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    kept_rows found(0);
    const double time = median_milliseconds(repetitions, [&] {
      found = kept_rows(asked.columns.size() + asked.aggregates.size());
      const auto rows = planned({ctx, threads}, from, asked);
      while (rows->next() != 0)
        found.add(rows->rows());
    });
    out.measurements.push_back({std::move(engine), found.count(), time});
    return found;
  };
  const kept_rows generic = run(library.generic(), "generic");
  out.agree = !library.is_specialised() || run(library.chosen(), std::string(library.name())) == generic;
  ask_duckdb(out, checker, threads.threads(), checker.prepared(asked.sql(names, false)), reference::count_rows,
             repetitions);
  return out;
}

} // namespace store
