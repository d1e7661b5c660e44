#include "sql/connection.hpp"

#include "sql/duckdb_api.hpp"
#include "store/error.hpp"

#include <algorithm>
#include <cctype>
#include <new>

#include <sys/mman.h>

namespace store::duckdb {

namespace {

[[noreturn]] void fail(const char *message) {
  std::string reason = message != nullptr ? message : "DuckDB gave no reason";
  // An internal error of DuckDB contains a stack trace.
  if (reason.starts_with("INTERNAL Error"))
    reason.erase(std::min(reason.find('\n'), reason.size()));
  if (reason.find("Out of Memory Error") != reason.npos)
    throw std::bad_alloc();
  throw error(reason);
}

// DuckDB 1.5 crashes where it finds no memory while it starts.  So the process must still have room for its start,
// which a limit of its address space may deny.
void require_room() {
  constexpr size_t room = size_t{96} << 20;
  void *const taken = mmap(nullptr, room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (taken == MAP_FAILED)
    throw std::bad_alloc();
  munmap(taken, room);
}

} // namespace

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
    // A value that cannot be converted is an error while rows are read.
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

result statement::stream() {
  result out;
  if (duckdb_execute_prepared_streaming(handle_.get(), &out.owned_->handle) != duckdb_success)
    fail(duckdb_result_error(&out.owned_->handle));
  return out;
}

bool statement::is_query() const {
  constexpr int select = 1; // of DuckDB's numbers of statements
  return duckdb_prepared_statement_type(handle_.get()) == select;
}

std::vector<std::string> statement::names() const {
  std::vector<std::string> out;
  for (idx_t i = 0; i < duckdb_prepared_statement_column_count(handle_.get()); ++i) {
    const std::unique_ptr<void, decltype(&duckdb_free)> name(
        const_cast<char *>(duckdb_prepared_statement_column_name(handle_.get(), i)), duckdb_free);
    out.emplace_back(static_cast<const char *>(name.get()));
  }
  return out;
}

void statement::closer::operator()(void *closed) const { duckdb_destroy_prepare(&closed); }

void *connection::opened() {
  if (handle_)
    return handle_.get();
  require_room();
  duckdb_config config = nullptr;
  duckdb_database in_memory = nullptr;
  bool is_open = duckdb_create_config(&config) == duckdb_success;
  if (is_open && threads_)
    is_open = duckdb_set_config(config, "threads", std::to_string(*threads_).c_str()) == duckdb_success;
  is_open = is_open && duckdb_open_ext(nullptr, &in_memory, config, nullptr) == duckdb_success;
  duckdb_destroy_config(&config);
  if (!is_open)
    fail("DuckDB cannot open an in-memory database");
  database_ = std::shared_ptr<void>(in_memory, [](void *closed) { duckdb_close(&closed); });
  connect();
  // A file of an unknown kind is an error.  DuckDB must not download an extension for it.
  query("SET GLOBAL autoinstall_known_extensions = false");
  query("SET GLOBAL TimeZone = 'UTC'");
  return handle_.get();
}

void connection::connect() {
  duckdb_connection connected = nullptr;
  if (duckdb_connect(database_.get(), &connected) != duckdb_success)
    fail("DuckDB cannot connect to its in-memory database");
  handle_.reset(connected);
}

connection connection::another() {
  opened();
  connection out(threads_);
  out.database_ = database_;
  out.connect();
  return out;
}

void connection::interrupt() {
  if (handle_)
    duckdb_interrupt(handle_.get());
}

result connection::query(const std::string &sql) {
  result out;
  if (duckdb_query(opened(), sql.c_str(), &out.owned_->handle) != duckdb_success)
    fail(duckdb_result_error(&out.owned_->handle));
  return out;
}

result connection::stream(const std::string &sql) { return prepare(sql).stream(); }

statement connection::prepare(const std::string &sql) {
  duckdb_prepared_statement prepared = nullptr;
  duckdb_state state = duckdb_prepare(opened(), sql.c_str(), &prepared);
  statement out(prepared);
  if (state != duckdb_success)
    fail(duckdb_prepare_error(prepared));
  return out;
}

std::vector<std::string> connection::table_names(const std::string &sql) {
  // The syntax tree of a query.  If the text has an error, the tree has no query.
  result names =
      query("SELECT unnest(json_extract_string(json_serialize_sql(" + quoted_text(sql) + "), '$..table_name'))");
  std::vector<std::string> out;
  while (const auto chunk = names.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row)
      out.emplace_back(chunk->column(0).text(row));
  return out;
}

void connection::connection_closer::operator()(void *closed) const { duckdb_disconnect(&closed); }

std::string version() { return duckdb_library_version(); }

std::string lower_case(std::string_view name) {
  std::string out(name);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
  return out;
}

} // namespace store::duckdb
