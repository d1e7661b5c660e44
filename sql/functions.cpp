#include "sql/functions.hpp"

#include <fmt/format.h>

#include "store/error.hpp"

namespace store::duckdb {

logical_type type_named(connection &database, const std::string &name) {
  const statement typed = database.prepare(fmt::format("SELECT CAST(NULL AS {})", name));
  return logical_type(duckdb_prepared_statement_column_logical_type(typed.handle(), 0));
}

void add_function(connection &database, const table_function &added) {
  const logical_type parameter = type_named(database, added.parameter_type);
  duckdb_table_function function = duckdb_create_table_function();
  duckdb_table_function_set_name(function, added.name);
  duckdb_table_function_add_parameter(function, parameter.get());
  duckdb_table_function_set_extra_info(function, added.info, nullptr);
  duckdb_table_function_set_bind(function, added.bind);
  duckdb_table_function_set_init(function, added.init);
  duckdb_table_function_set_function(function, added.run);
  duckdb_table_function_supports_projection_pushdown(function, added.gives_some_columns);
  const duckdb_state registered = duckdb_register_table_function(database.opened(), function);
  duckdb_destroy_table_function(&function);
  if (registered != duckdb_success)
    throw error(fmt::format("DuckDB does not take the function {}", added.name));
}

} // namespace store::duckdb
