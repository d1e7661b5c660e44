// Declares the functions of DuckDB's C API that this project uses.  DuckDB's shared library comes without a header.
//
// Handles are opaque pointers.  A destroy function takes the address of a handle and clears it.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
typedef void *duckdb_database;
typedef void *duckdb_connection;
typedef void *duckdb_config;
typedef void *duckdb_prepared_statement;
typedef void *duckdb_data_chunk;
typedef void *duckdb_vector;
typedef void *duckdb_logical_type;
typedef void *duckdb_value;
typedef void *duckdb_table_function;
typedef void *duckdb_scalar_function;
typedef void *duckdb_bind_info;
typedef void *duckdb_init_info;
typedef void *duckdb_function_info;
typedef uint64_t idx_t;
typedef enum { duckdb_success = 0, duckdb_failure = 1 } duckdb_state;

typedef struct {
  idx_t deprecated_column_count;
  idx_t deprecated_row_count;
  idx_t deprecated_rows_changed;
  void *deprecated_columns;
  char *deprecated_error_message;
  void *internal_data;
} duckdb_result;

typedef void (*duckdb_delete_callback_t)(void *data);
typedef void (*duckdb_table_function_bind_t)(duckdb_bind_info info);
typedef void (*duckdb_table_function_init_t)(duckdb_init_info info);
typedef void (*duckdb_table_function_t)(duckdb_function_info info, duckdb_data_chunk output);
typedef void (*duckdb_scalar_function_t)(duckdb_function_info info, duckdb_data_chunk input, duckdb_vector output);

const char *duckdb_library_version(void);
void duckdb_free(void *memory);

// Databases and queries.
duckdb_state duckdb_create_config(duckdb_config *out);
duckdb_state duckdb_set_config(duckdb_config config, const char *name, const char *option);
void duckdb_destroy_config(duckdb_config *config);
duckdb_state duckdb_open_ext(const char *path, duckdb_database *out, duckdb_config config, char **error);
void duckdb_close(duckdb_database *database);
duckdb_state duckdb_connect(duckdb_database database, duckdb_connection *out);
void duckdb_interrupt(duckdb_connection connection);
void duckdb_disconnect(duckdb_connection *connection);
duckdb_state duckdb_query(duckdb_connection connection, const char *query, duckdb_result *out);
const char *duckdb_result_error(duckdb_result *result);
void duckdb_destroy_result(duckdb_result *result);
duckdb_state duckdb_prepare(duckdb_connection connection, const char *query, duckdb_prepared_statement *out);
int duckdb_prepared_statement_type(duckdb_prepared_statement statement);
const char *duckdb_prepare_error(duckdb_prepared_statement statement);
idx_t duckdb_prepared_statement_column_count(duckdb_prepared_statement statement);
const char *duckdb_prepared_statement_column_name(duckdb_prepared_statement statement, idx_t column);
duckdb_logical_type duckdb_prepared_statement_column_logical_type(duckdb_prepared_statement statement, idx_t column);
duckdb_state duckdb_execute_prepared(duckdb_prepared_statement statement, duckdb_result *out);
duckdb_state duckdb_execute_prepared_streaming(duckdb_prepared_statement statement, duckdb_result *out);
void duckdb_destroy_prepare(duckdb_prepared_statement *statement);

// Chunks and vectors.
idx_t duckdb_vector_size(void);
duckdb_data_chunk duckdb_fetch_chunk(duckdb_result result);
void duckdb_destroy_data_chunk(duckdb_data_chunk *chunk);
idx_t duckdb_data_chunk_get_size(duckdb_data_chunk chunk);
void duckdb_data_chunk_set_size(duckdb_data_chunk chunk, idx_t rows);
duckdb_vector duckdb_data_chunk_get_vector(duckdb_data_chunk chunk, idx_t column);
void *duckdb_vector_get_data(duckdb_vector vector);
uint64_t *duckdb_vector_get_validity(duckdb_vector vector);
void duckdb_vector_ensure_validity_writable(duckdb_vector vector);

// Types and values.
void duckdb_destroy_logical_type(duckdb_logical_type *type);
void duckdb_destroy_value(duckdb_value *value);
char *duckdb_get_varchar(duckdb_value value);
uint64_t duckdb_get_uint64(duckdb_value value);

// Table functions.
duckdb_table_function duckdb_create_table_function(void);
void duckdb_destroy_table_function(duckdb_table_function *function);
void duckdb_table_function_set_name(duckdb_table_function function, const char *name);
void duckdb_table_function_add_parameter(duckdb_table_function function, duckdb_logical_type type);
void duckdb_table_function_set_extra_info(duckdb_table_function function, void *info, duckdb_delete_callback_t destroy);
void duckdb_table_function_set_bind(duckdb_table_function function, duckdb_table_function_bind_t bind);
void duckdb_table_function_set_init(duckdb_table_function function, duckdb_table_function_init_t init);
void duckdb_table_function_set_function(duckdb_table_function function, duckdb_table_function_t run);
void duckdb_table_function_supports_projection_pushdown(duckdb_table_function function, bool supports);
duckdb_state duckdb_register_table_function(duckdb_connection connection, duckdb_table_function function);
void *duckdb_bind_get_extra_info(duckdb_bind_info info);
duckdb_value duckdb_bind_get_parameter(duckdb_bind_info info, idx_t index);
void duckdb_bind_add_result_column(duckdb_bind_info info, const char *name, duckdb_logical_type type);
void duckdb_bind_set_bind_data(duckdb_bind_info info, void *data, duckdb_delete_callback_t destroy);
void duckdb_bind_set_cardinality(duckdb_bind_info info, idx_t rows, bool is_exact);
void duckdb_bind_set_error(duckdb_bind_info info, const char *message);
void duckdb_init_set_error(duckdb_init_info info, const char *message);
void *duckdb_function_get_bind_data(duckdb_function_info info);
void duckdb_function_set_error(duckdb_function_info info, const char *message);

// Scalar functions.
duckdb_scalar_function duckdb_create_scalar_function(void);
void duckdb_destroy_scalar_function(duckdb_scalar_function *function);
void duckdb_scalar_function_set_name(duckdb_scalar_function function, const char *name);
void duckdb_scalar_function_add_parameter(duckdb_scalar_function function, duckdb_logical_type type);
void duckdb_scalar_function_set_return_type(duckdb_scalar_function function, duckdb_logical_type type);
void duckdb_scalar_function_set_function(duckdb_scalar_function function, duckdb_scalar_function_t run);
void duckdb_scalar_function_set_extra_info(duckdb_scalar_function function, void *info,
                                           duckdb_delete_callback_t destroy);
void *duckdb_scalar_function_get_extra_info(duckdb_function_info info);
void duckdb_scalar_function_set_error(duckdb_function_info info, const char *message);
duckdb_state duckdb_register_scalar_function(duckdb_connection connection, duckdb_scalar_function function);
}
