// One question put to the generic kernels, the chosen ones and DuckDB: what each answers, and how long it takes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sql/condition.hpp"
#include "sql/reference.hpp"
#include "sql/request.hpp"
#include "store/join/join_query.hpp"
#include "store/library/kernels.hpp"
#include "store/plan/plan.hpp"
#include "store/query/filter.hpp"
#include "store/run/execution.hpp"
#include "store/run/explanation.hpp"
#include "store/run/worker_pool.hpp"

namespace store {

struct measurement {
  std::string engine;
  uint64_t matches;
  double milliseconds; // median of the runs
  double least;        // of them
};

struct answer {
  std::vector<measurement> measurements;
  bool agree = true;                        // all count the same, and the kernels select the same rows
  bool is_compared = false;                 // with DuckDB's, the last of the measurements
  selection selected;                       // by the kernels in force
  std::optional<join_statistics> join = {}; // by them too
  std::string counted = "matches";          // what is
  std::unique_ptr<explanation> explained = {};
};

// How questions are measured.
struct measuring {
  kernels &library;
  worker_pool &threads;
  const reference &checker;
  uint32_t repetitions = 1; // of each engine, after a run that does not count unless it is the only one
  bool explains = false;
};

answer measure(const measuring &how, const column_map &columns, const condition &asked);

// The same for a join and the SQL of its condition, if it has one.  Of joined rows no selection is kept.
answer measure(const measuring &how, const join_query &asked, const std::string &condition_sql);

// The same for the rows of a request, which the kernels give alike, bit by bit.  DuckDB's are counted here.
answer measure(const measuring &how, const plan_tables &from, const request &asked, const column_names &names);

// What the steps of some work are with the kernels in force, which do it twice: the first time their calls are
// observed, the second time they are measured.
std::unique_ptr<explanation> explain(const measuring &how, const std::function<void(const execution &)> &work);

} // namespace store
