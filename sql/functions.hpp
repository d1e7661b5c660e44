// Registers functions of this project in a database of DuckDB.
#pragma once

#include <memory>
#include <string>

#include "sql/connection.hpp"
#include "sql/duckdb_api.hpp"

namespace store::duckdb {

struct type_closer {
  void operator()(void *closed) const { duckdb_destroy_logical_type(&closed); }
};
using logical_type = std::unique_ptr<void, type_closer>; // a duckdb_logical_type

// The type of a name, such as "DECIMAL(15,2)".
logical_type type_named(connection &database, const std::string &name);

// A function after FROM, with one parameter.
struct table_function {
  const char *name = nullptr;
  const char *parameter_type = nullptr;
  void *info = nullptr; // the calls get it from duckdb_bind_get_extra_info
  duckdb_table_function_bind_t bind = nullptr;
  duckdb_table_function_init_t init = nullptr;
  duckdb_table_function_t run = nullptr;
  bool gives_some_columns = false; // only the columns that the query reads
};
void add_function(connection &database, const table_function &added);

} // namespace store::duckdb
