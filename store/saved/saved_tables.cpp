#include "store/saved/saved_tables.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "store/encode/column_builder.hpp"
#include "store/error.hpp"
#include "store/operator/table_rows.hpp"

namespace store {

saved_tables::saved_tables(const vorn_ctx &library, std::span<const std::filesystem::path> files) : library_(library) {
  for (const std::filesystem::path &file : files) {
    if (file.extension() != saved_table::ending)
      throw error("the files are not of one kind");
    parts_.push_back(std::make_unique<saved_table>(library, file));
    row_count += parts_.back()->rows();
    const std::vector<column_info> &columns = parts_.back()->columns();
    const auto &first = parts_.front()->columns();
    if (!std::equal(columns.begin(), columns.end(), first.begin(), first.end(),
                    [](const auto &a, const auto &b) { return a.name == b.name && a.sql_type == b.sql_type; }))
      throw error(fmt::format("the columns of {} are not those of {}", shortened(file.string()),
                              shortened(files.front().string())));
  }
  stem = parts_.front()->name();
  infos = parts_.front()->columns();
}

void saved_tables::check_encoding(const column_info &info, const encoding_choice &choice) const {
  store::check_encoding(info, choice);
}

void saved_tables::require_unchanged() const {
  for (const std::unique_ptr<saved_table> &part : parts_)
    part->require_unchanged();
}

column saved_tables::load(const column_info &info, const encoding_choice &choice,
                          const std::function<void(uint64_t)> &progress) const {
  std::vector<std::unique_ptr<exec::table>> tables;
  std::vector<exec::table *> in_order;
  for (const std::unique_ptr<saved_table> &part : parts_)
    in_order.push_back(tables
                           .emplace_back(std::make_unique<exec::table>(part->name(), std::vector{info}, part->rows(),
                                                                       [&info, &of = *part](size_t) {
                                                                         return std::make_shared<const column>(of.load(
                                                                             of.find(info.name), {}, [](uint64_t) {}));
                                                                       }))
                           .get());
  return exec::concatenated(library_, in_order, 0, choice, progress);
}

} // namespace store
