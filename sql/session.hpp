// A session plans queries on the tables of a catalogue, and makes their operators.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sql/catalogue.hpp"
#include "sql/duckdb_functions.hpp"
#include "sql/planner.hpp"
#include "store/operator/build.hpp"

namespace store::sql {

// One thread uses it at a time.  Several sessions may share a catalogue.
class session {
public:
  // The catalogue outlives this object.
  explicit session(catalogue &tables) : tables_(tables), functions_(tables.library()) {}

  catalogue &tables() { return tables_; }

  // The plan of the planner.  The first call opens the database of the planner.
  logical::query plan(const std::string &text);

  // The operators of a plan.  The call loads the columns that they read.
  exec::relation_ptr operators(const logical::plan &of);

  // The tables that the plan reads, each once, in the order of the plan.
  static std::vector<std::string> tables_of(const logical::query &of);

private:
  catalogue &tables_;
  std::optional<planner> planner_;
  duckdb_functions functions_;
};

} // namespace store::sql
