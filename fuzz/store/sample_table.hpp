// A small table of every type and form, from which conditions select.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "sql/reference.hpp"
#include "store/query/filter.hpp"
#include "store/value/value.hpp"

namespace vorn_fuzz {

struct sample_table {
  std::vector<store::column_info> columns; // one of a type that the store does not encode among them
  store::column_map encoded;
  std::map<std::string, std::vector<store::cell>, std::less<>> cells; // as DuckDB has them
  uint64_t rows = 0;

  // The rows on which DuckDB holds a condition to be true.  Throws store::error when it refuses it.
  std::vector<bool> selected(const std::string &condition_sql) const;
};
const sample_table &sample();

} // namespace vorn_fuzz
