#include "store/measure.hpp"

#include <algorithm>
#include <array>
#include <chrono>

#include "store/filter.hpp"

namespace store {

namespace {

constexpr size_t repetitions = 9;

template <class Work>
double median_milliseconds(Work work) {
  using clock = std::chrono::steady_clock;
  work();
  std::array<double, repetitions> times{};
  for (double &time : times) {
    const auto start = clock::now();
    work();
    time = std::chrono::duration<double, std::milli>(clock::now() - start).count();
  }
  std::nth_element(times.begin(), times.begin() + repetitions / 2, times.end());
  return times[repetitions / 2];
}

} // namespace

answer measure(const kernels &library, const column &on, const condition &c, const reference &checker) {
  answer out{};
  const code_comparison compared = to_codes(c, on);
  const auto run = [&](const vorn_ctx &ctx, std::string engine) {
    selection selected;
    const double time = median_milliseconds([&] { filter(ctx, on, compared, selected); });
    out.measurements.push_back({std::move(engine), selected.count, time});
    return selected;
  };
  const selection generic = run(library.generic(), "generic");
  out.agree = !library.is_specialised() || run(library.chosen(), library.name()) == generic;

  duckdb::statement query = checker.counting(to_sql(c, on.kind));
  uint64_t count = 0;
  const double time = median_milliseconds([&] { count = reference::count(query); });
  out.measurements.push_back({"DuckDB " + duckdb::version(), count, time});
  out.agree = out.agree && count == generic.count;
  return out;
}

} // namespace store
