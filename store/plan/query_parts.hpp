// What is asked of one table, or of two that are joined: the rows on which a condition is true, or groups of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/grouping.hpp"
#include "store/plan/polygon.hpp"
#include "store/query/condition.hpp"
#include "store/value/column_names.hpp"

namespace store {

// A column or a number.
struct asked_operand {
  std::string text; // the name of the column, or the number as it was written
  std::optional<double> constant = {};
};

// A count, or the sum or average of a column or of two operands, not both constants, with an operator between them,
// which are then taken as doubles.
struct asked_aggregate {
  function what = function::count;
  asked_operand left = {};
  char op = '\0'; // or one of + - *
  asked_operand right = {};

  std::string name() const;
  uint32_t opcode() const; // of the library
  std::vector<std::string> columns() const;
  const std::string *plain_column() const; // the column that is added as it is; null where there is none
  // Of the values, by that of the plain column.
  column_type type_of(const column_type &added) const;
  column_type type(const column_names &names) const;
};

struct asked_order {
  std::string by; // a column or the name of an aggregate
  bool descending = false;
};

struct query_parts {
  std::optional<expression> where;
  std::optional<polygon> area;      // that the points of the rows lie in
  std::vector<std::string> columns; // that are shown, or that rows are grouped by
  bool is_grouped = false;
  std::vector<asked_aggregate> aggregates; // of a group
  std::vector<asked_order> order;          // otherwise the order of the rows, or that of groups by their columns
  std::optional<uint64_t> limit;

  // The columns of the answer.
  std::vector<heading> headings(const column_names &names) const;
};

} // namespace store
