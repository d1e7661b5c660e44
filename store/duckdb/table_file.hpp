// Parquet or CSV files as a source of columns.  DuckDB reads it; one column at a time is in memory in plain form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/duckdb/connection.hpp"
#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"
#include "store/value/column_names.hpp"

namespace store {

class table_file {
public:
  // Several files are one table, their rows one after the other.  Throws store::error when there is no such file or it
  // cannot be read, and when their columns differ.  The connection outlives this.
  table_file(duckdb::connection &db, std::span<const std::filesystem::path> paths);
  table_file(duckdb::connection &db, const std::filesystem::path &path) : table_file(db, std::span(&path, 1)) {}

  const std::vector<column_info> &columns() const { return infos; }
  uint64_t rows() const { return row_count; }

  // The files as SQL names them behind FROM.
  const std::string &sql() const { return scan; }

  // Throws store::error when there is no such column or the store does not encode its type.
  const column_info &find(std::string_view name) const { return column_names(infos).find(name); }

  // What columns are qualified by: the name of the first file without its ending.
  const std::string &name() const { return stem; }

  // Names the columns of two tables that are joined, so that no two have one name.
  static void tell_apart(table_file &first, table_file &second) {
    store::tell_apart(first.infos, first.stem, second.infos, second.stem);
  }

  // The bytes that columns take in the files; nothing for files that do not tell.
  std::optional<uint64_t> compressed_bytes(const std::vector<std::string> &names) const;

  // Can values of the column's kind be stored so?  Throws store::error when not.
  static void check_encoding(const column_info &info, const encoding_choice &choice);

  // Reads and encodes a column.  Reports the rows done so far now and then.  Throws store::error for NULLs in an
  // encoding without them, and for a text of a length that the encoding does not store.
  column load(const column_info &info, const encoding_choice &choice,
              const std::function<void(uint64_t rows)> &progress) const;

private:
  duckdb::connection &database;
  std::string stem;
  std::string scan;
  std::string statistics; // what tells the bytes of columns, as SQL names it; empty where nothing does
  std::vector<column_info> infos;
  uint64_t row_count = 0;
};

} // namespace store
