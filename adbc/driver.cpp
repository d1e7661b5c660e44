// The driver: the functions of the table over databases, connections and statements.
//
//     AdbcDatabase    database_record     options until Init, then a database
//     AdbcConnection  connection_record   then a connection, which keeps the database
//     AdbcStatement   statement           keeps the connection
//     ArrowArrayStream                    keeps the connection, see adbc/result.hpp
//
// Each keeps what it needs, so the records may be released in any order.  A record that was not made, or was released,
// is an error of the caller and not of the process.  Rows are made by the thread that reads a stream, together with the
// threads of the connection; there is no other thread that a release would have to end.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "adbc/adbc.h"
#include "adbc/connection.hpp"
#include "adbc/database.hpp"
#include "adbc/failure.hpp"
#include "adbc/metadata.hpp"
#include "adbc/partition.hpp"
#include "adbc/result.hpp"
#include "adbc/statement.hpp"
#include "adbc/unread_option.hpp"
#include "store/error.hpp"

namespace store::adbc {

namespace {

static_assert(sizeof(void *) != 8 || (ADBC_ERROR_1_0_0_SIZE == 32 && ADBC_ERROR_1_1_0_SIZE == 48));
static_assert(sizeof(void *) != 8 || (ADBC_DRIVER_1_0_0_SIZE == 29 * 8 && ADBC_DRIVER_1_1_0_SIZE == 58 * 8));

struct database_record {
  database_options chosen;
  unread_option unread;
  std::shared_ptr<database> opened; // null until Init

  void set_option(std::string_view key, const std::string &value);
  std::string option(std::string_view key) const;
};

struct connection_record {
  std::shared_ptr<connection> opened; // null until Init
  unread_option unread;

