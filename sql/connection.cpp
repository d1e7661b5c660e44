#include "sql/connection.hpp"

#include "store/error.hpp"

#include <new>

// The part of DuckDB's C API that is used here.  Its shared library comes without a header.
extern "C" {
typedef void *duckdb_database;
typedef void *duckdb_connection;
typedef void *duckdb_config;
typedef void *duckdb_prepared_statement;
typedef void *duckdb_data_chunk;
typedef void *duckdb_vector;
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

// A text value: its length, then its bytes or, when there are more than 12, four of them and a pointer.
typedef struct {
  uint32_t length;
  char prefix[4];
  char *pointer;
} duckdb_string_t;

const char *duckdb_library_version(void);
duckdb_state duckdb_create_config(duckdb_config *out);
duckdb_state duckdb_set_config(duckdb_config config, const char *name, const char *option);
void duckdb_destroy_config(duckdb_config *config);
duckdb_state duckdb_open_ext(const char *path, duckdb_database *out, duckdb_config config, char **error);
void duckdb_close(duckdb_database *database);
duckdb_state duckdb_connect(duckdb_database database, duckdb_connection *out);
void duckdb_disconnect(duckdb_connection *connection);
duckdb_state duckdb_query(duckdb_connection connection, const char *query, duckdb_result *out);
const char *duckdb_result_error(duckdb_result *result);
void duckdb_destroy_result(duckdb_result *result);
duckdb_state duckdb_prepare(duckdb_connection connection, const char *query, duckdb_prepared_statement *out);
const char *duckdb_prepare_error(duckdb_prepared_statement statement);
duckdb_state duckdb_execute_prepared(duckdb_prepared_statement statement, duckdb_result *out);
duckdb_state duckdb_execute_prepared_streaming(duckdb_prepared_statement statement, duckdb_result *out);
void duckdb_destroy_prepare(duckdb_prepared_statement *statement);
duckdb_data_chunk duckdb_fetch_chunk(duckdb_result result);
void duckdb_destroy_data_chunk(duckdb_data_chunk *chunk);
idx_t duckdb_data_chunk_get_size(duckdb_data_chunk chunk);
duckdb_vector duckdb_data_chunk_get_vector(duckdb_data_chunk chunk, idx_t column);
void *duckdb_vector_get_data(duckdb_vector vector);
uint64_t *duckdb_vector_get_validity(duckdb_vector vector);
uint32_t duckdb_string_t_length(duckdb_string_t string);
const char *duckdb_string_t_data(duckdb_string_t *string);
}

namespace store::duckdb {

namespace {

[[noreturn]] void fail(const char *message) { throw error(message != nullptr ? message : "DuckDB gave no reason"); }

std::string quoted(std::string_view text, char quote) {
  std::string out(1, quote);
  for (char c : text) {
    if (c == quote)
      out += quote;
    out += c;
  }
  return out += quote;
}

} // namespace

std::string_view vector::text(uint64_t row) const {
  // The accessor takes a pointer to non-const but only reads: short texts lie inside the value itself.
  auto *value = const_cast<duckdb_string_t *>(static_cast<const duckdb_string_t *>(values_)) + row;
  return {duckdb_string_t_data(value), duckdb_string_t_length(*value)};
}

uint64_t chunk::rows() const { return duckdb_data_chunk_get_size(handle_.get()); }

vector chunk::column(uint64_t index) const {
  duckdb_vector column = duckdb_data_chunk_get_vector(handle_.get(), index);
  return {duckdb_vector_get_data(column), duckdb_vector_get_validity(column)};
}

void chunk::closer::operator()(void *closed) const { duckdb_destroy_data_chunk(&closed); }

struct result::state {
  duckdb_result handle{};
};

result::result() : owned_(new state) {}

void result::closer::operator()(state *s) const {
  duckdb_destroy_result(&s->handle);
  delete s;
}

std::optional<chunk> result::next() {
  duckdb_data_chunk fetched = duckdb_fetch_chunk(owned_->handle);
  if (fetched == nullptr) {
    // A value that cannot be converted is found on the way.
    if (const char *message = duckdb_result_error(&owned_->handle); message != nullptr && *message != '\0')
      fail(message);
    return std::nullopt;
  }
  return chunk(fetched);
}

result statement::run() {
  result out;
  if (duckdb_execute_prepared(handle_.get(), &out.owned_->handle) != duckdb_success)
    fail(duckdb_result_error(&out.owned_->handle));
  return out;
}

void statement::closer::operator()(void *closed) const { duckdb_destroy_prepare(&closed); }

void *connection::opened() {
  if (handle_)
    return handle_.get();
  duckdb_config config = nullptr;
  duckdb_database in_memory = nullptr;
  bool is_open = duckdb_create_config(&config) == duckdb_success;
  if (is_open && threads_)
    is_open = duckdb_set_config(config, "threads", std::to_string(*threads_).c_str()) == duckdb_success;
  is_open = is_open && duckdb_open_ext(nullptr, &in_memory, config, nullptr) == duckdb_success;
  duckdb_destroy_config(&config);
  if (!is_open)
    fail("DuckDB cannot open an in-memory database");
  database_.reset(in_memory);
  duckdb_connection connected = nullptr;
  if (duckdb_connect(in_memory, &connected) != duckdb_success)
    fail("DuckDB cannot connect to its in-memory database");
  handle_.reset(connected);
  // A file of a kind that DuckDB does not know is an error, not a reason to fetch an extension.
  query("SET autoinstall_known_extensions = false");
  query("SET TimeZone = 'UTC'");
  return connected;
}

result connection::query(const std::string &sql) {
  result out;
  if (duckdb_query(opened(), sql.c_str(), &out.owned_->handle) != duckdb_success)
    fail(duckdb_result_error(&out.owned_->handle));
  return out;
}

result connection::stream(const std::string &sql) {
  const statement prepared = prepare(sql);
  result out;
  if (duckdb_execute_prepared_streaming(prepared.handle_.get(), &out.owned_->handle) != duckdb_success)
    fail(duckdb_result_error(&out.owned_->handle));
  return out;
}

statement connection::prepare(const std::string &sql) {
  duckdb_prepared_statement prepared = nullptr;
  duckdb_state state = duckdb_prepare(opened(), sql.c_str(), &prepared);
  statement out(prepared);
  if (state != duckdb_success)
    fail(duckdb_prepare_error(prepared));
  return out;
}

void connection::database_closer::operator()(void *closed) const { duckdb_close(&closed); }
void connection::connection_closer::operator()(void *closed) const { duckdb_disconnect(&closed); }

std::string version() { return duckdb_library_version(); }
std::string quoted_name(std::string_view name) { return quoted(name, '"'); }
std::string quoted_text(std::string_view text) { return quoted(text, '\''); }

} // namespace store::duckdb
