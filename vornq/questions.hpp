// What a user asks of the tables, read before they are loaded.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sql/request.hpp"
#include "vornq/options.hpp"
#include "vornq/tables.hpp"

namespace store {

struct questions {
  choice_map choices;
  std::vector<condition> conditions; // whose rows are counted
  std::optional<request> shown;      // rows or groups
  std::vector<std::string> columns;  // all that are needed; none when nothing is asked
};

// What can be found wrong is found here, before the load, rather than after it.  Throws store::error.
questions read_questions(duckdb::connection &db, const options &chosen, const tables &from);

// What is asked, as a line.
std::string described(const request &asked, const options &chosen);

} // namespace store
