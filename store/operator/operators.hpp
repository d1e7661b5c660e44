// The operators of plans.  Making one binds its expressions and settles its layouts; nothing is run.
//
// `needed` says which columns of an operator are read above it.  An operator keeps the positions of columns that are
// not needed, so that expressions find theirs, but makes no values for them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "store/evaluate/evaluator.hpp"
#include "store/logical/plan.hpp"
#include "store/operator/relation.hpp"
#include "store/operator/table.hpp"

namespace store::exec {

using relation_ptr = std::unique_ptr<relation>;
using column_mask = std::vector<bool>;

// Some consecutive row groups of a table.
struct table_part {
  table_part(std::shared_ptr<table> whole) : of(std::move(whole)) {}
  table_part(std::shared_ptr<table> some, size_t begin, size_t behind)
      : of(std::move(some)), first(begin), end(behind) {}

  std::shared_ptr<table> of;
  size_t first = 0;
  size_t end = std::numeric_limits<size_t>::max(); // perhaps beyond the table
};

// The rows of a table on which all conditions are true.  `columns` are columns of the table, and the conditions count
// these.
relation_ptr make_scan(table_part of, std::span<const size_t> columns, const column_mask &needed,
                       std::span<const logical::expression> all_of, scalar_functions &functions);

relation_ptr make_values(std::span<const logical::sql_type> types,
                         std::span<const std::vector<logical::expression>> rows, scalar_functions &functions);
relation_ptr make_filter(relation_ptr rows, std::span<const logical::expression> all_of, scalar_functions &functions);
relation_ptr make_projection(relation_ptr rows, std::span<const logical::expression> expressions,
                             const column_mask &needed, scalar_functions &functions);

// `of` is a plan of the kind join or cross_product; its children are made already.
relation_ptr make_join(const logical::plan &of, relation_ptr left, relation_ptr right, const column_mask &needed,
                       scalar_functions &functions);

// `of` is a plan of the kind aggregate.
relation_ptr make_aggregate(const logical::plan &of, relation_ptr rows, const column_mask &needed,
                            scalar_functions &functions);
relation_ptr make_distinct(relation_ptr rows);

// `of` is a plan of the kind order or limit.
relation_ptr make_order(const logical::plan &of, relation_ptr rows, const column_mask &needed,
                        scalar_functions &functions);
relation_ptr make_limit(const logical::plan &of, relation_ptr rows, const column_mask &needed);

relation_ptr make_union_all(relation_ptr first, relation_ptr second, const column_mask &needed);

// Rows that are kept once and read by several operators.
class shared_rows;
std::shared_ptr<shared_rows> make_shared_rows(relation_ptr rows, const column_mask &needed);
relation_ptr make_shared_reference(std::shared_ptr<shared_rows> rows);

} // namespace store::exec
