// Parquet or CSV files, or a call of a table function, as a source of columns.  DuckDB reads them.  One column at a
// time is in memory in plain form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/connection.hpp"
#include "sql/table_statistics.hpp"
#include "store/encode/table_source.hpp"
#include "store/saved/file_stamp.hpp"

namespace store {

// Does DuckDB read a file as a table?  The ending decides: .parquet, .csv, .tsv, .csv.gz or .tsv.gz.
bool is_table_file(const std::filesystem::path &path);

class table_file final : public table_source {
public:
  // Several files are one table: the rows of the first file, then of the second, and so on.  Throws store::error when a
  // file does not exist or cannot be read, and when the columns of the files differ.  The connection outlives this
  // object.
  table_file(duckdb::connection &db, std::span<const std::filesystem::path> paths);
  table_file(duckdb::connection &db, const std::filesystem::path &path) : table_file(db, std::span(&path, 1)) {}
  // Some consecutive row groups of a Parquet file.
  table_file(duckdb::connection &db, const std::filesystem::path &path, size_t first_row_group, size_t end_row_group);
  // The rows of a call such as "read_csv('x', header = true)" or "range(10)".  Throws store::error when DuckDB rejects
  // it.
  table_file(duckdb::connection &db, const std::string &call);

  // The files or the call in the form of SQL after FROM.
  const std::string &sql() const { return scan_; }

  bool is_parquet() const { return !statistics_.empty(); }
  // Of Parquet files: what the files say of their row groups.  How many different texts there are is estimated from
  // the first rows.
  void add_statistics(sql::table_statistics &to) const;

  std::optional<uint64_t> compressed_bytes(const std::vector<std::string> &names) const override;

  // Depends on the kind of the column's values.
  void check_encoding(const column_info &info, const encoding_choice &choice) const override;

  // Throws store::error for a NULL in an encoding without NULLs, and for a text of a length that the encoding does not
  // store.
  column load(const column_info &info, const encoding_choice &choice,
              const std::function<void(uint64_t rows)> &progress) const override;

private:
  void count_rows();
  // At most as many as the range of the last column allows.
  static std::optional<uint64_t> distinct_integers(const sql::table_statistics &known);
  // Of the columns about which nothing is known.
  void estimate_distinct(sql::table_statistics &to) const;
  std::vector<saved::file_stamp> stamps() const;

  duckdb::connection &database_;
  std::string scan_;
  std::vector<std::filesystem::path> files_;
  std::vector<saved::file_stamp> opened_; // of the files
  std::string statistics_;                // the source of the bytes of columns in SQL; empty if there is none
};

} // namespace store
