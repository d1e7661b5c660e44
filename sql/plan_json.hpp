// Plans as JSON text, so that another process can run a plan or a part of it.
//
// An object stands for each operator and each expression.  Its members are those of logical::plan and
// logical::expression; a member with nothing in it is left out:
//
//     {"names": ["origin", "n"], "root": {"operator": "aggregate", "types": ["VARCHAR", "BIGINT"],
//      "groups": [{"operation": "column", "type": "VARCHAR"}], "aggregates": [{"operation": "count_rows", ...}],
//      "children": [{"operator": "scan", "table": "flights", "table_columns": [3], "types": ["VARCHAR"]}]}}
#pragma once

#include <string>
#include <string_view>

#include "store/logical/plan.hpp"

namespace store::sql {

std::string plan_text(const logical::query &of);

// Reads what plan_text has written, and what is made of such texts with operators and expressions moved or joined.
// Throws store::error for other texts, for an unknown name, for an operator with too few or too many children, and for
// an expression that reads a column that is not there.  The types of expressions are taken as they are.
logical::query read_plan_text(std::string_view text);

} // namespace store::sql
