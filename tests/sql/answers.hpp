// Answers of the store and of DuckDB, and how they differ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sql/duckdb_engine.hpp"
#include "store/operator/relation.hpp"

namespace vorn_test {

// Values are texts.  Two texts are equal exactly if their values are.
struct answer {
  std::vector<std::string> names;
  std::vector<std::string> types;
  std::vector<std::vector<std::string>> rows;
};

// Runs an opened or a new relation.
answer answer_of(store::exec::relation &of, const std::vector<std::string> &names, const store::exec::query_run &run);
answer answer_of(store::sql::duckdb_answer rows);

// What is known of an answer's rows.
struct answer_shape {
  // Columns whose values depend on the order of additions: numbers differ by this part of themselves at most.  Either
  // zero may stand for both.
  std::vector<size_t> rounded;
  double bound = 1e-12;
  std::vector<size_t> order;   // columns by which rows are ordered; their values have one order
  bool is_whole_order = false; // rows that are equal there are equal
};

// Nothing if both have the same rows; otherwise a line that says where they differ.
std::string difference(const answer &found, const answer &expected, const answer_shape &shape);

// The same where the answers are some rows of all: as many, with the same values in the columns of the order, and each
// of them among `all`.
std::string difference_of_some(const answer &found, const answer &expected, const answer &all,
                               const answer_shape &shape);

} // namespace vorn_test
