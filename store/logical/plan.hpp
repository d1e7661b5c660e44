// The plan of a query: a tree of operators over bound expressions.  It is a value, made without running anything.
//
// An operator gives rows with columns 0, 1, ..., whose names and types it says.  Expressions of an operator count the
// columns of its child; the expressions of a join's residual condition count the columns of the left child, then of the
// right child.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "store/logical/expression.hpp"

namespace store::logical {

enum class plan_kind {
  scan,            // columns of a table: `table`, `table_columns`
  values,          // rows of constants: `rows`
  filter,          // all of `expressions` are true
  projection,      // `expressions`
  join,            // `join`
  cross_product,   // each row of the left child with each of the right child
  aggregate,       // `groups`, then `aggregates`
  distinct,        // rows without their repetitions
  order,           // by `keys`, then the first `limit` rows after `offset`
  limit,           // `limit` rows after `offset`, or `percent` of all rows
  union_all,       // the rows of both children
  shared,          // the first child is kept as `shared_index`, the second one may read it
  shared_reference // the rows that are kept as `shared_index`
};

enum class join_kind {
  inner,
  left,  // rows of the left child without a partner come with NULLs
  right, // the same of the right child
  full,
  semi, // rows of the left child that have a partner
  anti, // rows of the left child that have none
  mark, // rows of the left child, and whether they have a partner: a boolean, NULL where a comparison with NULL decides
  single // as left; a row with several partners takes the first one
};

struct join_condition {
  expression left;                         // over the columns of the left child
  operation comparison = operation::equal; // or not_distinct_from, or another comparison
  expression right;                        // over the columns of the right child
};

enum class aggregate_kind { count_rows, count, sum, average, min, max, first };

struct aggregate {
  aggregate_kind what = aggregate_kind::count_rows;
  bool is_distinct = false;
  sql_type type;                       // of the result
  std::optional<expression> argument;  // none of count_rows
  std::optional<expression> condition; // FILTER (WHERE ...)
  std::string sql;                     // as DuckDB writes it
};

struct sort_key {
  expression by;
  bool is_descending = false;
  bool nulls_first = false;
};

struct plan {
  plan_kind what = plan_kind::values;
  std::vector<sql_type> types; // of the columns
  std::vector<plan> children;
  std::vector<expression> expressions; // filter, projection

  std::string table;                 // scan: as the catalogue knows it
  std::vector<size_t> table_columns; // scan: columns of the table
  std::vector<size_t> row_groups;    // scan: the first row group and the one after the last; nothing for all
  std::vector<std::vector<expression>> rows;
  join_kind join = join_kind::inner;
  std::vector<join_condition> conditions; // all of them hold for partners
  std::optional<expression> residual;     // and this: over the columns of the left child, then of the right one
  std::vector<expression> groups;
  // Of an aggregate: the groups of each grouping set, if there are several.
  std::vector<std::vector<size_t>> grouping_sets;
  std::vector<aggregate> aggregates;
  std::vector<sort_key> keys;
  std::optional<uint64_t> limit;
  std::optional<double> percent; // instead of `limit`
  uint64_t offset = 0;
  size_t shared_index = 0;
};

// A query: its plan, and the names of the columns of its answer.
struct query {
  plan root;
  std::vector<std::string> names;
};

} // namespace store::logical
