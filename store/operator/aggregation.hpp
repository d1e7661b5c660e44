// The parts of aggregates.  Aggregates share parts: avg(x) uses the sum of sum(x) and the count of count(x).
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "store/logical/plan.hpp"
#include "store/operator/accumulator.hpp"

namespace store::exec {

// The input of accumulators.
struct aggregate_input {
  std::optional<size_t> column;    // of the values; empty when rows are counted
  std::optional<size_t> condition; // a boolean column: only rows on which it is true
  bool is_distinct = false;        // only the first row of each value
  bool keeps_nulls = false;        // otherwise only rows with a value
  bool is_decoded = false;         // codes are replaced by their values

  friend bool operator==(const aggregate_input &, const aggregate_input &) = default;
};

struct accumulator_of_input {
  accumulation what = accumulation::count;
  size_t input = 0;
  layout values; // of the input
  layout result;
};

struct aggregate_result {
  logical::aggregate_kind what = logical::aggregate_kind::count_rows;
  size_t accumulator = 0;
  std::optional<size_t> count; // the accumulator that counts the rows of the input, if a group may have none
  layout values;               // of the argument
};

class aggregation {
public:
  // `columns` are the columns of the child.
  explicit aggregation(std::vector<layout> columns) : columns_(std::move(columns)) {}

  // Adds an aggregate and returns the layout of its result.  `has_rows` says that every group has a row.
  layout add(const logical::aggregate &what, std::optional<size_t> argument, std::optional<size_t> condition,
             bool has_rows);

  const std::vector<layout> &columns() const { return columns_; }
  const std::vector<aggregate_input> &inputs() const { return inputs_; }
  const std::vector<accumulator_of_input> &accumulators() const { return accumulators_; }
  const std::vector<aggregate_result> &results() const { return results_; }

  // Does the result depend on the order of rows?
  bool is_ordered() const;
  // Computes the values of a result from the values of the accumulators.
  vector result(size_t index, std::span<const vector> accumulated, arena &memory) const;

private:
  size_t input(const aggregate_input &wanted);
  size_t accumulator(accumulation what, const aggregate_input &input, const logical::sql_type &type);

  std::vector<layout> columns_;
  std::vector<aggregate_input> inputs_;
  std::vector<accumulator_of_input> accumulators_;
  std::vector<aggregate_result> results_;
};

} // namespace store::exec