  void set_option(std::string_view key, const std::string &value) const;
  std::string option(std::string_view key) const;
};

template <class Record>
struct object;
template <>
struct object<AdbcDatabase> {
  using type = database_record;
  static constexpr const char *name = "database";
};
template <>
struct object<AdbcConnection> {
  using type = connection_record;
  static constexpr const char *name = "connection";
};
template <>
struct object<AdbcStatement> {
  using type = statement;
  static constexpr const char *name = "statement";
};

template <class Record>
typename object<Record>::type &object_of(Record *record) {
  if (record == nullptr)
    throw invalid_argument(fmt::format("there is no {}", object<Record>::name));
  if (record->private_data == nullptr)
    throw invalid_state(fmt::format("the {} was not made or was released", object<Record>::name));
  return *static_cast<typename object<Record>::type *>(record->private_data);
}

template <class Record>
void make(Record *record, std::unique_ptr<typename object<Record>::type> made) {
  if (record == nullptr)
    throw invalid_argument(fmt::format("there is no {}", object<Record>::name));
  if (record->private_data != nullptr)
    throw invalid_state(fmt::format("the {} was made before", object<Record>::name));
  record->private_data = made.release();
}

template <class Record>
AdbcStatusCode release(Record *record, AdbcError *error) noexcept {
  return guarded(error, [&] {
    delete &object_of(record);
    record->private_data = nullptr;
  });
}

const std::shared_ptr<connection> &require_opened(const std::shared_ptr<connection> &of) {
  if (!of)
    throw invalid_state("the connection has no database yet");
  return of;
}
const std::shared_ptr<connection> &opened(AdbcConnection *record) { return require_opened(object_of(record).opened); }

// An argument that must be there.
template <class T>
T *needed(T *argument, const char *what) {
  if (argument == nullptr)
    throw invalid_argument(fmt::format("{} is null", what));
  return argument;
}
std::optional<std::string> optional_text(const char *text) {
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

void put(ArrowArrayStream *out, std::unique_ptr<result> rows, std::string query = {}) {
  *out = stream_of(std::move(rows), std::move(query));
}

// Runs the work of a statement; its text is a detail of an error.
template <class Work>
AdbcStatusCode executed(AdbcStatement *record, AdbcError *error, const Work &work) noexcept {
  statement *of = nullptr;
  try {
    of = &object_of(record);
    work(*of);
    return ADBC_STATUS_OK;
  } catch (...) {
    return report_handled(error, [of] { return of != nullptr ? of->query() : std::string(); });
  }
}

// Options.  A number is kept as its text.

uint32_t threads_in(const std::string &value) {
  constexpr uint32_t most = 1024;
  uint32_t out = 0;
  const auto [end, fault] = std::from_chars(value.data(), value.data() + value.size(), out);
  if (fault != std::errc{} || end != value.data() + value.size() || out > most)
    throw invalid_argument(
        fmt::format("the option threads is a number up to {}, and 0 for the number of processors; it "
                    "was '{}'",
                    most, shortened(value)));
  return out;
}

void database_record::set_option(std::string_view key, const std::string &value) {
  if (opened)
    throw invalid_state("the options of a database are set before it is initialised");
  if (key == "path" || key == ADBC_OPTION_URI)
    chosen.path = value.empty() ? std::nullopt : std::optional<std::filesystem::path>(value);
  else if (key == "threads")
    chosen.threads = threads_in(value);
  else if (key == "isa")
    chosen.isa = value.empty() ? std::nullopt : std::optional(value);
  else
    throw not_implemented(
        fmt::format("databases have no option '{}'; they have path, threads and isa", shortened(key)));
}

std::string database_record::option(std::string_view key) const {
  if (key == "path" || key == ADBC_OPTION_URI)
    return chosen.path ? chosen.path->string() : "";
  if (key == "threads")
    return std::to_string(opened ? opened->threads() : chosen.threads);
  if (key == "isa")
    return opened ? std::string(opened->isa()) : chosen.isa.value_or("");
  throw not_found(fmt::format("databases have no option '{}'", shortened(key)));
}

// What a connection can only be.
constexpr std::pair<std::string_view, const char *> connection_options[] = {
    {ADBC_CONNECTION_OPTION_AUTOCOMMIT, ADBC_OPTION_VALUE_ENABLED},
    {ADBC_CONNECTION_OPTION_READ_ONLY, ADBC_OPTION_VALUE_DISABLED},
    {ADBC_CONNECTION_OPTION_ISOLATION_LEVEL, ADBC_OPTION_ISOLATION_LEVEL_DEFAULT},
    {ADBC_CONNECTION_OPTION_CURRENT_CATALOG, catalog_name},
    {ADBC_CONNECTION_OPTION_CURRENT_DB_SCHEMA, schema_name}};

// Options of each table: the bytes of a saved table, and what is known without the rows.
constexpr std::string_view table_options = "vorn.table.";
constexpr std::string_view statistics_options = "vorn.statistics.";

void connection_record::set_option(std::string_view key, const std::string &value) const {
  if (key.starts_with(table_options)) {
    require_opened(opened)->set_table(std::string(key.substr(table_options.size())), value);
    return;
  }
  if (key.starts_with(statistics_options)) {
    require_opened(opened)->set_statistics(std::string(key.substr(statistics_options.size())), value);
    return;
  }
  for (const auto &[known, only] : connection_options)
    if (known == key) {
      if (value != only)
        throw not_implemented(fmt::format("the option {} of a connection is always {}", key, only));
      return;
    }
  throw not_implemented(fmt::format("connections have no option '{}'", shortened(key)));
}

std::string connection_record::option(std::string_view key) const {
  if (key.starts_with(table_options))
    return require_opened(opened)->table_bytes(std::string(key.substr(table_options.size())));
  if (key.starts_with(statistics_options))
    return require_opened(opened)->statistics(std::string(key.substr(statistics_options.size())));
  for (const auto &[known, only] : connection_options)
    if (known == key)
      return only;
  throw not_found(fmt::format("connections have no option '{}'", shortened(key)));
}

template <class Record>
void set(Record *record, const char *key, const std::string &value) {
  auto &of = object_of(record);
  of.unread = {};
  of.set_option(needed(key, "the name of an option"), value);
}
template <class Record>
AdbcStatusCode set_text(Record *record, const char *key, const char *value, AdbcError *error) noexcept {
  return guarded(error, [&] { set(record, key, value ? value : ""); });
}
template <class Record>
AdbcStatusCode set_bytes(Record *record, const char *key, const uint8_t *value, size_t length,
                         AdbcError *error) noexcept {
  return guarded(error, [&] {
    const auto *bytes = reinterpret_cast<const char *>(length == 0 ? nullptr : needed(value, "the value of an option"));
    set(record, key, std::string(bytes, length));
  });
}
template <class Record>
AdbcStatusCode set_int(Record *record, const char *key, int64_t value, AdbcError *error) noexcept {
  return guarded(error, [&] { set(record, key, std::to_string(value)); });
}
template <class Record>
AdbcStatusCode set_double(Record *record, const char *key, double value, AdbcError *error) noexcept {
  return guarded(error, [&] { set(record, key, fmt::format("{}", value)); });
}

// With a zero byte after it, or without.
template <class Record, class Byte>
void get_bytes(Record *record, const char *key, Byte *value, size_t *length, size_t zero_bytes) {
  auto &of = object_of(record);
  unread_option before = std::exchange(of.unread, {});
  const std::string found =
      before.key == needed(key, "the name of an option") ? std::move(before.value) : of.option(key);
  const size_t size = found.size() + zero_bytes;
  if (size <= *needed(length, "the length of an option"))
    std::copy_n(found.c_str(), size, needed(value, "the value of an option"));
  else
    of.unread = {key, found};
  *length = size;
}
template <class Record>
AdbcStatusCode get_text(Record *record, const char *key, char *value, size_t *length, AdbcError *error) noexcept {
  return guarded(error, [&] { get_bytes(record, key, value, length, 1); });
}
template <class Record>
AdbcStatusCode get_blob(Record *record, const char *key, uint8_t *value, size_t *length, AdbcError *error) noexcept {
  return guarded(error, [&] { get_bytes(record, key, value, length, 0); });
}
template <class Number, class Record>
AdbcStatusCode get_number(Record *record, const char *key, Number *value, AdbcError *error) noexcept {
  return guarded(error, [&] {
    const std::string found = object_of(record).option(needed(key, "the name of an option"));
    const auto [end, fault] =
        std::from_chars(found.data(), found.data() + found.size(), *needed(value, "the value of an option"));
    if (fault != std::errc{} || end != found.data() + found.size())
      throw not_found(fmt::format("the option {} is no number", key));
  });
}

// Databases.

AdbcStatusCode database_new(AdbcDatabase *record, AdbcError *error) noexcept {
  return guarded(error, [&] { make(record, std::make_unique<database_record>()); });
}
AdbcStatusCode database_init(AdbcDatabase *record, AdbcError *error) noexcept {
  return guarded(error, [&] {
    database_record &of = object_of(record);
    if (of.opened)
      throw invalid_state("the database was initialised before");
    of.opened = std::make_shared<database>(of.chosen);
  });
}

// Connections.

AdbcStatusCode connection_new(AdbcConnection *record, AdbcError *error) noexcept {
  return guarded(error, [&] { make(record, std::make_unique<connection_record>()); });
}
AdbcStatusCode connection_init(AdbcConnection *record, AdbcDatabase *of, AdbcError *error) noexcept {
  return guarded(error, [&] {
    connection_record &made = object_of(record);
    if (made.opened)
      throw invalid_state("the connection was initialised before");
    const std::shared_ptr<database> &opened = object_of(of).opened;
    if (!opened)
      throw invalid_state("the database was not initialised");
    made.opened = std::make_shared<connection>(opened);
  });
}
// There are no transactions: every statement is one.
AdbcStatusCode connection_commit(AdbcConnection *record, AdbcError *error) noexcept {
  return guarded(error, [&] {
    opened(record);
    throw invalid_state("there is nothing to commit or roll back: autocommit is on");
  });
}
AdbcStatusCode connection_cancel(AdbcConnection *record, AdbcError *error) noexcept {
  return guarded(error, [&] {
    if (!opened(record)->cancel())
      throw invalid_state("nothing runs that could be cancelled");
  });
}

AdbcStatusCode connection_get_info(AdbcConnection *record, const uint32_t *codes, size_t count, ArrowArrayStream *out,
                                   AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    const auto wanted = codes == nullptr ? std::nullopt : std::optional(std::span(codes, count));
    put(out, info(opened(record)->of(), wanted));
  });
}
AdbcStatusCode connection_get_objects(AdbcConnection *record, int depth, const char *catalog, const char *schema,
                                      const char *table, const char **types, const char *column, ArrowArrayStream *out,
                                      AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    object_filter wanted{
        optional_text(catalog), optional_text(schema), optional_text(table), optional_text(column), {}};
    if (types != nullptr)
      for (wanted.table_types.emplace(); *types != nullptr; ++types)
        wanted.table_types->emplace_back(*types);
    connection &on = *opened(record);
    const std::shared_ptr<execution> run = on.begin();
    const connection::turn now(on, *run);
    put(out, objects(on.of(), depth, wanted));
  });
}
AdbcStatusCode connection_get_table_schema(AdbcConnection *record, const char *catalog, const char *schema,
                                           const char *table, ArrowSchema *out, AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the schema");
    const std::string name = needed(table, "the name of the table");
    const auto is = [](const char *given, const char *known) {
      return given == nullptr || std::string_view(given) == known;
    };
    if (!is(catalog, catalog_name) || !is(schema, schema_name))
      throw not_found(fmt::format("no such table: {}", shortened(name)));
    connection &on = *opened(record);
    const std::shared_ptr<execution> run = on.begin();
    const connection::turn now(on, *run);
    *out = table_schema(on.of(), name);
  });
}
AdbcStatusCode connection_get_table_types(AdbcConnection *record, ArrowArrayStream *out, AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    opened(record);
    put(out, table_types());
  });
}
AdbcStatusCode connection_get_statistics(AdbcConnection *record, const char *catalog, const char *schema,
                                         const char *table, char approximate, ArrowArrayStream *out,
                                         AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    connection &on = *opened(record);
    const std::shared_ptr<execution> run = on.begin();
    const connection::turn now(on, *run);
    put(out, statistics(on.of(), {optional_text(catalog), optional_text(schema), optional_text(table), {}, {}},
                        approximate != 0));
  });
}
AdbcStatusCode connection_get_statistic_names(AdbcConnection *record, ArrowArrayStream *out,
                                              AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    opened(record);
    put(out, statistic_names());
  });
}
AdbcStatusCode connection_read_partition(AdbcConnection *record, const uint8_t *bytes, size_t count,
                                         ArrowArrayStream *out, AdbcError *error) noexcept {
  return guarded(error, [&] {
    needed(out, "the stream");
    const std::shared_ptr<connection> &on = opened(record);
    const partition part = read_partition(std::span(needed(bytes, "the partition"), count));
    put(out, rows_of(on, on->begin(), 1, [part, &of = on->of()](sql::session &, size_t) { return planned(part, of); }),
        part.query);
  });
}

