// The rows of a whole query.
#pragma once

#include <string>
#include <vector>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/relation.hpp"

namespace store::exec {

struct answer {
  std::vector<std::string> names;
  std::vector<layout> columns;
  kept_rows rows; // in their order
};

// The layouts of the decoded values.
std::vector<layout> plain_layouts(std::vector<layout> columns);

// Opens a relation and keeps all of its rows, decoded.
kept_rows all_rows(relation &of, const query_run &run);
// The same in the layouts of the relation: codes stay codes.
kept_rows all_rows_as_they_are(relation &of, const query_run &run);

} // namespace store::exec
