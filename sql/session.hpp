// What plans queries on the tables of a catalogue, and makes their operators.
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
  // The catalogue outlives this.
  explicit session(catalogue &tables) : tables_(tables), functions_(tables.library()) {}

  catalogue &tables() { return tables_; }

  // As the planner says.  The first call opens the planner's database.
  logical::query plan(const std::string &text);

  // The operators of a plan, which read columns that are then loaded.
  exec::relation_ptr operators(const logical::plan &of);

  // The plan reads these tables, each once, in the order in which the plan names them.
  static std::vector<std::string> tables_of(const logical::query &of);

private:
  catalogue &tables_;
  std::optional<planner> planner_;
  duckdb_functions functions_;
};

} // namespace store::sql
