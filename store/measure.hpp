// One question put to the generic kernels, the chosen ones and DuckDB: what each answers, and how long it takes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/column.hpp"
#include "store/condition.hpp"
#include "store/implementation.hpp"
#include "store/reference.hpp"

namespace store {

struct measurement {
  std::string engine;
  uint64_t matches;
  double milliseconds; // median of several runs after a first one that does not count
};

struct answer {
  std::vector<measurement> measurements;
  bool agree; // all count the same, and the kernels select the same rows
};

answer measure(const kernels &library, const column &on, const condition &c, const reference &checker);

} // namespace store
