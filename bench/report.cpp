// Prints the tables of a benchmark run.
#include "bench/report.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <set>

#include "bench/measure.hpp"

namespace vorn_bench {

void reporter::ReportRuns(const std::vector<Run> &runs) {
  benchmark::ConsoleReporter::ReportRuns(runs);
  for (const Run &run : runs) {
    write_count(run.run_name.function_name);
    const auto width = run.counters.find("width");
    const auto of_read = run.counters.find("of_read");
    // "group/kernel/implementation"
    const std::string name = run.run_name.function_name;
    const size_t first = name.find('/');
    const size_t last = name.rfind('/');
    if (width == run.counters.end() || run.run_type != Run::RT_Iteration || first == last)
      continue;
    // Each encoding has its own table.
    const std::string kernel = name.substr(first + 1, last - first - 1);
    std::string family = kernel.find("_fixed_") != std::string::npos  ? ", fixed"
                         : kernel.find("_dynp_") != std::string::npos ? ", dynamic-packed"
                         : kernel.starts_with("vorn_set_")            ? ", set"
                         : kernel.starts_with("vorn_decode_unpack_")  ? ", unpack"
                         : kernel.starts_with("vorn_decode_symbol_")  ? ", symbol decode"
                         : kernel.starts_with("vorn_decode_")         ? ", decode"
                                                                      : "";
    if (kernel.ends_with("_tz"))
      family += " with the second key";
    runs_.push_back({name.substr(0, first) + family, static_cast<unsigned>(width->second.value), name.substr(last + 1),
                     run.counters.at("Grows/s").value, of_read == run.counters.end() ? 0 : of_read->second.value});
  }
}

void reporter::Finalize() {
  std::set<std::string> groups;
  for (const kernel_run &run : runs_)
    groups.insert(run.group);
  for (const std::string &group : groups) {
    fmt::print(
        "\n{}: slowest and median kernel of a width in Grows/s, and the median's share of a plain read, where known\n",
        group);
    fmt::print("{:>5}", "width");
    for (const std::string &implementation : implementations_)
      fmt::print("  {:^24}", implementation);
    fmt::print("\n");
    std::map<unsigned, std::map<std::string, std::vector<kernel_run>>> table;
    for (const kernel_run &run : runs_)
      if (run.group == group)
        table[run.width][run.implementation].push_back(run);
    for (auto &[width, row] : table) {
      fmt::print("{:>5}", width);
      for (const std::string &implementation : implementations_) {
        std::vector<kernel_run> &cell = row[implementation];
        if (cell.empty()) {
          fmt::print("  {:24}", "");
          continue;
        }
        std::sort(cell.begin(), cell.end(), [](const auto &a, const auto &b) { return a.grows < b.grows; });
        const kernel_run &median = cell[cell.size() / 2];
        const std::string share = median.of_read > 0 ? fmt::format("{:.1f}%", 100 * median.of_read) : "";
        fmt::print("  {:>7.2f} {:>7.2f} {:>8}", cell[0].grows, median.grows, share);
      }
      fmt::print("\n");
    }
  }
}

} // namespace vorn_bench
