// One question put to the generic kernels, the chosen ones and DuckDB: what each answers, and how long it takes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/duckdb/reference.hpp"
#include "store/query/condition.hpp"
#include "store/query/filter.hpp"
#include "store/vornq/kernels.hpp"

namespace store {

struct measurement {
  std::string engine;
  uint64_t matches;
  double milliseconds; // median of the runs
};

struct answer {
  std::vector<measurement> measurements;
  bool agree;         // all count the same, and the kernels select the same rows
  selection selected; // by the kernels in force
};

// Each engine runs `repetitions` times, after a first run that does not count unless it is the only one.
answer measure(const kernels &library, const column_map &columns, const condition &asked, const reference &checker,
               uint32_t repetitions);

} // namespace store
