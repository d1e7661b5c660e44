#include <vorn/store/saved.hpp>

#include <vector>

#include "store/api/access.hpp"
#include "store/saved/save.hpp"
#include "store/saved/saved_table.hpp"

namespace vorn::store {

uint64_t save(const table &saved, const std::filesystem::path &path) {
  const table_data &data = *access::data(saved);
  std::vector<::store::saved_column> columns;
  for (size_t i = 0; i < data.infos.size(); ++i)
    columns.push_back({data.infos[i].name, data.infos[i].sql_type, data.at(i)});
  if (columns.empty())
    throw error("the table has no column to save");
  return checked([&] { return ::store::save(path, columns); });
}

table open(const vorn_ctx &ctx, const std::filesystem::path &path) {
  return checked([&] {
    const ::store::saved_table file(ctx, path);
    ::store::column_map columns;
    for (const ::store::column_info &info : file.columns())
      columns.emplace(info.name, file.load(info, {}, [](uint64_t) {}));
    return access::made(file.columns(), std::move(columns), file.rows());
  });
}

} // namespace vorn::store
