// DuckDB allocates for itself while a call of its C API runs.  While it opens a database, its files are its own too.
#pragma once

namespace vorn_test {

struct duckdb_call {
  explicit duckdb_call(bool opens);
  ~duckdb_call();
  duckdb_call(const duckdb_call &) = delete;

private:
  bool opens_;
};

} // namespace vorn_test