// Statements.

AdbcStatusCode statement_new(AdbcConnection *on, AdbcStatement *record, AdbcError *error) noexcept {
  return guarded(error, [&] { make(record, std::make_unique<statement>(opened(on))); });
}
AdbcStatusCode statement_set_sql_query(AdbcStatement *record, const char *query, AdbcError *error) noexcept {
  return guarded(error, [&] { object_of(record).set_query(needed(query, "the query")); });
}
AdbcStatusCode statement_set_substrait_plan(AdbcStatement *record, const uint8_t *, size_t, AdbcError *error) noexcept {
  return guarded(error, [&] {
    object_of(record);
    throw not_implemented("a query is a text of SQL, not a plan of Substrait");
  });
}
AdbcStatusCode statement_prepare(AdbcStatement *record, AdbcError *error) noexcept {
  return executed(record, error, [](const statement &of) { of.prepare(); });
}

// A record batch as a stream that gives it once.
struct bound_batch {
  arrow_owner<ArrowSchema> schema;
  arrow_owner<ArrowArray> batch;

  static bound_batch &of(ArrowArrayStream *stream) { return *static_cast<bound_batch *>(stream->private_data); }
  // The record moves on: its release function knows nothing of where it was.
  template <class Record>
  static int moved(arrow_owner<Record> &from, Record *to) {
    *to = std::exchange(*from, Record{});
    return 0;
  }
};

