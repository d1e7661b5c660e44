// The same columns in DuckDB's memory, to check answers and to compare times.
//
// DuckDB has them as a plain table or as a compressed one.  It answers some questions faster from the first, others
// from the second.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sql/connection.hpp"
#include "sql/table_file.hpp"
#include "store/encode/column.hpp"

namespace store {

// The parts of a query.
struct sql_select {
  std::vector<std::string> values;
  std::string condition;
  bool is_grouped = false;
  std::vector<std::string> groups; // what rows are grouped by; one group without any
  std::vector<std::string> order;
  std::optional<uint64_t> limit;
};

class reference {
public:
  // Copies columns of a file into a table in memory, and from then on runs on one thread unless use_threads sets
  // another number.
  reference(duckdb::connection &db, const table_file &file, std::span<const std::string> columns);

  // Copies columns of two tables in the same way; a row of one is joined with each of the other where the keys are
  // equal.
  struct joined {
    const table_file &file;
    std::vector<std::string> columns;
    std::string key;
  };
  reference(duckdb::connection &db, const joined &first, const joined &second);

  // Reads the file itself, which is enough where no time is measured.
  reference(duckdb::connection &db, const table_file &file);

  // Copies the tables of this, which is in memory, into compressed ones with the same rows.  The result asks them.
  reference compressed() const;
  std::string_view form() const { return form_; } // "plain table", "compressed table" or "file"

  void use_threads(size_t threads) const;

  // Has no columns, so that there is nothing to compare with and no query: saved tables are not DuckDB's.
  explicit reference(duckdb::connection &db) : database_(db) {}
  bool has_columns() const { return !first_.empty(); }

  // A query that counts the rows of the table on which a condition holds; all without one.
  duckdb::statement counting(const std::string &condition_sql) const;
  static uint64_t count(duckdb::statement &query);

  // The values of columns of the table, as sql_values has them, on the rows on which a condition holds, in the order of
  // the file; of joined rows, of the first file and then of the second.  All rows without a condition.
  duckdb::result values(std::span<const column *const> columns, const std::string &condition_sql) const;

  // A query of the table.  Rows that are equal in the order come in the order of `values`, for which the columns of a
  // single table are copied.
  duckdb::statement prepared(const sql_select &query) const;
  duckdb::result answer(const sql_select &query) const;
  static uint64_t count_rows(duckdb::statement &query);
  std::string sql_of(const sql_select &query) const;

  // Whether the condition holds, row by row; NULL is no.
  std::vector<bool> rows(const std::string &condition_sql) const;

private:
  void copy(std::string_view table, const table_file &file, std::span<const std::string> columns,
            std::string_view more);

  std::string source() const; // what a query reads from

  duckdb::connection &database_;
  std::string_view form_ = "plain table";
  std::string database_name_;          // that has the tables, with a dot; empty for DuckDB's own
  std::string first_;                  // the table or the file
  std::string joined_on_;              // the condition of the join with the table "joined", if there is one
  std::vector<std::string> row_order_; // as SQL asks for it where rows do not have it as they are
  std::string row_number_;             // of a single table in memory
};

} // namespace store
