// A Parquet or CSV file as a source of columns.  DuckDB reads it; one column at a time is in memory in plain form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/duckdb/connection.hpp"
#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"

namespace store {

class table_file {
public:
  struct column_info {
    std::string name;
    std::string sql_type;
    std::optional<type_traits> traits; // nothing: the store does not encode this type
  };

  // Throws store::error when there is no such file or it cannot be read.  The connection outlives this.
  table_file(duckdb::connection &db, const std::filesystem::path &path);

  const std::vector<column_info> &columns() const { return infos; }
  uint64_t rows() const { return row_count; }

  // The file as SQL names it behind FROM.
  const std::string &sql() const { return scan; }

  // Throws store::error when there is no such column or the store does not encode its type.
  const column_info &find(std::string_view name) const;

  // Can values of the column's kind be stored so?  Throws store::error when not.
  static void check_encoding(const column_info &info, const encoding_choice &choice);

  // Reads and encodes a column.  Reports the rows done so far now and then.  Throws store::error for NULLs in an
  // encoding without them, and for a text of a length that the encoding does not store.
  column load(const column_info &info, const encoding_choice &choice,
              const std::function<void(uint64_t rows)> &progress) const;

private:
  duckdb::connection &database;
  std::string scan;
  std::vector<column_info> infos;
  uint64_t row_count = 0;
};

} // namespace store
