// Measures a query with each engine.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vornq/session.hpp"

namespace store {

struct measurement {
  std::string engine;
  double milliseconds; // median of the runs
  double least;        // of them
};

// Runs a query with the generic kernels, with the kernels in force, and with DuckDB.  DuckDB runs it on plain and on
// compressed tables, and the faster time counts.  Planning is not timed.  Rows are made and dropped.
std::vector<measurement> measure(session &with, const std::string &text, const logical::query &planned,
                                 uint32_t repetitions);

} // namespace store
