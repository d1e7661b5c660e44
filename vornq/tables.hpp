// The tables that a user of vornq names: one, or two that are joined.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sql/reference.hpp"
#include "sql/table_file.hpp"
#include "store/plan/plan.hpp"
#include "store/query/filter.hpp"

namespace store {

struct loaded_table {
  std::unique_ptr<table_source> file;
  column_map columns = {};
  std::map<std::string, std::string> reasons = {}; // of those that cannot be stored and that nothing was asked of
};

class tables {
public:
  // `join` is "file:column=column", a column of the first table and one of the other.  Context and connection outlive
  // this.
  tables(const vorn_ctx &ctx, duckdb::connection &db, std::span<const std::filesystem::path> files,
         const std::optional<std::string> &join);
  tables(const tables &) = delete;

  const column_names &names() const { return known_; }
  uint64_t rows() const { return all_.front().file->rows(); } // of the first table
  const std::vector<loaded_table> &list() const { return all_; }

  // Is a column, by its name in queries, of the second table?
  bool is_of_second(std::string_view name) const;

  // Of two tables.
  bool are_joined() const { return all_.size() == 2; }
  const join_keys &keys() const { return joined_by_; }
  join_query query_for(const expression *asked) const { return plan().joined_by(asked); }
  std::vector<output_column> outputs(std::span<const std::string> columns) const { return plan().outputs(columns); }

  plan_tables plan() const { return {all_.front().columns, are_joined() ? &all_.back().columns : nullptr, joined_by_}; }

  // Can a column be stored as is chosen?  Throws store::error when not.
  void check_encoding(const column_info &info, const encoding_choice &choice) const;

  // Reads and encodes columns.  Those that are not needed may be none that can be stored.
  void load(std::span<const std::string> columns, std::span<const std::string> needed, const choice_map &choices);

  // Saves the loaded columns of a table.  The bytes of the file.
  uint64_t save(const std::filesystem::path &path, size_t table = 0) const;

  const column &at(const std::string &name) const { return plan().at(name); }

  // Columns for DuckDB, in memory where times are measured; none when a table is saved.
  reference made_reference(duckdb::connection &db, std::span<const std::string> columns, bool in_memory) const;

private:
  bool are_saved() const; // one of them, or the only one
  std::vector<std::string> columns_of(size_t table, std::span<const std::string> columns) const;

  std::vector<loaded_table> all_;
  join_keys joined_by_;
  column_names known_;
};

} // namespace store
