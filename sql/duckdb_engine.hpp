// DuckDB alone: the user's own text on the same tables, to compare answers and times.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/catalogue.hpp"
#include "sql/connection.hpp"
#include "store/chunk/vector.hpp"

namespace store::sql {

// The rows of DuckDB's answer, some thousand at a time.
class duckdb_answer {
public:
  const std::vector<std::string> &names() const { return names_; }
  // A column of a type that the store does not hold comes as DuckDB's text.
  const std::vector<logical::sql_type> &types() const { return types_; }

  // The next rows: a vector for each column, in the representation of its type.  The memory belongs to the arena or to
  // this answer, and is valid until the next call.  At the end there are no rows.
  uint32_t next(exec::arena &memory, std::vector<exec::vector> &columns);

private:
  friend class duckdb_engine;
  duckdb_answer(duckdb::result rows) : rows_(std::move(rows)) {}

  duckdb::result rows_;
  std::optional<duckdb::chunk> chunk_;
  std::vector<std::string> names_;
  std::vector<logical::sql_type> types_;
};

class duckdb_engine {
public:
  enum class storage {
    files,     // views of the files; enough when no time is measured
    plain,     // tables in memory
    compressed // tables in memory, compressed by a checkpoint
  };
  static std::string_view name_of(storage form); // "files", "plain tables", "compressed tables"

  // The catalogue outlives this object.
  duckdb_engine(catalogue &tables, storage form, size_t threads);
  duckdb_engine(const duckdb_engine &) = delete;
  ~duckdb_engine();

  // Makes the tables that a query names, unless they exist.
  void prepare(const std::string &query);

  // Runs a query.  Throws store::error with DuckDB's message.
  duckdb_answer run(const std::string &text);
  // Runs a query to measure its time, and returns its number of rows.  The rows are made and dropped.
  uint64_t count_rows(const std::string &query);

  // Ends a query.  Called from another thread or from a signal handler.
  void interrupt();

private:
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace store::sql
