// The same columns in DuckDB's memory, to check answers and to stand beside them in time.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "store/duckdb/connection.hpp"
#include "store/duckdb/table_file.hpp"
#include "store/encode/column.hpp"

namespace store {

class reference {
public:
  // Copies columns of a file into a table in memory, and from then on runs on one thread.
  reference(duckdb::connection &db, const table_file &file, std::span<const std::string> columns);

  // Reads the file itself, which is enough where no time is measured.
  reference(duckdb::connection &db, const table_file &file);

  // A query that counts the rows of the table on which a condition holds.
  duckdb::statement counting(const std::string &condition_sql) const;
  static uint64_t count(duckdb::statement &query);

  // The values of columns of the table, as sql_values has them, on the rows on which a condition holds, in the order of
  // the file.  All rows without a condition.
  duckdb::result values(std::span<const column *const> columns, const std::string &condition_sql) const;

  // Whether the condition holds, row by row; NULL is no.
  std::vector<bool> rows(const std::string &condition_sql) const;

private:
  duckdb::connection &database;
  std::string source;
};

} // namespace store
