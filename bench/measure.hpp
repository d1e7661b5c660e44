// Work timed in turn with a plain touch of the same memory, within one run.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>

namespace vorn_bench {

// Cycles a nanosecond at the clock of this moment: a chain of dependent multiplications takes three cycles each.
double clock_rate();

// Grows/s of the work, the time of the touch as a fraction of its own, and the cycles that 64 rows take.
template <class Work, class Touch, class Reset>
void measure_beside(benchmark::State &state, double rows, Work work, Touch touch, Reset reset) {
  using clock_type = std::chrono::steady_clock;
  double work_time = 0, touch_time = 0;
  const double rate = clock_rate();
  work();
  for (auto _ : state) {
    reset();
    const auto start = clock_type::now();
    work();
    const auto between = clock_type::now();
    touch();
    const auto end = clock_type::now();
    const double spent = std::chrono::duration<double>(between - start).count();
    work_time += spent;
    touch_time += std::chrono::duration<double>(end - between).count();
    state.SetIterationTime(spent);
  }
  const double all_rows = rows * static_cast<double>(state.iterations());
  state.counters["Grows/s"] = all_rows / work_time / 1e9;
  state.counters["of_touch"] = touch_time / work_time;
  state.counters["cycles/64"] = work_time * 1e9 * rate / (all_rows / 64);
}

template <class Work, class Touch>
void measure_beside(benchmark::State &state, double rows, Work work, Touch touch) {
  measure_beside(state, rows, work, touch, [] {});
}

// The same of a benchmark whose iterations are timed as a whole: made before the loop, asked after it.
class rate_meter {
public:
  explicit rate_meter(benchmark::State &measured) : state(measured) {}

  // Each iteration has worked on so many rows, or in 10^9 a second something else.
  void report(double rows, const char *unit = "Grows/s") const;
  void report_call() const; // cycles of an iteration

private:
  double cycles() const; // of all iterations

  benchmark::State &state;
  double rate = clock_rate();
  std::clock_t start = std::clock(); // of the processor: it stops when the process is not running
};

} // namespace vorn_bench