AdbcStatusCode statement_bind(AdbcStatement *record, ArrowArray *values, ArrowSchema *schema,
                              AdbcError *error) noexcept {
  return guarded(error, [&] {
    statement &of = object_of(record);
    if (needed(values, "the record batch")->release == nullptr || needed(schema, "the schema")->release == nullptr)
      throw invalid_argument("the record batch or its schema was released");
    ArrowArrayStream stream{};
    stream.get_schema = [](ArrowArrayStream *from, ArrowSchema *to) {
      return bound_batch::moved(bound_batch::of(from).schema, to);
    };
    stream.get_next = [](ArrowArrayStream *from, ArrowArray *to) {
      return bound_batch::moved(bound_batch::of(from).batch, to);
    };
    stream.get_last_error = [](ArrowArrayStream *) -> const char * { return nullptr; };
    stream.release = [](ArrowArrayStream *from) {
      delete &bound_batch::of(from);
      from->release = nullptr;
    };
    stream.private_data =
        std::make_unique<bound_batch>(bound_batch{arrow_owner(*schema), arrow_owner(*values)}).release();
    of.bind(arrow_owner(stream));
  });
}
AdbcStatusCode statement_bind_stream(AdbcStatement *record, ArrowArrayStream *values, AdbcError *error) noexcept {
  return guarded(error, [&] {
    statement &of = object_of(record);
    if (needed(values, "the stream")->release == nullptr)
      throw invalid_argument("the stream was released");
    of.bind(arrow_owner(*values));
  });
}
AdbcStatusCode statement_execute_query(AdbcStatement *record, ArrowArrayStream *out, int64_t *rows_affected,
                                       AdbcError *error) noexcept {
  return executed(record, error, [&](statement &of) {
    int64_t affected = -1;
    if (out == nullptr)
      of.execute_update(affected);
    else
      put(out, of.execute(affected), of.query());
    if (rows_affected != nullptr)
      *rows_affected = affected;
  });
}
AdbcStatusCode statement_execute_schema(AdbcStatement *record, ArrowSchema *out, AdbcError *error) noexcept {
  return executed(record, error, [&](statement &of) {
    needed(out, "the schema");
    *out = of.execute_schema();
  });
}
AdbcStatusCode statement_get_parameter_schema(AdbcStatement *record, ArrowSchema *out, AdbcError *error) noexcept {
  return executed(record, error, [&](const statement &of) {
    needed(out, "the schema");
    *out = of.parameter_schema();
  });
}

