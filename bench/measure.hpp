// Times work in turn with a plain touch of the same memory, within one run.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>

namespace vorn_bench {

// valgrind counts the instructions of the work between the two (tools/instructions).  Without valgrind they do nothing.
void start_counting();
void stop_counting(double rows);
// Writes the count as the count of a benchmark.
void write_count(const std::string &benchmark);

// The current clock rate in cycles per nanosecond.  It times a chain of dependent multiplications of three cycles each.
double clock_rate();

// Times work and touch in turn and counts Grows/s and the cycles that 64 rows of the work take.  Returns the time of
// the touch as a fraction of the time of the work.  A reset comes before each turn and is not timed.  The least time of
// all turns counts, since other processes can only make a turn longer.
template <class Work, class Touch, class... Reset>
double measure_in_turn(benchmark::State &state, double rows, Work work, Touch touch, Reset... reset) {
  using clock_type = std::chrono::steady_clock;
  double work_time = 1e9, touch_time = 1e9;
  const double rate = clock_rate();
  work();
  for (auto _ : state) {
    (reset(), ...);
    start_counting();
    const auto start = clock_type::now();
    work();
    const auto between = clock_type::now();
    stop_counting(rows);
    touch();
    const auto end = clock_type::now();
    const double spent = std::chrono::duration<double>(between - start).count();
    work_time = std::min(work_time, spent);
    touch_time = std::min(touch_time, std::chrono::duration<double>(end - between).count());
    state.SetIterationTime(spent);
  }
  state.counters["Grows/s"] = rows / work_time / 1e9;
  state.counters["cycles/64"] = work_time * 1e9 * rate / (rows / 64);
  return touch_time / work_time;
}

// The same, with the fraction as a counter.
template <class Work, class Touch, class... Reset>
void measure_beside(benchmark::State &state, double rows, Work work, Touch touch, Reset... reset) {
  state.counters["of_touch"] = measure_in_turn(state, rows, work, touch, reset...);
}

// Measures a benchmark with all its iterations timed as a whole.  It is made before the loop and reports after it.
class rate_meter {
public:
  explicit rate_meter(benchmark::State &state) : state_(state) { start_counting(); }

  // Each iteration has worked on this many rows.  Another unit counts 10^9 of something else per second.
  void report(double rows, const char *unit = "Grows/s") const;
  void report_call() const; // cycles of an iteration

private:
  double cycles() const; // of all iterations

  benchmark::State &state_;
  double rate_ = clock_rate();
  std::clock_t start_ = std::clock(); // the processor's clock stops while the process is not running
};

} // namespace vorn_bench
