// Makes the operators of a plan.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "store/operator/operators.hpp"

namespace store::exec {

// Finds a table of the plan by its name.
using table_finder = std::function<std::shared_ptr<table>(const std::string &)>;

// Loads the columns that the plan reads, and binds all expressions.  Runs nothing.  Tables and functions outlive the
// operators.  Throws store::error for what cannot be loaded or bound.
relation_ptr build(const logical::plan &root, const table_finder &find, scalar_functions &functions);

} // namespace store::exec
