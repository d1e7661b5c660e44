// The clock of the benchmarks.
#include "bench/measure.hpp"

#if __has_include(<valgrind/callgrind.h>)
  #include <valgrind/callgrind.h>
#else // nothing is counted
  #define CALLGRIND_START_INSTRUMENTATION
  #define CALLGRIND_STOP_INSTRUMENTATION
  #define CALLGRIND_DUMP_STATS_AT(name) static_cast<void>(name)
#endif

namespace vorn_bench {

namespace {

double counted_rows = 0;

}

void start_counting() { CALLGRIND_START_INSTRUMENTATION; }

void stop_counting(double rows) {
  CALLGRIND_STOP_INSTRUMENTATION;
  counted_rows = rows;
}

void write_count(const std::string &benchmark) {
  const std::string line = benchmark + " " + std::to_string(counted_rows);
  CALLGRIND_DUMP_STATS_AT(line.c_str());
}

double clock_rate() {
  constexpr int steps = 100000;
  double best = 0;
  for (int round = 0; round < 5; ++round) {
    uint64_t x = 3;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < steps; ++i) {
      x *= 0x9e3779b97f4a7c15U;
      benchmark::DoNotOptimize(x);
    }
    const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
    best = std::max(best, 3.0 * steps / spent.count());
  }
  return best;
}

double rate_meter::cycles() const { return rate_ * 1e9 * static_cast<double>(std::clock() - start_) / CLOCKS_PER_SEC; }

void rate_meter::report(double rows, const char *unit) const {
  stop_counting(rows);
  const double spent = cycles();
  const double all_rows = rows * static_cast<double>(state_.iterations());
  state_.counters[unit] = all_rows * rate_ / spent;
  state_.counters["cycles/64"] = spent / (all_rows / 64);
}

void rate_meter::report_call() const {
  stop_counting(64); // a call counts as 64 rows
  state_.counters["cycles"] = cycles() / static_cast<double>(state_.iterations());
}

} // namespace vorn_bench