// What the record of partitions owns.
struct owned_partitions {
  std::vector<std::string> texts;
  std::vector<const uint8_t *> addresses;
  std::vector<size_t> lengths;
};

AdbcStatusCode statement_execute_partitions(AdbcStatement *record, ArrowSchema *schema, AdbcPartitions *out,
                                            int64_t *rows_affected, AdbcError *error) noexcept {
  return executed(record, error, [&](statement &of) {
    needed(out, "the record of partitions");
    arrow_owner<ArrowSchema> described;
    auto owned = std::make_unique<owned_partitions>();
    owned->texts = of.execute_partitions(*described);
    for (const std::string &text : owned->texts) {
      owned->addresses.push_back(reinterpret_cast<const uint8_t *>(text.data()));
      owned->lengths.push_back(text.size());
    }
    out->num_partitions = owned->texts.size();
    out->partitions = owned->addresses.data();
    out->partition_lengths = owned->lengths.data();
    out->release = [](AdbcPartitions *released) {
      delete static_cast<owned_partitions *>(released->private_data);
      *released = {};
    };
    out->private_data = owned.release();
    if (schema != nullptr)
      *schema = std::exchange(*described, ArrowSchema{});
    if (rows_affected != nullptr)
      *rows_affected = -1;
  });
}
AdbcStatusCode statement_cancel(AdbcStatement *record, AdbcError *error) noexcept {
  return guarded(error, [&] {
    if (!object_of(record).cancel())
      throw invalid_state("nothing runs that could be cancelled");
  });
}

AdbcStatusCode release_driver(AdbcDriver *driver, AdbcError *error) noexcept {
  return guarded(error, [&] { needed(driver, "the driver")->release = nullptr; });
}

