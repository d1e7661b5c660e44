// Appends values of chunks to the builder of a stored column.
#pragma once

#include "store/chunk/vector.hpp"
#include "store/encode/column_builder.hpp"
#include "store/value/value.hpp"

namespace store::exec {

// Appends the rows of a vector in the plain representation of a type.  The builder is for the same type.
void append(column_builder &to, const vector &values, const column_type &type);

} // namespace store::exec
