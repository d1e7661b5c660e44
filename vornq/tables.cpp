#include "vornq/tables.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "sql/condition.hpp"
#include "store/error.hpp"
#include "store/saved/save.hpp"
#include "store/saved/saved_table.hpp"
#include "vornq/progress.hpp"
#include "vornq/text_table.hpp"

namespace store {

namespace {

struct join_text {
  std::filesystem::path file;
  std::string columns;
};

// Both the names of files and those of columns may contain a colon; the one between them is behind the file's ending.
join_text split(std::string_view text) {
  for (const std::string_view ending : {".csv:", ".parquet:", ".vorn:"})
    if (const size_t at = text.find(ending); at != text.npos) {
      const size_t colon = at + ending.size() - 1;
      return {text.substr(0, colon), std::string(text.substr(colon + 1))};
    }
  throw error(fmt::format("'{}' is not of the form file:column=column", shortened(text)));
}

bool is_saved(const std::filesystem::path &path) { return path.extension() == saved_table::ending; }
bool is_saved(const table_source &file) { return dynamic_cast<const saved_table *>(&file) != nullptr; }

std::unique_ptr<table_source> opened(const vorn_ctx &ctx, duckdb::connection &db,
                                     std::span<const std::filesystem::path> files) {
  const bool any_saved = std::any_of(files.begin(), files.end(), [](const auto &path) { return is_saved(path); });
  if (any_saved && files.size() > 1)
    throw error("a saved table is not one with other files");
  if (any_saved)
    return std::make_unique<saved_table>(ctx, files.front());
  return std::make_unique<table_file>(db, files);
}

std::vector<loaded_table> opened(const vorn_ctx &ctx, duckdb::connection &db,
                                 std::span<const std::filesystem::path> files, const std::optional<std::string> &join) {
  std::vector<loaded_table> out;
  out.push_back({opened(ctx, db, files)});
  if (join) {
    const std::filesystem::path other = split(*join).file;
    out.push_back({opened(ctx, db, std::span(&other, 1))});
    table_source::disambiguate(*out[0].file, *out[1].file);
  }
  return out;
}

} // namespace

tables::tables(const vorn_ctx &ctx, duckdb::connection &db, std::span<const std::filesystem::path> files,
               const std::optional<std::string> &join)
    : all_(opened(ctx, db, files, join)), known_(all_.front().file->columns(), join ? all_.front().file->name() : "") {
  if (!join)
    return;
  known_.add(all_[1].file->columns(), all_[1].file->name());
  const auto [first, second] = parse_equality(split(*join).columns);
  const column_info *keys[2];
  for (size_t table = 0; table < 2; ++table) {
    const table_source &file = *all_[table].file;
    keys[table] = &column_names(file.columns(), file.name()).find(table == 0 ? first : second);
  }
  check_joinable(*keys[0], *keys[1]);
  joined_by_ = {keys[0]->name, keys[1]->name};
}

bool tables::is_of_second(std::string_view name) const {
  const auto &first = all_.front().file->columns();
  return std::none_of(first.begin(), first.end(), [&](const column_info &info) { return info.name == name; });
}

std::vector<std::string> tables::columns_of(size_t table, std::span<const std::string> columns) const {
  std::vector<std::string> out;
  for (const column_info &info : all_[table].file->columns())
    if (std::find(columns.begin(), columns.end(), info.name) != columns.end())
      out.push_back(info.name);
  return out;
}

void tables::load(std::span<const std::string> columns, std::span<const std::string> needed,
                  const choice_map &choices) {
  std::vector<std::string> wanted[2];
  uint64_t values = 0;
  for (size_t table = 0; table < all_.size(); ++table) {
    wanted[table] = columns_of(table, columns);
    values += wanted[table].size() * all_[table].file->rows();
  }
  progress_bar bar(values);
  uint64_t before = 0;
  for (size_t table = 0; table < all_.size(); ++table)
    for (const std::string &name : wanted[table]) {
      auto &[file, loaded, reasons] = all_[table];
      const auto chosen = choices.find(name);
      const auto show = [&](uint64_t rows) { bar.show(visible(shortened(name)), before + rows); };
      try {
        loaded.emplace(
            name, file->load(file->find(name), chosen == choices.end() ? encoding_choice{} : chosen->second, show));
      } catch (const error &e) {
        // A saved table has no columns but those that could be stored.
        if (is_saved(*file) || chosen != choices.end() || std::find(needed.begin(), needed.end(), name) != needed.end())
          throw;
        reasons.emplace(name, e.what());
      }
      before += file->rows();
    }
}

bool tables::are_saved() const {
  return std::any_of(all_.begin(), all_.end(), [](const loaded_table &table) { return is_saved(*table.file); });
}

void tables::check_encoding(const column_info &info, const encoding_choice &choice) const {
  (is_of_second(info.name) ? all_.back() : all_.front()).file->check_encoding(info, choice);
}

uint64_t tables::save(const std::filesystem::path &path, size_t table) const {
  const auto &[file, loaded, reasons] = all_[table];
  std::vector<saved_column> columns;
  for (const column_info &info : file->columns())
    if (const auto found = loaded.find(info.name); found != loaded.end())
      columns.push_back({info.file_name(), info.sql_type, found->second});
  if (columns.empty())
    throw error("there are no columns to save");
  return store::save(path, columns);
}

reference tables::made_reference(duckdb::connection &db, std::span<const std::string> columns, bool in_memory) const {
  const auto file = [this](size_t table) -> const table_file & {
    return dynamic_cast<const table_file &>(*all_[table].file);
  };
  if (are_saved())
    return reference(db);
  if (are_joined())
    return {
        db, {file(0), columns_of(0, columns), joined_by_.first}, {file(1), columns_of(1, columns), joined_by_.second}};
  return in_memory ? reference(db, file(0), columns) : reference(db, file(0));
}

} // namespace store
