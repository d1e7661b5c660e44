// How long a query takes with each engine.
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

// Runs a query with the generic kernels, with those in force, and with DuckDB, whose tables are plain or compressed:
// the faster ones count.  Planning is not timed, and rows are made and dropped.
std::vector<measurement> measure(session &with, const std::string &text, const logical::query &planned,
                                 uint32_t repetitions);

} // namespace store
