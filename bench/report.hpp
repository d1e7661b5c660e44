// The last table of a benchmark run: the slowest kernel of every width, for each implementation.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace vorn_bench {

// A measured kernel.  The counters of its run hold these values.
struct kernel_run {
  std::string group; // "in cache", "out of cache"
  unsigned width;
  std::string implementation;
  double grows;   // 10^9 rows a second
  double of_read; // the time of a plain read of the same bytes as a fraction of its own time, 0 if not measured
};

// Prints each run like the console reporter, and the table at the end.
class reporter : public benchmark::ConsoleReporter {
public:
  explicit reporter(std::vector<std::string> implementations) : implementations_(std::move(implementations)) {}
  void ReportRuns(const std::vector<Run> &runs) override;
  void Finalize() override;

private:
  std::vector<std::string> implementations_;
  std::vector<kernel_run> runs_;
};

} // namespace vorn_bench
