// The plan of a query: a chain of row sources, each of which pulls its rows from the one below it.
//
//     rows      scan or join                  sort   limit
//     groups    scan or join   grouping       sort   limit
//
// Groups of the rows of one table are made of the compressed columns without a scan where these have codes, and need no
// sort in the order of their columns, which is that of the codes.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/join/join_query.hpp"
#include "store/plan/dense_groups.hpp"
#include "store/plan/query_parts.hpp"
#include "store/query/filter.hpp"
#include <vorn/vorn.h>

namespace store {

// One table, or two that are joined, with the columns that a query takes and at least one.
struct plan_tables {
  const column_map &first;
  const column_map *second = nullptr;
  join_keys keys = {};

  const column &at(const std::string &name) const;
  std::vector<output_column> outputs(std::span<const std::string> names) const;
  // Of two tables.
  join_query joined_by(const expression *asked) const { return {keys, asked, first, *second}; }
};

struct plan_settings {
  dense_settings dense;
  join_settings join;
};

// The rows of the answer.  Context, threads, tables and query outlive them.  Throws store::error as a condition does.
std::unique_ptr<row_source> planned(const execution &on, const plan_tables &from, const query_parts &asked,
                                    const plan_settings &settings = {});

} // namespace store
