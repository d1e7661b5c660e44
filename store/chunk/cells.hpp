// Single values of vectors, for texts of answers and for columns that are encoded again.
#pragma once

#include <cstddef>

#include "store/chunk/layout.hpp"
#include "store/chunk/vector.hpp"
#include "store/value/value.hpp"

namespace store::exec {

// The value of a row.  The bytes of a text stay where they are.
cell cell_at(const vector &values, const layout &of, size_t row);

} // namespace store::exec
