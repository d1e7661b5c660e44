#include "bench/measure.hpp"

namespace vorn_bench {

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

void report_rates(benchmark::State &state, double rows, const char *unit) {
  using benchmark::Counter;
  state.counters[unit] = Counter(rows / 1e9, Counter::kIsIterationInvariantRate);
  // The time that 64 rows take, in cycles.
  state.counters["cycles/64"] =
      Counter(rows / 64 / (clock_rate() * 1e9), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

} // namespace vorn_bench
