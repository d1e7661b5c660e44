// What the operators of a query did, as EXPLAIN ANALYZE shows it.
#pragma once

#include <string>

#include "store/operator/relation.hpp"

namespace store::exec {

// The metrics of operators, as a tree in a table.  Another, observed run of the same operators gives the entry points
// and kernels.
std::string explained(const relation &ran, const relation &observed);

} // namespace store::exec