void fill_1_0(AdbcDriver &out) {
  out.release = release_driver;
  out.DatabaseInit = database_init;
  out.DatabaseNew = database_new;
  out.DatabaseSetOption = set_text<AdbcDatabase>;
  out.DatabaseRelease = release<AdbcDatabase>;
  out.ConnectionCommit = connection_commit;
  out.ConnectionGetInfo = connection_get_info;
  out.ConnectionGetObjects = connection_get_objects;
  out.ConnectionGetTableSchema = connection_get_table_schema;
  out.ConnectionGetTableTypes = connection_get_table_types;
  out.ConnectionInit = connection_init;
  out.ConnectionNew = connection_new;
  out.ConnectionSetOption = set_text<AdbcConnection>;
  out.ConnectionReadPartition = connection_read_partition;
  out.ConnectionRelease = release<AdbcConnection>;
  out.ConnectionRollback = connection_commit;
  out.StatementBind = statement_bind;
  out.StatementBindStream = statement_bind_stream;
  out.StatementExecuteQuery = statement_execute_query;
  out.StatementExecutePartitions = statement_execute_partitions;
  out.StatementGetParameterSchema = statement_get_parameter_schema;
  out.StatementNew = statement_new;
  out.StatementPrepare = statement_prepare;
  out.StatementRelease = release<AdbcStatement>;
  out.StatementSetOption = set_text<AdbcStatement>;
  out.StatementSetSqlQuery = statement_set_sql_query;
  out.StatementSetSubstraitPlan = statement_set_substrait_plan;
}

void fill_1_1(AdbcDriver &out) {
  out.ErrorGetDetailCount = detail_count;
  out.ErrorGetDetail = detail_of;
  out.ErrorFromArrayStream = error_of;
  out.DatabaseGetOption = get_text<AdbcDatabase>;
  out.DatabaseGetOptionBytes = get_blob<AdbcDatabase>;
  out.DatabaseGetOptionDouble = get_number<double, AdbcDatabase>;
  out.DatabaseGetOptionInt = get_number<int64_t, AdbcDatabase>;
  out.DatabaseSetOptionBytes = set_bytes<AdbcDatabase>;
  out.DatabaseSetOptionDouble = set_double<AdbcDatabase>;
  out.DatabaseSetOptionInt = set_int<AdbcDatabase>;
  out.ConnectionCancel = connection_cancel;
  out.ConnectionGetOption = get_text<AdbcConnection>;
  out.ConnectionGetOptionBytes = get_blob<AdbcConnection>;
  out.ConnectionGetOptionDouble = get_number<double, AdbcConnection>;
  out.ConnectionGetOptionInt = get_number<int64_t, AdbcConnection>;
  out.ConnectionGetStatistics = connection_get_statistics;
  out.ConnectionGetStatisticNames = connection_get_statistic_names;
  out.ConnectionSetOptionBytes = set_bytes<AdbcConnection>;
  out.ConnectionSetOptionDouble = set_double<AdbcConnection>;
  out.ConnectionSetOptionInt = set_int<AdbcConnection>;
  out.StatementCancel = statement_cancel;
  out.StatementExecuteSchema = statement_execute_schema;
  out.StatementGetOption = get_text<AdbcStatement>;
  out.StatementGetOptionBytes = get_blob<AdbcStatement>;
  out.StatementGetOptionDouble = get_number<double, AdbcStatement>;
  out.StatementGetOptionInt = get_number<int64_t, AdbcStatement>;
  out.StatementSetOptionBytes = set_bytes<AdbcStatement>;
  out.StatementSetOptionDouble = set_double<AdbcStatement>;
  out.StatementSetOptionInt = set_int<AdbcStatement>;
}

} // namespace

} // namespace store::adbc

AdbcStatusCode AdbcDriverInit(int version, void *driver, AdbcError *error) {
  using namespace store::adbc;
  return guarded(error, [&] {
    if (version != ADBC_VERSION_1_0_0 && version != ADBC_VERSION_1_1_0)
      throw not_implemented(fmt::format("the driver is of version 1.1, not of {}", version));
    auto &out = *static_cast<AdbcDriver *>(needed(driver, "the driver"));
    // A caller of version 1.0 has no room for more.
    std::memset(&out, 0, version == ADBC_VERSION_1_0_0 ? ADBC_DRIVER_1_0_0_SIZE : ADBC_DRIVER_1_1_0_SIZE);
    fill_1_0(out);
    if (version == ADBC_VERSION_1_1_0)
      fill_1_1(out);
  });
}

AdbcStatusCode AdbcDriverVornInit(int version, void *driver, AdbcError *error) {
  return AdbcDriverInit(version, driver, error);
}
