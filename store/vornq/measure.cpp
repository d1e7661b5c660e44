#include "store/vornq/measure.hpp"

#include <algorithm>
#include <chrono>

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

  duckdb::statement counting = checker.counting(asked.sql);
  uint64_t count = 0;
  const double time = median_milliseconds(repetitions, [&] { count = reference::count(counting); });
  out.measurements.push_back({"DuckDB", count, time});
  out.agree = out.agree && count == generic.count;
  return out;
}

} // namespace store
