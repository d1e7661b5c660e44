// The closing table of a benchmark run: the slowest kernel of every width, by implementation.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace vorn_bench {

// What a measured kernel is, carried in the counters of its run.
struct kernel_run {
  std::string group; // "in cache", "out of cache"
  unsigned width;
  std::string implementation;
  double grows;   // 10^9 rows a second
  double of_read; // its time as a fraction of which a plain read of the same bytes would take, 0 if not measured
};

// Prints runs as they come, like the console, and the table at the end.
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
