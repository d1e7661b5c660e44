#include "store/saved/save_rows.hpp"

#include <string>
#include <vector>

#include "store/chunk/encoded_column.hpp"
#include "store/error.hpp"
#include "store/saved/save.hpp"
#include "store/value/column_names.hpp"

namespace store {

uint64_t save_rows(const std::filesystem::path &path, const exec::answer &rows) {
  const std::vector<std::string> names = distinct_names(rows.names);
  std::vector<column> columns;
  for (size_t c = 0; c < names.size(); ++c)
    columns.push_back(exec::encoded_column(names[c], rows.columns[c], rows.rows.values(c)));
  std::vector<saved_column> saved;
  for (size_t c = 0; c < names.size(); ++c)
    saved.push_back({names[c], rows.columns[c].type.name, columns[c]});
  return save(path, saved);
}

uint64_t save_table(const std::filesystem::path &path, exec::table &of) {
  std::vector<saved_column> saved;
  for (size_t c = 0; c < of.columns().size(); ++c)
    if (const column_info &info = of.columns()[c]; info.type)
      saved.push_back({info.name, info.sql_type, of.at(c)});
  if (saved.empty())
    throw error("there are no columns to save");
  return save(path, saved);
}

} // namespace store
