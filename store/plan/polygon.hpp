// Points of rows in a polygon.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "store/arrow/selection.hpp"
#include "store/encode/column.hpp"
#include "store/run/execution.hpp"
#include <vorn/vorn.h>

namespace store {

// Its vertices, and the columns that hold the two coordinates of a row's point.
struct polygon {
  std::string x_column;
  std::string y_column;
  std::vector<double> xs;
  std::vector<double> ys;
};

// The rows of `among`, of all rows without it, whose point lies inside.  A point of which a coordinate is NULL does
// not.
selection inside(const execution &run, const polygon &area, const column &x, const column &y, const selection *among);

} // namespace store
