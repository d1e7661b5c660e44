// One question put to the generic kernels, the chosen ones and DuckDB: what each answers, and how long it takes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/duckdb/reference.hpp"
#include "store/join/join_query.hpp"
#include "store/plan/plan.hpp"
#include "store/query/condition.hpp"
#include "store/query/filter.hpp"
#include "store/run/worker_pool.hpp"
#include "store/vornq/kernels.hpp"

namespace store {

struct measurement {
  std::string engine;
  uint64_t matches;
  double milliseconds; // median of the runs
};

struct answer {
  std::vector<measurement> measurements;
  bool agree;                               // all count the same, and the kernels select the same rows
  selection selected;                       // by the kernels in force
  std::optional<join_statistics> join = {}; // by them too
  std::string counted = "matches";          // what is
};

// Each engine runs on so many threads `repetitions` times, after a first run that does not count unless it is the only one.
answer measure(const kernels &library, worker_pool &threads, const column_map &columns, const condition &asked,
               const reference &checker, uint32_t repetitions);

// The same for a join and the SQL of its condition, if it has one.  Of joined rows no selection is kept.
answer measure(const kernels &library, worker_pool &threads, const join_query &asked, 
               const std::string &condition_sql, const reference &checker, uint32_t repetitions);

// The same for the rows of a request, which the kernels give alike, bit by bit.  DuckDB's are counted here.
answer measure(const kernels &library, worker_pool &threads, const plan_tables &from, const request &asked,
               const column_names &names, const reference &checker, uint32_t repetitions);

} // namespace store
