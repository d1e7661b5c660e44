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
  double milliseconds;        // median of the runs
  double least;               // of them
  std::string_view read = {}; // by DuckDB: reference::form

  std::string name() const { return read.empty() ? engine : engine + ", " + std::string(read); }
};

struct answer {
  std::vector<measurement> measurements;
  bool agree = true;                        // all count the same, and the kernels select the same rows
  bool is_compared = false;                 // with DuckDB's, the last of the measurements
  selection selected;                       // by the kernels in force
  std::optional<join_statistics> join = {}; // by them too
  std::string counted = "matches";          // what is
  uint64_t row_groups = 0;                  // that the steps of the plan met, each step for itself
  uint64_t settled = 0;                     // of them, those that needed no kernel
  std::unique_ptr<explanation> explained = {};

  // The smallest and largest values of the row groups gave the answer: its time says nothing about kernels.
  bool is_settled() const { return settled == row_groups; }
  // A rate of rows would count rows that nobody read.
  bool has_rate() const { return settled == 0 && row_groups != 0; }
};

// How questions are measured.
struct measuring {
  kernels &library;
  worker_pool &threads;
  const reference &checker;
  const reference *compressed = nullptr; // the same columns, also timed; the faster of both is what DuckDB is given
  uint32_t repetitions = 1;              // of each engine, after a run that does not count unless it is the only one
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
