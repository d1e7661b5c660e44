#include "sql/connection.hpp"

#include "sql/duckdb_api.hpp"
#include "store/error.hpp"

#include <new>

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
