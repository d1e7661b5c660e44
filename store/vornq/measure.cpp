#include "store/vornq/measure.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

#include "store/plan/kept_rows.hpp"

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
void ask_duckdb(answer &out, duckdb::statement asked, uint64_t (*count_of)(duckdb::statement &), uint32_t repetitions) {
  uint64_t count = 0;
  const double time = median_milliseconds(repetitions, [&] { count = count_of(asked); });
  out.agree = out.agree && count == out.measurements.front().matches;
  out.measurements.push_back({"DuckDB", count, time});
  out.is_compared = true;
}

// Joined rows, told from others by their number and a number made of theirs, each in its place.
struct digest {
  uint64_t count = 0;
  uint64_t rows = 0;

  void add(std::span<const joined_row> joined) {
    constexpr uint64_t odd = 0x9e3779b97f4a7c15;
    for (const joined_row &row : joined)
      rows += (row.first * odd + row.second) * (2 * count++ + 1);
  }
  friend bool operator==(const digest &, const digest &) = default;
};

} // namespace

answer measure(const kernels &library, const column_map &columns, const condition &asked, const reference &checker,
               uint32_t repetitions) {
  answer out{};
  const query bound(asked, columns);
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    selection selected;
    const double time = median_milliseconds(repetitions, [&] { bound.run(ctx, selected); });
    out.measurements.push_back({std::move(engine), selected.count, time});
    return selected;
  };
  const selection generic = run(library.generic(), "generic");
  out.selected = library.is_specialised() ? run(library.chosen(), std::string(library.name())) : generic;
  out.agree = out.selected == generic;

  if (checker.has_columns())
    ask_duckdb(out, checker.counting(asked.sql), reference::count, repetitions);
  return out;
}

answer measure(const kernels &library, const join_query &asked, const std::string &condition_sql,
               const reference &checker, uint32_t repetitions) {
  answer out{};
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    digest found;
    const double time = median_milliseconds(repetitions, [&] {
      found = {};
      const auto rows = asked.run(ctx, {}, {});
      while (rows->next() != 0)
        found.add(rows->joined());
      out.join = rows->statistics();
    });
    out.measurements.push_back({std::move(engine), found.count, time});
    return found;
  };
  const digest generic = run(library.generic(), "generic");
  out.agree = !library.is_specialised() || run(library.chosen(), std::string(library.name())) == generic;
  if (checker.has_columns())
    ask_duckdb(out, checker.counting(condition_sql), reference::count, repetitions);
  return out;
}

answer measure(const kernels &library, const plan_tables &from, const request &asked, const column_names &names,
               const reference &checker, uint32_t repetitions) {
  answer out{};
  out.counted = "groups";
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    kept_rows found(0);
    const double time = median_milliseconds(repetitions, [&] {
      found = kept_rows(asked.columns.size() + asked.aggregates.size());
      const auto rows = planned(ctx, from, asked);
      while (rows->next() != 0)
        found.add(rows->rows());
    });
    out.measurements.push_back({std::move(engine), found.count(), time});
    return found;
  };
  const kept_rows generic = run(library.generic(), "generic");
  out.agree = !library.is_specialised() || run(library.chosen(), std::string(library.name())) == generic;
  if (checker.has_columns())
    ask_duckdb(out, checker.prepared(asked.sql(names, false)), reference::count_rows, repetitions);
  return out;
}

} // namespace store
