// Makes the operators of a plan.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "store/operator/operators.hpp"

namespace store::exec {

// Gives the table that a scan of the plan reads, or a part of the table.
using table_finder = std::function<table_part(const logical::plan &scan)>;

// Loads the columns that the plan reads, and binds all expressions.  Nothing is run.  Tables and functions outlive the
// operators.  Throws store::error for what cannot be loaded or bound.
relation_ptr build(const logical::plan &root, const table_finder &find, scalar_functions &functions);

} // namespace store::exec
