// The driver through its table of functions: every entry, wrong calls, streams, ingestion, partitions, threads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "adbc/adbc.h"
#include "sql/connection.hpp"
#include "store/arrow/owner.hpp"
#include "store/error.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/random.hpp"

extern "C" int duckdb_arrow_scan(void *connection, const char *view, ArrowArrayStream *stream);
// DuckDB is not built with the thread sanitizer, so the sanitizer does not see how its threads wait for each other.
extern "C" const char *__tsan_default_suppressions() { // NOLINT(bugprone-reserved-identifier): the sanitizer calls it
  return "called_from_lib:libduckdb.so\nrace:std::__cxx11::basic_string<*>::_M_assign\n";
}

namespace {

using store::arrow_owner;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using rows = std::vector<std::string>;

AdbcDriver &driver() {
  static AdbcDriver table = [] {
    AdbcDriver out{};
    EXPECT_EQ(AdbcDriverVornInit(ADBC_VERSION_1_1_0, &out, nullptr), ADBC_STATUS_OK);
    return out;
  }();
  return table;
}

// An error of a caller of version 1.1.
struct failed_call : AdbcError {
  failed_call() : AdbcError{nullptr, ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA, {}, nullptr, nullptr, nullptr} {}
  failed_call(const failed_call &) = delete;
  ~failed_call() {
    if (release != nullptr)
      release(this);
  }
  std::string state() const { return {sqlstate, sizeof sqlstate}; }
  std::string text() const { return message != nullptr ? message : ""; }
};

void expect_ok(AdbcStatusCode status, const failed_call &error) { ASSERT_EQ(status, ADBC_STATUS_OK) << error.text(); }

// A record of the driver and its release function.
template <class Record, AdbcStatusCode (*AdbcDriver::*release)(Record *, AdbcError *)>
struct owned : Record {
  owned() : Record{} {}
  owned(const owned &) = delete;
  ~owned() {
    if (this->private_data != nullptr) {
      EXPECT_EQ((driver().*release)(this, nullptr), ADBC_STATUS_OK);
    }
  }
};

struct database : owned<AdbcDatabase, &AdbcDriver::DatabaseRelease> {
  explicit database(const std::vector<std::pair<std::string, std::string>> &options = {{"threads", "3"}}) {
    failed_call error;
    expect_ok(driver().DatabaseNew(this, &error), error);
    for (const auto &[key, value] : options)
      expect_ok(driver().DatabaseSetOption(this, key.c_str(), value.c_str(), &error), error);
    expect_ok(driver().DatabaseInit(this, &error), error);
  }
};
struct connection : owned<AdbcConnection, &AdbcDriver::ConnectionRelease> {
  explicit connection(database &of) {
    failed_call error;
    expect_ok(driver().ConnectionNew(this, &error), error);
    expect_ok(driver().ConnectionInit(this, &of, &error), error);
  }
};
struct statement : owned<AdbcStatement, &AdbcDriver::StatementRelease> {
  explicit statement(connection &on, const std::string &query = {}) {
    failed_call error;
    expect_ok(driver().StatementNew(&on, this, &error), error);
    if (!query.empty())
      expect_ok(driver().StatementSetSqlQuery(this, query.c_str(), &error), error);
  }
  void set(const char *key, const std::string &value) {
    failed_call error;
    expect_ok(driver().StatementSetOption(this, key, value.c_str(), &error), error);
  }
  arrow_owner<ArrowArrayStream> execute() {
    failed_call error;
    ArrowArrayStream out{};
    EXPECT_EQ(driver().StatementExecuteQuery(this, &out, nullptr, &error), ADBC_STATUS_OK) << error.text();
    return arrow_owner(out);
  }
};

// The rows of a stream as DuckDB reads and writes them; the order of the stream.
rows rows_of(arrow_owner<ArrowArrayStream> stream, const std::string &columns = "r") {
  // DuckDB leaves schemas to their stream and releases none.  Threads read their streams at the same time.
  static thread_local ArrowSchema lent;
  if (stream->release == nullptr || stream->get_schema(&*stream, &lent) != 0)
    return {"no stream"};
  const arrow_owner<ArrowSchema> owned_schema(ArrowSchema{lent});
  stream->get_schema = [](ArrowArrayStream *, ArrowSchema *out) { return *out = lent, 0; };
  store::duckdb::connection reader(1);
  rows out;
  if (duckdb_arrow_scan(reader.opened(), "given", &*stream) != 0)
    return {"DuckDB cannot read the stream"};
  try {
    // The stream knows nothing of the columns that a query leaves out.
    reader.query("CREATE TABLE kept AS FROM given");
    store::duckdb::result read = reader.query(fmt::format("SELECT ({})::VARCHAR FROM kept r", columns));
    while (const auto chunk = read.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        out.emplace_back(chunk->column(0).is_null(row) ? "NULL" : chunk->column(0).text(row));
  } catch (const store::error &e) {
    out.emplace_back(e.what());
  }
  return out;
}
rows answer(connection &on, const std::string &query, const std::string &columns = "r") {
  return rows_of(statement(on, query).execute(), columns);
}

class adbc : public testing::Test {
protected:
  adbc() {
    maker_.query("CREATE TABLE sample AS SELECT i, i % 7 AS k, CASE WHEN i % 5 <> 0 THEN 'text ' || i % 100 END AS t, "
                 "(i / 8)::DOUBLE AS d, (i * 0.25)::DECIMAL(12,2) AS n, (i * 1000000000000)::DECIMAL(38,0) AS h, DATE "
                 "'2001-01-01' + (i % 1000)::INTEGER AS day, i % 3 = 0 AS b FROM range(200000) r(i)");
    make("sample", "FROM sample");
  }
  void make(const std::string &name, const std::string &query) {
    maker_.query(fmt::format("COPY ({}) TO '{}'", query, folder_.path(name + ".parquet")));
  }
  rows expected(const std::string &query) {
    rows out;
    store::duckdb::result read = maker_.query(fmt::format("SELECT r::VARCHAR FROM ({}) r", query));
    while (const auto chunk = read.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row)
        out.emplace_back(chunk->column(0).text(row));
    return out;
  }
  std::vector<std::pair<std::string, std::string>> in_folder() const {
    return {{"path", folder_.path()}, {"threads", "3"}};
  }

  vorn_test::scratch_folder folder_;
  store::duckdb::connection maker_;
};

TEST_F(adbc, table_is_filled_for_the_version_that_is_asked_for) {
  std::vector<unsigned char> memory(ADBC_DRIVER_1_1_0_SIZE, 0xab);
  ASSERT_EQ(AdbcDriverInit(ADBC_VERSION_1_0_0, memory.data(), nullptr), ADBC_STATUS_OK);
  EXPECT_TRUE(std::all_of(memory.begin() + ADBC_DRIVER_1_0_0_SIZE, memory.end(), [](auto c) { return c == 0xab; }));
  const auto *slots = reinterpret_cast<void *const *>(&driver());
  for (size_t i = 2; i < sizeof(AdbcDriver) / sizeof(void *); ++i)
    EXPECT_NE(slots[i], nullptr) << "function " << i;
  for (const int version : {0, 999'999, 1'002'000}) {
    failed_call error;
    EXPECT_EQ(AdbcDriverInit(version, memory.data(), &error), ADBC_STATUS_NOT_IMPLEMENTED) << version;
  }
  EXPECT_EQ(AdbcDriverInit(ADBC_VERSION_1_1_0, nullptr, nullptr), ADBC_STATUS_INVALID_ARGUMENT);
  AdbcDriver copy = driver();
  EXPECT_EQ(copy.release(&copy, nullptr), ADBC_STATUS_OK);
  EXPECT_EQ(copy.release, nullptr);
}

// Calls with records that are null, not made, not initialised or released, and with arguments that are null.
TEST_F(adbc, wrong_calls_are_errors) {
  database in(in_folder());
  connection on(in);
  statement asks(on, "SELECT 1 AS one");
  AdbcDatabase no_database{}, raw_database{};
  AdbcConnection no_connection{}, raw_connection{};
  AdbcStatement no_statement{}, empty_statement{};
  ASSERT_EQ(driver().DatabaseNew(&raw_database, nullptr), ADBC_STATUS_OK);
  ASSERT_EQ(driver().ConnectionNew(&raw_connection, nullptr), ADBC_STATUS_OK);
  ASSERT_EQ(driver().StatementNew(&on, &empty_statement, nullptr), ADBC_STATUS_OK);
  ArrowArrayStream stream{};
  ArrowArray array{};
  ArrowSchema schema{};
  AdbcPartitions parts{};
  int64_t number = 0;
  double real = 0;
  size_t length = 0;
  char text[8];
  uint8_t bytes[8] = {'{', '}'};
  const AdbcDriver &d = driver();
  constexpr AdbcStatusCode argument = ADBC_STATUS_INVALID_ARGUMENT, state = ADBC_STATUS_INVALID_STATE,
                           lacks = ADBC_STATUS_NOT_IMPLEMENTED, none = ADBC_STATUS_NOT_FOUND;
  const struct {
    const char *what;
    AdbcStatusCode expected;
    std::function<AdbcStatusCode(AdbcError *)> call;
  } calls[] = {
      {"no database", argument, [&](auto *e) { return d.DatabaseNew(nullptr, e); }},
      {"made twice", state, [&](auto *e) { return d.DatabaseNew(&in, e); }},
      {"initialised before it is made", state, [&](auto *e) { return d.DatabaseInit(&no_database, e); }},
      {"initialised twice", state, [&](auto *e) { return d.DatabaseInit(&in, e); }},
      {"no option", argument, [&](auto *e) { return d.DatabaseSetOption(&raw_database, nullptr, "", e); }},
      {"unknown option", lacks, [&](auto *e) { return d.DatabaseSetOption(&raw_database, "colour", "red", e); }},
      {"threads", argument, [&](auto *e) { return d.DatabaseSetOption(&raw_database, "threads", "many", e); }},
      {"threads", argument, [&](auto *e) { return d.DatabaseSetOptionDouble(&raw_database, "threads", 1.5, e); }},
      {"threads", argument, [&](auto *e) { return d.DatabaseSetOptionInt(&raw_database, "threads", -1, e); }},
      {"late option", state, [&](auto *e) { return d.DatabaseSetOption(&in, "threads", "1", e); }},
      {"null bytes", argument, [&](auto *e) { return d.DatabaseSetOptionBytes(&raw_database, "path", nullptr, 3, e); }},
      {"unknown option", none, [&](auto *e) { return d.DatabaseGetOption(&in, "colour", text, &length, e); }},
      {"no length", argument, [&](auto *e) { return d.DatabaseGetOption(&in, "isa", text, nullptr, e); }},
      {"no number", none, [&](auto *e) { return d.DatabaseGetOptionInt(&in, "isa", &number, e); }},
      {"no number", none, [&](auto *e) { return d.DatabaseGetOptionDouble(&in, "isa", &real, e); }},
      {"no place", argument, [&](auto *e) { return d.DatabaseGetOptionInt(&in, "threads", nullptr, e); }},
      {"unknown option", none, [&](auto *e) { return d.DatabaseGetOptionBytes(&in, "x", bytes, &length, e); }},
      {"not made", state, [&](auto *e) { return d.DatabaseRelease(&no_database, e); }},
      {"not made", state, [&](auto *e) { return d.ConnectionInit(&no_connection, &in, e); }},
      {"no database", argument, [&](auto *e) { return d.ConnectionInit(&raw_connection, nullptr, e); }},
      {"not initialised", state, [&](auto *e) { return d.ConnectionInit(&raw_connection, &raw_database, e); }},
      {"initialised twice", state, [&](auto *e) { return d.ConnectionInit(&on, &in, e); }},
      {"transactions", lacks,
       [&](auto *e) { return d.ConnectionSetOption(&on, ADBC_CONNECTION_OPTION_AUTOCOMMIT, "false", e); }},
      {"unknown option", lacks, [&](auto *e) { return d.ConnectionSetOptionInt(&on, "colour", 1, e); }},
      {"unknown option", lacks, [&](auto *e) { return d.ConnectionSetOptionDouble(&on, "colour", 1, e); }},
      {"unknown option", lacks, [&](auto *e) { return d.ConnectionSetOptionBytes(&on, "colour", bytes, 2, e); }},
      {"unknown option", none, [&](auto *e) { return d.ConnectionGetOptionInt(&on, "colour", &number, e); }},
      {"unknown option", none, [&](auto *e) { return d.ConnectionGetOptionDouble(&on, "colour", &real, e); }},
      {"unknown option", none, [&](auto *e) { return d.ConnectionGetOptionBytes(&on, "x", bytes, &length, e); }},
      {"commit", state, [&](auto *e) { return d.ConnectionCommit(&on, e); }},
      {"roll back", state, [&](auto *e) { return d.ConnectionRollback(&on, e); }},
      {"nothing to cancel", state, [&](auto *e) { return d.ConnectionCancel(&on, e); }},
      {"not initialised", state, [&](auto *e) { return d.ConnectionCancel(&raw_connection, e); }},
      {"no stream", argument, [&](auto *e) { return d.ConnectionGetInfo(&on, nullptr, 0, nullptr, e); }},
      {"not initialised", state, [&](auto *e) { return d.ConnectionGetInfo(&raw_connection, nullptr, 0, &stream, e); }},
      {"no such depth", argument,
       [&](auto *e) {
         return d.ConnectionGetObjects(&on, 4, nullptr, nullptr, nullptr, nullptr, nullptr, &stream, e);
       }},
      {"no name", argument,
       [&](auto *e) { return d.ConnectionGetTableSchema(&on, nullptr, nullptr, nullptr, &schema, e); }},
      {"no such table", none,
       [&](auto *e) { return d.ConnectionGetTableSchema(&on, nullptr, nullptr, "lost", &schema, e); }},
      {"no such schema", none,
       [&](auto *e) { return d.ConnectionGetTableSchema(&on, nullptr, "other", "sample", &schema, e); }},
      {"no stream", argument, [&](auto *e) { return d.ConnectionGetTableTypes(&on, nullptr, e); }},
      {"no stream", argument,
       [&](auto *e) { return d.ConnectionGetStatistics(&on, nullptr, nullptr, nullptr, 1, nullptr, e); }},
      {"no stream", argument, [&](auto *e) { return d.ConnectionGetStatisticNames(&on, nullptr, e); }},
      {"no partition", argument, [&](auto *e) { return d.ConnectionReadPartition(&on, nullptr, 0, &stream, e); }},
      {"other bytes", argument, [&](auto *e) { return d.ConnectionReadPartition(&on, bytes, 2, &stream, e); }},
      {"not made", state, [&](auto *e) { return d.ConnectionRelease(&no_connection, e); }},
      {"not initialised", state, [&](auto *e) { return d.StatementNew(&raw_connection, &no_statement, e); }},
      {"made twice", state, [&](auto *e) { return d.StatementNew(&on, &asks, e); }},
      {"not made", state, [&](auto *e) { return d.StatementSetSqlQuery(&no_statement, "SELECT 1", e); }},
      {"no query", argument, [&](auto *e) { return d.StatementSetSqlQuery(&asks, nullptr, e); }},
      {"other language", lacks, [&](auto *e) { return d.StatementSetSubstraitPlan(&asks, bytes, 2, e); }},
      {"no query", state, [&](auto *e) { return d.StatementExecuteQuery(&empty_statement, &stream, nullptr, e); }},
      {"no query", state, [&](auto *e) { return d.StatementPrepare(&empty_statement, e); }},
      {"no query", state, [&](auto *e) { return d.StatementExecuteSchema(&empty_statement, &schema, e); }},
      {"no schema", argument, [&](auto *e) { return d.StatementExecuteSchema(&asks, nullptr, e); }},
      {"no query", state, [&](auto *e) { return d.StatementGetParameterSchema(&empty_statement, &schema, e); }},
      {"no query", state,
       [&](auto *e) { return d.StatementExecutePartitions(&empty_statement, &schema, &parts, &number, e); }},
      {"no partitions", argument,
       [&](auto *e) { return d.StatementExecutePartitions(&asks, &schema, nullptr, &number, e); }},
      {"nothing to bind", argument, [&](auto *e) { return d.StatementBind(&asks, nullptr, &schema, e); }},
      {"released", argument, [&](auto *e) { return d.StatementBind(&asks, &array, &schema, e); }},
      {"released", argument, [&](auto *e) { return d.StatementBindStream(&asks, &stream, e); }},
      {"nothing to cancel", state, [&](auto *e) { return d.StatementCancel(&asks, e); }},
      {"unknown option", lacks, [&](auto *e) { return d.StatementSetOption(&asks, "colour", "red", e); }},
      {"no such mode", argument,
       [&](auto *e) { return d.StatementSetOption(&asks, ADBC_INGEST_OPTION_MODE, "fast", e); }},
      {"neither", argument, [&](auto *e) { return d.StatementSetOption(&asks, ADBC_INGEST_OPTION_TEMPORARY, "1", e); }},
      {"no such catalog", none,
       [&](auto *e) { return d.StatementSetOption(&asks, ADBC_INGEST_OPTION_TARGET_CATALOG, "other", e); }},
      {"no row groups", argument,
       [&](auto *e) { return d.StatementSetOptionInt(&asks, "vorn.partition_row_groups", 0, e); }},
      {"no row groups", argument,
       [&](auto *e) { return d.StatementSetOptionDouble(&asks, "vorn.partition_row_groups", .5, e); }},
      {"unknown option", lacks, [&](auto *e) { return d.StatementSetOptionBytes(&asks, "colour", bytes, 2, e); }},
      {"no such result", argument, [&](auto *e) { return d.StatementSetOption(&asks, "vorn.result", "json", e); }},
      {"no partitions", argument, [&](auto *e) { return d.StatementSetOptionInt(&asks, "vorn.partitions", 0, e); }},
      {"no column", argument, [&](auto *e) { return d.StatementSetOption(&asks, "vorn.partition_by", "0,,1", e); }},
      {"no query", state,
       [&](auto *e) { return d.StatementGetOption(&empty_statement, "vorn.plan", text, &length, e); }},
      {"unknown option", none, [&](auto *e) { return d.StatementGetOption(&asks, "colour", text, &length, e); }},
      {"unknown option", none, [&](auto *e) { return d.StatementGetOptionBytes(&asks, "x", bytes, &length, e); }},
      {"unknown option", none, [&](auto *e) { return d.StatementGetOptionInt(&asks, "colour", &number, e); }},
      {"unknown option", none, [&](auto *e) { return d.StatementGetOptionDouble(&asks, "colour", &real, e); }},
      {"not made", state, [&](auto *e) { return d.StatementRelease(&no_statement, e); }},
      {"no connection", argument, [&](auto *e) { return d.ConnectionRelease(nullptr, e); }},
  };
  for (size_t i = 0; i < std::size(calls); ++i) {
    failed_call error;
    EXPECT_EQ(calls[i].call(&error), calls[i].expected)
        << "call " << i << ": " << calls[i].what << ": " << error.text();
    EXPECT_NE(error.text(), "") << "call " << i << ": " << calls[i].what;
    EXPECT_EQ(calls[i].call(nullptr), calls[i].expected) << "call " << i << " without a place for its error";
  }
  EXPECT_EQ(stream.release, nullptr);
  EXPECT_EQ(schema.release, nullptr);
  for (const auto &release :
       std::vector<std::function<AdbcStatusCode()>>{[&] { return d.StatementRelease(&empty_statement, nullptr); },
                                                    [&] { return d.ConnectionRelease(&raw_connection, nullptr); },
                                                    [&] { return d.DatabaseRelease(&raw_database, nullptr); }}) {
    EXPECT_EQ(release(), ADBC_STATUS_OK);
    EXPECT_EQ(release(), ADBC_STATUS_INVALID_STATE) << "released twice";
  }
}

TEST_F(adbc, options_can_be_read) {
  database in(in_folder());
  connection on(in);
  statement asks(on, "SELECT 1 AS one");
  asks.set("vorn.partition_row_groups", "2");
  asks.set(ADBC_INGEST_OPTION_MODE, ADBC_INGEST_OPTION_MODE_REPLACE);
  char text[64];
  const auto read = [&](auto get, auto *of, const char *key) {
    size_t length = sizeof text;
    EXPECT_EQ(get(of, key, text, &length, nullptr), ADBC_STATUS_OK) << key;
    EXPECT_EQ(length, std::strlen(text) + 1);
    return std::string(text);
  };
  EXPECT_EQ(read(driver().DatabaseGetOption, &in, "threads"), "3");
  EXPECT_EQ(read(driver().DatabaseGetOption, &in, "path"), folder_.path());
  EXPECT_NE(read(driver().DatabaseGetOption, &in, "isa"), "");
  EXPECT_EQ(read(driver().ConnectionGetOption, &on, ADBC_CONNECTION_OPTION_AUTOCOMMIT), "true");
  EXPECT_EQ(read(driver().StatementGetOption, &asks, ADBC_INGEST_OPTION_MODE), ADBC_INGEST_OPTION_MODE_REPLACE);
  int64_t groups = 0;
  double progress = -1;
  EXPECT_EQ(driver().StatementGetOptionInt(&asks, "vorn.partition_row_groups", &groups, nullptr), ADBC_STATUS_OK);
  EXPECT_EQ(driver().StatementGetOptionDouble(&asks, ADBC_STATEMENT_OPTION_PROGRESS, &progress, nullptr),
            ADBC_STATUS_OK);
  EXPECT_EQ(groups, 2);
  EXPECT_EQ(progress, 0);
  size_t length = 2; // too short: nothing is written but the length
  text[0] = 'x';
  EXPECT_EQ(driver().ConnectionGetOption(&on, ADBC_CONNECTION_OPTION_AUTOCOMMIT, text, &length, nullptr),
            ADBC_STATUS_OK);
  EXPECT_EQ(length, sizeof "true");
  EXPECT_EQ(text[0], 'x');
}

TEST_F(adbc, failed_queries_have_status_sqlstate_and_text) {
  database in(in_folder());
  connection on(in);
  folder_.write("damaged.vorn", "no table");
  const struct {
    std::string query;
    AdbcStatusCode status;
    const char *sqlstate;
    const char *message;
  } cases[] = {
      {"SELEC 1", ADBC_STATUS_INVALID_ARGUMENT, "42601", "syntax error"},
      {"SELECT * FROM lost", ADBC_STATUS_NOT_FOUND, "42P01", "lost"},
      {"SELECT lost FROM sample", ADBC_STATUS_INVALID_ARGUMENT, "42703", "lost"},
      {"SELECT lost(1)", ADBC_STATUS_NOT_FOUND, "42883", "lost"},
      {"SELECT row_number() OVER () FROM sample", ADBC_STATUS_NOT_IMPLEMENTED, "0A000", "window"},
      {"CREATE TABLE t (i INTEGER)", ADBC_STATUS_NOT_IMPLEMENTED, "0A000", "only queries"},
      {"SELECT CAST('x' || i AS INTEGER) FROM sample", ADBC_STATUS_INVALID_DATA, "22018", "not a value of INTEGER"},
      {"SELECT max(n::DECIMAL(5,2)) FROM sample", ADBC_STATUS_INVALID_DATA, "22018", "out of range"},
      {"SELECT ?", ADBC_STATUS_INVALID_STATE, "HY010", "nothing is bound"},
      {"FROM 'lost.parquet'", ADBC_STATUS_NOT_FOUND, "58P01", "lost.parquet"},
      {fmt::format("FROM '{}'", folder_.path("damaged.vorn")), ADBC_STATUS_UNKNOWN, "HY000", "damaged.vorn"},
      {"EXPLAIN ANALYZE SELECT lost FROM sample", ADBC_STATUS_INVALID_ARGUMENT, "42703", "lost"},
      {"COPY sample INTO 'x.vorn'", ADBC_STATUS_INVALID_ARGUMENT, "42601", "COPY table TO"},
      {"COPY sample TO 'x.csv'", ADBC_STATUS_INVALID_ARGUMENT, "HY009", "x.csv"},
      {"COPY sample TO '/lost/x.vorn'", ADBC_STATUS_IO, "58030", "/lost"},
      {"COPY sample TO 'x.vorn' (FORMAT csv)", ADBC_STATUS_NOT_IMPLEMENTED, "0A000", "options of COPY"},
      {"DROP TABLE lost", ADBC_STATUS_NOT_FOUND, "42P01", "lost"},
      {"DROP TABLE sample", ADBC_STATUS_INVALID_STATE, "HY010", "not changed"},
  };
  for (const auto &[query, status, sqlstate, message] : cases) {
    SCOPED_TRACE(query);
    statement asks(on, query);
    failed_call error;
    AdbcStatusCode found = driver().StatementExecuteQuery(&asks, nullptr, nullptr, &error);
    EXPECT_EQ(found, status) << error.text();
    EXPECT_EQ(error.state(), sqlstate);
    EXPECT_THAT(error.text(), HasSubstr(message));
    EXPECT_EQ(error.vendor_code, ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA);
    ASSERT_EQ(driver().ErrorGetDetailCount(&error), 1);
    const AdbcErrorDetail detail = driver().ErrorGetDetail(&error, 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(detail.value), detail.value_length), query);
    EXPECT_EQ(driver().ErrorGetDetail(&error, 1).key, nullptr);
    // A caller of version 1.0 has a shorter record.
    struct {
      char bytes[ADBC_ERROR_1_0_0_SIZE];
      char after[16];
    } old{};
    std::memset(old.after, 0x5a, sizeof old.after);
    auto *const short_error = reinterpret_cast<AdbcError *>(&old);
    EXPECT_EQ(driver().StatementExecuteQuery(&asks, nullptr, nullptr, short_error), status);
    EXPECT_TRUE(std::all_of(std::begin(old.after), std::end(old.after), [](char c) { return c == 0x5a; }));
    short_error->release(short_error);
  }
}

TEST_F(adbc, results_are_streams_that_outlive_what_made_them) {
  for (const char *threads : {"1", "3"}) {
    SCOPED_TRACE(threads);
    for (const char *query :
         {"SELECT * FROM sample", "SELECT i, t FROM sample WHERE k = 3 AND d > 1000",
          "SELECT i FROM sample WHERE i < 0",
          "SELECT k, count(*), sum(n), min(t), max(h) FROM sample GROUP BY k ORDER BY k",
          "SELECT a.i, b.t FROM sample a JOIN sample b ON a.i = b.i + 1 WHERE a.k = 2 ORDER BY a.i",
          "SELECT 1 AS x, NULL AS y, 'é' AS z", "SELECT t, i FROM sample ORDER BY t DESC NULLS LAST, i LIMIT 10"}) {
      SCOPED_TRACE(query);
      ArrowArrayStream stream{};
      ArrowSchema schema{};
      {
        database in({{"path", folder_.path()}, {"threads", threads}});
        connection on(in);
        statement asks(on, query);
        failed_call error;
        expect_ok(driver().StatementExecuteSchema(&asks, &schema, &error), error);
        int64_t affected = 0;
        expect_ok(driver().StatementExecuteQuery(&asks, &stream, &affected, &error), error);
        EXPECT_EQ(affected, -1);
        // The database goes first.
        EXPECT_EQ(driver().DatabaseRelease(&in, nullptr), ADBC_STATUS_OK);
        EXPECT_EQ(driver().ConnectionRelease(&on, nullptr), ADBC_STATUS_OK);
      }
      const arrow_owner<ArrowSchema> said(schema);
      ArrowSchema has{};
      ASSERT_EQ(stream.get_schema(&stream, &has), 0);
      const arrow_owner<ArrowSchema> owned_has(has);
      ASSERT_EQ(has.n_children, (*const_cast<arrow_owner<ArrowSchema> &>(said)).n_children);
      for (int64_t c = 0; c < has.n_children; ++c) {
        const ArrowSchema &a = *has.children[c], &b = *(*const_cast<arrow_owner<ArrowSchema> &>(said)).children[c];
        EXPECT_STREQ(a.format, b.format);
        EXPECT_STREQ(a.name, b.name);
        EXPECT_EQ(a.flags, b.flags);
      }
      EXPECT_EQ(rows_of(arrow_owner(stream)), expected(query));
    }
  }
}

TEST_F(adbc, stream_that_fails_tells_why) {
  database in(in_folder());
  connection on(in);
  // The first row groups can be converted.
  arrow_owner<ArrowArrayStream> stream =
      statement(on, "SELECT CAST(CASE WHEN i > 199000 THEN 'x' ELSE '1' END || t AS INTEGER) FROM "
                    "(SELECT i, '' AS t FROM sample)")
          .execute();
  int code = 0;
  size_t batches = 0;
  for (; code == 0; ++batches) {
    ArrowArray batch{};
    code = stream->get_next(&*stream, &batch);
    const arrow_owner<ArrowArray> owned_batch(batch);
    ASSERT_LT(batches, 10000U);
  }
  EXPECT_EQ(code, EINVAL);
  EXPECT_GT(batches, 1U) << "rows come before the error";
  AdbcStatusCode status = ADBC_STATUS_OK;
  const AdbcError *error = driver().ErrorFromArrayStream(&*stream, &status);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(status, ADBC_STATUS_INVALID_DATA);
  EXPECT_STREQ(error->message, stream->get_last_error(&*stream));
  EXPECT_EQ(driver().ErrorGetDetailCount(error), 1);
  ArrowArrayStream foreign{};
  EXPECT_EQ(driver().ErrorFromArrayStream(&foreign, &status), nullptr);
}

TEST_F(adbc, metadata_describes_driver_and_tables) {
  database in(in_folder());
  connection on(in);
  const auto read = [](const auto &call, const char *columns) {
    failed_call error;
    ArrowArrayStream out{};
    EXPECT_EQ(call(&out, &error), ADBC_STATUS_OK) << error.text();
    return rows_of(arrow_owner(out), columns);
  };
  const uint32_t codes[] = {ADBC_INFO_VENDOR_NAME, ADBC_INFO_VENDOR_SQL, 999, ADBC_INFO_DRIVER_ADBC_VERSION};
  // DuckDB reads no dense unions; the tests of the package read theirs.
  for (const auto &[asked, count] : {std::pair{codes, 3}, {nullptr, 7}}) {
    ArrowArrayStream out{};
    ArrowArray batch{};
    ASSERT_EQ(driver().ConnectionGetInfo(&on, asked, std::size(codes), &out, nullptr), ADBC_STATUS_OK);
    arrow_owner<ArrowArrayStream> stream(out);
    ASSERT_EQ(stream->get_next(&*stream, &batch), 0);
    const arrow_owner<ArrowArray> owned_batch(ArrowArray{batch});
    EXPECT_EQ(batch.length, count);
    EXPECT_EQ(static_cast<const uint32_t *>(batch.children[0]->buffers[1])[1],
              asked != nullptr ? ADBC_INFO_VENDOR_SQL : ADBC_INFO_VENDOR_VERSION);
  }
  EXPECT_THAT(read([&](auto *out, auto *e) { return driver().ConnectionGetTableTypes(&on, out, e); }, "r"),
              ElementsAre("{'table_type': table}"));
  const char *types[] = {"view", "table", nullptr}, *views[] = {"view", nullptr};
  const auto objects = [&](int depth, const char *table, const char **of_types, const char *column,
                           const char *columns) {
    return read(
        [&](auto *out, auto *e) {
          return driver().ConnectionGetObjects(&on, depth, "mem%", "_ain", table, of_types, column, out, e);
        },
        columns);
  };
  constexpr const char *names =
      "catalog_name || array_to_string(list_transform(catalog_db_schemas, s -> ' ' || s.db_schema_name || "
      "array_to_string(list_transform(s.db_schema_tables, t -> ' ' || t.table_name || "
      "coalesce(array_to_string(list_transform(t.table_columns, c -> concat(' ', c.column_name, c.ordinal_position, "
      "c.xdbc_type_name)), ''), ' -')), '')), '')";
  EXPECT_THAT(
      objects(ADBC_OBJECT_DEPTH_ALL, "sam%", types, "_", names),
      ElementsAre("memory main sample i1BIGINT k2BIGINT t3VARCHAR d4DOUBLE n5DECIMAL(12,2) h6DECIMAL(38,0) b8BOOLEAN"));
  EXPECT_THAT(objects(ADBC_OBJECT_DEPTH_TABLES, nullptr, nullptr, nullptr, names), ElementsAre("memory main sample -"));
  EXPECT_THAT(objects(ADBC_OBJECT_DEPTH_ALL, nullptr, views, nullptr, names), ElementsAre("memory main"));
  EXPECT_THAT(objects(ADBC_OBJECT_DEPTH_DB_SCHEMAS, nullptr, nullptr, nullptr, "catalog_db_schemas"),
              ElementsAre("[{'db_schema_name': main, 'db_schema_tables': NULL}]"));
  EXPECT_THAT(objects(ADBC_OBJECT_DEPTH_CATALOGS, nullptr, nullptr, nullptr, "r"),
              ElementsAre("{'catalog_name': memory, 'catalog_db_schemas': NULL}"));

  ArrowSchema schema{};
  ASSERT_EQ(driver().ConnectionGetTableSchema(&on, nullptr, "main", "Sample", &schema, nullptr), ADBC_STATUS_OK);
  const arrow_owner<ArrowSchema> owned_schema(schema);
  std::string formats;
  for (int64_t c = 0; c < schema.n_children; ++c)
    formats += fmt::format("{}={} ", schema.children[c]->name, schema.children[c]->format);
  EXPECT_EQ(formats, "i=l k=l t=u d=g n=d:18,2 h=d:38,0 day=tdD b=b ");

  for (const char approximate : {'\1', '\0'}) {
    ArrowArrayStream out{};
    ArrowArray batch{};
    ASSERT_EQ(driver().ConnectionGetStatistics(&on, nullptr, nullptr, "sample", approximate, &out, nullptr),
              ADBC_STATUS_OK);
    arrow_owner<ArrowArrayStream> stream(out);
    ASSERT_EQ(stream->get_next(&*stream, &batch), 0);
    const arrow_owner<ArrowArray> owned_batch(ArrowArray{batch});
    const ArrowArray &statistics = *batch.children[1]->children[0]->children[1]->children[0];
    // Of the table, of its eight columns, and of the six of these with a dictionary.  None has been loaded at first.
    EXPECT_EQ(statistics.length, approximate != 0 ? 1 : 15);
  }
  EXPECT_THAT(read([&](auto *out, auto *e) { return driver().ConnectionGetStatisticNames(&on, out, e); }, "r"),
              IsEmpty());
}

TEST_F(adbc, values_are_bound_to_parameters) {
  make("bound",
       "SELECT i, t, d, n, h, day, b, 'it''s ?' AS quoted, NULL::INTEGER AS none, 'a\\x78'::BLOB AS bytes FROM sample "
       "WHERE i IN (3, 5)");
  database in(in_folder());
  connection on(in);
  const auto with = [&](const std::string &query, const std::string &values, const char *by_name = "false") {
    statement asks(on, query);
    asks.set(ADBC_STATEMENT_OPTION_BIND_BY_NAME, by_name);
    arrow_owner<ArrowArrayStream> bound = statement(on, values).execute();
    EXPECT_EQ(driver().StatementBindStream(&asks, &*bound, nullptr), ADBC_STATUS_OK);
    EXPECT_EQ(bound->release, nullptr);
    failed_call error;
    ArrowArrayStream out{};
    if (driver().StatementExecuteQuery(&asks, &out, nullptr, &error) != ADBC_STATUS_OK)
      return rows{error.text()};
    return rows_of(arrow_owner(out));
  };
  EXPECT_EQ(
      with("SELECT ? AS i, ? AS t, ? AS d, ? AS n, ? AS h, ? AS day, ? AS b, ? AS q, ? AS x, ? AS y", "FROM bound"),
      expected("SELECT i, t, d, n, h, day, b, 'it''s ?' AS q, NULL::INTEGER AS x, 'a\\x78'::BLOB AS y FROM sample "
               "WHERE i IN (3, 5)"));
  EXPECT_THAT(with("SELECT count(*) AS c, '?' AS q, $2 AS t FROM sample -- ?\n WHERE k = $1 AND t = ?2",
                   "SELECT 3 AS a, 'text 3' AS b"),
              ElementsAre("{'c': 286, 'q': ?, 't': text 3}"));
  EXPECT_THAT(with("SELECT count(*) AS c FROM sample WHERE day = ?", "SELECT '2001-01-03' AS a"),
              ElementsAre("{'c': 200}"));
  EXPECT_THAT(with("SELECT count(*) AS c FROM sample WHERE t = $t AND day < $day",
                   "SELECT DATE '2002-01-01' AS day, 'text 7' AS t", "true"),
              ElementsAre("{'c': 800}"));
  EXPECT_THAT(with("SELECT ? AS x", "SELECT i FROM bound WHERE i < 0"), IsEmpty()) << "no row is bound";
  EXPECT_THAT(with("SELECT 1", "SELECT 1 AS a"), ElementsAre(HasSubstr("0 parameters, and 1")));
  EXPECT_THAT(with("SELECT ?, ?", "SELECT 1 AS a"), ElementsAre(HasSubstr("2 parameters, and 1")));
  EXPECT_THAT(with("SELECT $b", "SELECT 1 AS a", "true"), ElementsAre(HasSubstr("$b")));
  statement asks(on, "SELECT ?, $name, $name, '?'");
  ArrowSchema schema{};
  ASSERT_EQ(driver().StatementGetParameterSchema(&asks, &schema, nullptr), ADBC_STATUS_OK);
  const arrow_owner<ArrowSchema> owned_schema(schema);
  ASSERT_EQ(schema.n_children, 2);
  EXPECT_STREQ(schema.children[0]->name, "0");
  EXPECT_STREQ(schema.children[1]->name, "name");
}

// Binds the rows of a query and takes them in.
rows ingested(connection &on, const std::string &table, const std::string &mode, const std::string &query,
              const char *temporary = "false") {
  statement takes(on);
  takes.set(ADBC_INGEST_OPTION_TARGET_TABLE, table);
  takes.set(ADBC_INGEST_OPTION_MODE, "adbc.ingest.mode." + mode);
  takes.set(ADBC_INGEST_OPTION_TEMPORARY, temporary);
  arrow_owner<ArrowArrayStream> stream = statement(on, query).execute();
  EXPECT_EQ(driver().StatementBindStream(&takes, &*stream, nullptr), ADBC_STATUS_OK);
  failed_call error;
  int64_t affected = 0;
  const AdbcStatusCode status = driver().StatementExecuteQuery(&takes, nullptr, &affected, &error);
  return {status == ADBC_STATUS_OK ? std::to_string(affected) : fmt::format("{} {}", status, error.state())};
}

TEST_F(adbc, tables_are_taken_in) {
  const std::string some = "SELECT i, t FROM sample WHERE k = 1 AND i < 1000",
                    more = "SELECT i, t FROM sample WHERE k = 2 AND i < 70";
  for (const bool is_in_folder : {false, true}) {
    SCOPED_TRACE(is_in_folder);
    vorn_test::scratch_folder tables;
    std::vector<std::pair<std::string, std::string>> options = {{"threads", "2"}};
    if (is_in_folder)
      options.emplace_back("path", tables.path());
    database in(options);
    connection on(in), other(in);
    const std::string from = fmt::format("'{}'", folder_.path("sample.parquet"));
    const auto of = [&](std::string query) { return query.replace(query.find("sample"), 6, from); };
    const struct {
      const char *table, *mode;
      const std::string &query;
      const char *expected, *count;
    } steps[] = {
        {"made", "append", some, "3 42P01", ""},        {"made", "create", some, "143", "143"},
        {"Made", "create", some, "4 42P07", "143"},     {"made", "append", more, "10", "153"},
        {"made", "create_append", more, "10", "163"},   {"made", "replace", more, "10", "10"},
        {"second", "create_append", some, "143", "10"},
    };
    for (const auto &[table, mode, query, expected, count] : steps) {
      SCOPED_TRACE(fmt::format("{} {}", mode, table));
      EXPECT_THAT(ingested(on, table, mode, of(query)), ElementsAre(expected));
      for (connection *reader : {&on, &other}) // which know the table as it was before
        if (*count != '\0') {
          EXPECT_THAT(answer(*reader, "SELECT count(*) AS c FROM made", "c"), ElementsAre(count));
        }
    }
    EXPECT_THAT(ingested(on, "made", "append", of("SELECT i AS j, t FROM sample")), ElementsAre("4 42P07"));
    EXPECT_EQ(answer(other, "FROM second"), expected(some));
    EXPECT_THAT(ingested(on, "brief", "create", of(some), "true"), ElementsAre("143"));
    EXPECT_EQ(answer(on, "SELECT count(*) AS c FROM second JOIN brief USING (i)", "c"), rows{"143"});
    statement(on, "DROP TABLE second").execute();
    statement(on, "DROP TABLE IF EXISTS second").execute();
    EXPECT_THAT(answer(on, fmt::format("EXPLAIN SELECT i FROM made WHERE i > 3"), "explain_value"),
                ElementsAre(HasSubstr("scan made")));
    EXPECT_THAT(
        answer(on, "EXPLAIN analyze SELECT i FROM made WHERE i > 3", "explain_value"),
        ElementsAre(testing::ContainsRegex(fmt::format(
            "\n *[0-9]+ +scan +{} +1 .*made where", answer(on, "SELECT count(*) c FROM made WHERE i > 3", "c")[0]))));
    if (!is_in_folder)
      continue;
    EXPECT_THAT(ingested(on, "../out", "create", of(some)), ElementsAre("5 HY009"));
    database again(options);
    connection later(again);
    EXPECT_EQ(answer(later, "FROM made"), expected(more));
    EXPECT_FALSE(std::filesystem::exists(tables.path("brief.vorn")) ||
                 std::filesystem::exists(tables.path("second.vorn")));
  }
}

TEST_F(adbc, copy_writes_and_reads_files) {
  database in(in_folder());
  connection on(in);
  const auto copied = [&](const std::string &text) {
    statement copies(on, text);
    failed_call error;
    int64_t affected = 0;
    EXPECT_EQ(driver().StatementExecuteQuery(&copies, nullptr, &affected, &error), ADBC_STATUS_OK) << error.text();
    return affected;
  };
  vorn_test::scratch_folder files;
  const std::string whole = files.path("whole.vorn"), part = files.path("part.vorn"),
                    parquet = files.path("part.parquet");
  EXPECT_EQ(copied(fmt::format("COPY sample TO '{}'", whole)), 200'000);
  EXPECT_EQ(copied(fmt::format("copy (SELECT i, t FROM sample WHERE (k = 1)) to '{}';", part)), 28'572);
  EXPECT_EQ(copied(fmt::format("COPY (SELECT i, t FROM sample WHERE k = 1) TO '{}'", parquet)), 28'572);
  EXPECT_EQ(copied(fmt::format("COPY again FROM '{}'", whole)), 200'000);
  EXPECT_EQ(answer(on, "FROM again"), expected("FROM sample"));
  EXPECT_EQ(copied(fmt::format("COPY parts FROM '{}'", part)), 28'572);
  EXPECT_EQ(copied(fmt::format("COPY parts FROM '{}' -- appended", parquet)), 28'572);
  EXPECT_EQ(answer(on, "SELECT count(*) AS c, count(DISTINCT i) AS d FROM parts"), rows{"{'c': 57144, 'd': 28572}"});
  // The file of an earlier query is another one now.
  EXPECT_EQ(answer(on, fmt::format("SELECT count(*) AS c FROM '{}'", part), "c"), rows{"28572"});
  EXPECT_EQ(copied(fmt::format("COPY (SELECT i, t FROM sample WHERE k < 2) TO '{}'", part)), 57'144);
  EXPECT_EQ(answer(on, fmt::format("SELECT count(*) AS c FROM '{}'", part), "c"), rows{"57144"});
}

TEST_F(adbc, partitions_are_the_rows_of_a_query) {
  vorn_test::scratch_folder tables;
  database in({{"path", tables.path()}, {"threads", "2"}}), elsewhere(in_folder());
  connection on(in), other_process(elsewhere);
  const std::string sample = folder_.path("sample.parquet"), pattern = tables.path("part-*.vorn");
  for (const char *half : {"1", "2"})
    statement(on, fmt::format("COPY (FROM '{}' WHERE k % 2 = {} - 1) TO '{}'", sample, half,
                              tables.path(fmt::format("part-{}.vorn", half))))
        .execute();
  ASSERT_THAT(ingested(on, "brief", "create", fmt::format("FROM '{}'", sample), "true"), ElementsAre("200000"));
  ASSERT_THAT(ingested(on, "kept", "create", fmt::format("FROM '{}'", sample)), ElementsAre("200000"));
  const auto partitions = [&](const std::string &query) {
    statement asks(on, query);
    asks.set("vorn.partition_row_groups", "1");
    AdbcPartitions out{};
    ArrowSchema schema{};
    failed_call error;
    rows texts;
    if (driver().StatementExecutePartitions(&asks, &schema, &out, nullptr, &error) != ADBC_STATUS_OK)
      return rows{error.text()};
    const arrow_owner<ArrowSchema> owned_schema(schema);
    for (size_t i = 0; i < out.num_partitions; ++i)
      texts.emplace_back(reinterpret_cast<const char *>(out.partitions[i]), out.partition_lengths[i]);
    out.release(&out);
    EXPECT_EQ(out.release, nullptr);
    return texts;
  };
  const auto read = [](connection &by, const std::string &part) {
    ArrowArrayStream out{};
    failed_call error;
    const AdbcStatusCode status = driver().ConnectionReadPartition(&by, reinterpret_cast<const uint8_t *>(part.data()),
                                                                   part.size(), &out, &error);
    return status == ADBC_STATUS_OK ? rows_of(arrow_owner(out)) : rows{error.text()};
  };
  for (const auto &[table, count] : {std::pair{"kept", 4U}, std::pair{"brief", 4U}}) {
    const std::string query = fmt::format("SELECT i, upper(t) AS u FROM {} WHERE k > 3 AND d < 20000", table);
    const rows parts = partitions(query);
    ASSERT_EQ(parts.size(), count);
    rows all;
    for (const std::string &part : parts)
      for (const std::string &row : read(on, part))
        all.push_back(row);
    EXPECT_EQ(all, expected("SELECT i, upper(t) AS u FROM sample WHERE k > 3 AND d < 20000"));
    EXPECT_THAT(read(other_process, parts[0]), ElementsAre(HasSubstr(*table == 'k' ? "kept" : "another database")));
  }
  const rows of_files = partitions(fmt::format("SELECT i FROM '{}' WHERE d < 100", pattern));
  ASSERT_EQ(of_files.size(), 4U) << "two row groups of each file";
  rows all;
  for (const std::string &part : of_files)
    for (const std::string &row : read(other_process, part))
      all.push_back(row);
  EXPECT_EQ(all, expected("SELECT i FROM sample WHERE d < 100 ORDER BY k % 2, i"));
  const struct {
    const char *query, *named;
  } refused[] = {{"SELECT count(*) FROM kept", "an aggregate"},
                 {"SELECT i FROM kept ORDER BY i", "ORDER BY"},
                 {"SELECT DISTINCT k FROM kept", "not partitioned"},
                 {"SELECT i FROM kept LIMIT 3", "LIMIT"},
                 {"FROM kept a JOIN brief b ON a.i = b.i", "a join"},
                 {"SELECT 1", "without a table"},
                 {"COPY kept TO 'x.vorn'", "no query"}};
  for (const auto &[query, named] : refused)
    EXPECT_THAT(partitions(query), ElementsAre(HasSubstr(named))) << query;
  const rows stale = partitions("SELECT i FROM kept");
  ASSERT_THAT(ingested(on, "kept", "append", "FROM brief"), ElementsAre("200000"));
  EXPECT_THAT(read(on, stale[0]), ElementsAre(HasSubstr("has changed")));
}

// Values of options whose length the caller does not know.
std::string text_option(statement &of, const char *key) {
  failed_call error;
  size_t length = 0;
  if (driver().StatementGetOption(&of, key, nullptr, &length, &error) != ADBC_STATUS_OK)
    return error.text();
  std::string out(length, '\0');
  expect_ok(driver().StatementGetOption(&of, key, out.data(), &length, &error), error);
  return out.substr(0, length - 1);
}
std::string bytes_option(connection &of, const std::string &key) {
  failed_call error;
  size_t length = 0;
  if (driver().ConnectionGetOptionBytes(&of, key.c_str(), nullptr, &length, &error) != ADBC_STATUS_OK)
    return error.text();
  std::string out(length, '\0');
  expect_ok(
      driver().ConnectionGetOptionBytes(&of, key.c_str(), reinterpret_cast<uint8_t *>(out.data()), &length, &error),
      error);
  return out;
}
std::string set_bytes(connection &of, const std::string &key, const std::string &value) {
  failed_call error;
  driver().ConnectionSetOptionBytes(&of, key.c_str(), reinterpret_cast<const uint8_t *>(value.data()), value.size(),
                                    &error);
  return error.text();
}
std::string replaced(std::string text, const std::string &from, const std::string &to) {
  const size_t at = text.find(from);
  EXPECT_NE(at, text.npos) << from;
  return at == text.npos ? text : text.replace(at, from.size(), to);
}

TEST_F(adbc, plans_are_run_elsewhere) {
  database in(in_folder()), other;
  connection on(in), elsewhere(other);
  const std::string sample = folder_.path("sample.parquet");
  const auto plan_of = [&](const std::string &query) {
    statement asks(on, replaced(query, "sample", fmt::format("'{}'", sample)));
    return text_option(asks, "vorn.plan");
  };
  const auto run = [&](const std::string &plan) {
    statement runs(elsewhere);
    failed_call error;
    const AdbcStatusCode status = driver().StatementSetOption(&runs, "vorn.plan", plan.c_str(), &error);
    ArrowArrayStream out{};
    if (status != ADBC_STATUS_OK || driver().StatementExecuteQuery(&runs, &out, nullptr, &error) != ADBC_STATUS_OK)
      return rows{fmt::format("{} {}", status, error.text())};
    EXPECT_EQ(text_option(runs, "vorn.plan"), plan);
    return rows_of(arrow_owner(out));
  };
  for (const char *query : {"SELECT k, count(*) AS c, avg(d) AS a FROM sample WHERE t < 'text 5' GROUP BY k ORDER BY k",
                            "SELECT i, n FROM sample ORDER BY d DESC LIMIT 0.01 PERCENT"})
    EXPECT_EQ(run(plan_of(query)), expected(query)) << query;

  const char *const part = "SELECT i, t FROM sample WHERE k = 1";
  const std::string whole = plan_of(part);
  rows all;
  for (const char *row_groups : {"[0,1]", "[1,2]", "[2,9]"}) // of the file, which has two
    for (const std::string &row :
         run(replaced(whole, R"("operator":"scan")", fmt::format(R"("operator":"scan","row_groups":{})", row_groups))))
      all.push_back(row);
  EXPECT_EQ(all, expected(part));

  const std::string several = plan_of("SELECT k FROM sample WHERE d < 5 OR t IS NULL");
  const struct {
    std::string plan, message;
  } forged[] = {
      {"", "5 not a plan: "},
      {R"({"names": ["a"]})", "another number of names"},
      {replaced(several, R"("scan")", R"("scam")"), "5 not a plan: \"scam\" is unknown"},
      {replaced(several, R"("types":["BIGINT")", R"("types":["DATE")"), "5 not a plan: "},
      {replaced(several, R"("type":"VARCHAR")", R"("type":"BIGINT")"), "instead of a VARCHAR"},
      {replaced(whole, R"("table_columns":[0)", R"("table_columns":[99)"), "not those of the plan"},
      {replaced(whole, R"("table_columns":[0)", R"("table_columns":[5)"), "not those of the plan"},
      {replaced(whole, R"("operator":"scan")", R"("operator":"scan","row_groups":[3,2])"), "5 not a plan: row groups"},
      {replaced(whole, "sample", "lost"), "lost.parquet"},
  };
  for (const auto &[plan, message] : forged)
    EXPECT_THAT(run(plan), ElementsAre(HasSubstr(message))) << plan;
}

// A row of an encoded result.
struct encoded_part {
  int32_t partition;
  int64_t rows;
  std::string table;
};
std::vector<encoded_part> encoded(connection &on, const std::string &query, const char *partitions, const char *by) {
  statement asks(on, query);
  asks.set("vorn.result", "vorn");
  asks.set("vorn.partitions", partitions);
  asks.set("vorn.partition_by", by);
  arrow_owner<ArrowArrayStream> stream = asks.execute();
  std::vector<encoded_part> out;
  for (;;) {
    ArrowArray batch{};
    EXPECT_EQ(stream->get_next(&*stream, &batch), 0);
    const arrow_owner<ArrowArray> owned_batch(ArrowArray{batch});
    if (batch.release == nullptr)
      return out;
    const auto *const end = static_cast<const int64_t *>(batch.children[2]->buffers[1]) + 1;
    out.push_back({*static_cast<const int32_t *>(batch.children[0]->buffers[1]),
                   *static_cast<const int64_t *>(batch.children[1]->buffers[1]),
                   {static_cast<const char *>(batch.children[2]->buffers[2]), static_cast<size_t>(*end)}});
  }
}

TEST_F(adbc, equal_values_are_in_equal_partitions_of_encoded_results) {
  database in(in_folder()), other;
  connection on(in), elsewhere(other);
  const std::string stored = "SELECT * FROM sample";
  // The same values without dictionaries, in other representations, and in another order.
  const std::string computed = "SELECT i + 0 AS i, k + 0 AS k, t || '' AS t, d * 1 AS d, n + 0.00 AS n, (h + 0)::"
                               "DECIMAL(38,0) AS h, day + 0 AS day, NOT b AS b FROM sample ORDER BY t, i DESC";
  vorn_test::random_source random(1);
  for (const std::string_view by : {"0", "1", "2", "3", "4", "5", "6", "2,5,1"}) {
    if (by.size() == 1 && !random.takes_case())
      continue;
    SCOPED_TRACE(by);
    std::vector<rows> numbers[2];
    for (const bool is_computed : {false, true}) {
      int64_t sum = 0;
      rows keys;
      for (const encoded_part &part : encoded(on, is_computed ? computed : stored, "5", by.data())) {
        ASSERT_EQ(set_bytes(elsewhere, "vorn.table.part", part.table), "");
        sum += part.rows;
        numbers[is_computed].resize(static_cast<size_t>(part.partition) + 1);
        numbers[is_computed].back() = answer(elsewhere, "SELECT i FROM part ORDER BY i", "i");
        EXPECT_EQ(numbers[is_computed].back().size(), static_cast<size_t>(part.rows));
        EXPECT_EQ(answer(elsewhere,
                         "SELECT count(*) AS c FROM part WHERE i % 5 = 0 AND t IS NULL OR t = 'text ' || "
                         "(i % 100)::VARCHAR AND n = i * 0.25 AND h = i::DECIMAL(38,0) * 1000000000000",
                         "c"),
                  rows{std::to_string(part.rows)});
        for (std::string &row : answer(elsewhere, "SELECT DISTINCT k FROM part", "k"))
          keys.push_back(std::move(row));
      }
      EXPECT_EQ(sum, 200'000);
      EXPECT_EQ(keys.size() == 7, by == "1") << "each key is in one partition";
    }
    EXPECT_EQ(numbers[0], numbers[1]);
  }
  const std::string zeros = "SELECT CASE k WHEN 0 THEN -0.0::DOUBLE WHEN 1 THEN i * 0.0::DOUBLE ELSE 0 END AS z "
                            "FROM sample";
  EXPECT_EQ(encoded(on, zeros, "64", "0").size(), 1U);
  EXPECT_THAT(encoded(on, "SELECT i FROM sample WHERE i < 0", "4", "0"), IsEmpty());
  for (const auto &[partitions, by] : {std::pair("2", ""), {"2", "8"}}) {
    statement asks(on, stored);
    asks.set("vorn.result", "vorn");
    asks.set("vorn.partitions", partitions);
    asks.set("vorn.partition_by", by);
    EXPECT_EQ(driver().StatementExecuteQuery(&asks, nullptr, nullptr, nullptr), ADBC_STATUS_INVALID_ARGUMENT);
  }
}

TEST_F(adbc, tables_are_bytes) {
  database in(in_folder()), other;
  connection on(in), elsewhere(other);
  const std::string bytes = bytes_option(on, "vorn.table.sample");
  const std::string packed = encoded(on, "FROM sample", "1", "").front().table;
  EXPECT_LT(packed.size(), bytes.size());
  for (const std::string &some : {bytes, packed}) {
    ASSERT_EQ(set_bytes(elsewhere, "vorn.table.Copy", some), "");
    EXPECT_EQ(answer(elsewhere, "FROM copy"), expected("FROM sample"));
    for (size_t at : {size_t{0}, size_t{9}, size_t{20}, some.size() / 3, some.size() / 2}) {
      std::string damaged = some;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x10);
      if (const std::string message = set_bytes(elsewhere, "vorn.table.damaged", damaged); !message.empty()) {
        EXPECT_THAT(message, HasSubstr("damaged ")) << at;
      } else {
        failed_call error;
        statement reads(elsewhere, "FROM damaged");
        EXPECT_NE(driver().StatementExecuteQuery(&reads, nullptr, nullptr, &error), ADBC_STATUS_OK) << at;
        EXPECT_THAT(error.text(), HasSubstr("damaged is damaged")) << at;
      }
    }
    EXPECT_NE(set_bytes(elsewhere, "vorn.table.cut", some.substr(0, some.size() - 1)), "");
  }
  EXPECT_EQ(set_bytes(elsewhere, "vorn.table.copy", ""), "");
  EXPECT_THAT(bytes_option(elsewhere, "vorn.table.copy"), HasSubstr("no such table"));
  EXPECT_NE(set_bytes(elsewhere, "vorn.table.", bytes), "");
}

TEST_F(adbc, statistics_are_known_without_rows) {
  database in(in_folder()), other;
  connection on(in), elsewhere(other);
  const std::string file = folder_.path("some.vorn"), parquet = folder_.path("some.parquet");
  for (const std::string &path : {file, parquet})
    statement(on, fmt::format("COPY (SELECT i, t, d, h FROM sample WHERE i < 70000) TO '{}'", path)).execute();
  const std::string of_file = bytes_option(on, "vorn.statistics." + file);
  for (const char *part :
       {R"("rows":70000)", R"({"distinct":70000,"name":"i","type":"BIGINT"})", R"("distinct":80,"name":"t")",
        R"({"max":{"integer":"65535"},"min":{"integer":"0"},"nulls":0})", R"("min":{"integer":"65536"})",
        R"({"max":{"bytes":"74657874203939"},"min":{"bytes":"746578742031"},"nulls":13108})",
        R"("max":{"integer":"69999000000000000"})"})
    EXPECT_THAT(of_file, HasSubstr(part));
  const std::string of_parquet = bytes_option(on, "vorn.statistics." + parquet);
  for (const char *part : {R"("rows":70000)", R"({"distinct":70000,"name":"i","type":"BIGINT"})",
                           R"("max":{"integer":"69999"},"min":{"integer":"0"},"nulls":0)",
                           R"("max":{"bytes":"74657874203939"},"min":{"bytes":"746578742031"},"nulls":14000)"})
    EXPECT_THAT(of_parquet, HasSubstr(part));
  ASSERT_EQ(set_bytes(elsewhere, "vorn.statistics.described", of_file), "");
  statement joins(elsewhere, "SELECT count(*) FROM described a JOIN described b USING (i) WHERE a.t = 'text 1'");
  EXPECT_THAT(text_option(joins, "vorn.plan"), HasSubstr(R"("table":"described")"));
  failed_call error;
  EXPECT_NE(driver().StatementExecuteQuery(&joins, nullptr, nullptr, &error), ADBC_STATUS_OK);
  EXPECT_THAT(error.text(), HasSubstr("only planned"));
  EXPECT_THAT(set_bytes(elsewhere, "vorn.statistics.described", "{}"), HasSubstr("not the statistics"));
  EXPECT_THAT(bytes_option(on, "vorn.statistics.lost"), HasSubstr("no such table"));
}

// A query that would take hours: each row with each other one.
constexpr const char *endless = "SELECT count(*) AS c FROM sample a, sample b WHERE a.d + b.d < -1";

TEST_F(adbc, another_thread_cancels) {
  database in(in_folder());
  connection on(in);
  const struct {
    const char *query;
    bool by_connection;
  } cases[] = {{endless, false}, {endless, true}, {"SELECT a.i, b.i FROM sample a, sample b", false}};
  for (const auto &[query, by_connection] : cases) {
    SCOPED_TRACE(query);
    statement asks(on, query);
    std::atomic<bool> ended = false;
    failed_call error;
    AdbcStatusCode status = ADBC_STATUS_OK;
    std::thread runs([&] {
      status = driver().StatementExecuteQuery(&asks, nullptr, nullptr, &error);
      ended = true;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    while (!ended) {
      by_connection ? driver().ConnectionCancel(&on, nullptr) : driver().StatementCancel(&asks, nullptr);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    runs.join();
    EXPECT_EQ(status, ADBC_STATUS_CANCELLED) << error.text();
    EXPECT_EQ(error.state(), "57014");
    EXPECT_EQ(answer(on, "SELECT count(*) AS c FROM sample", "c"), rows{"200000"}) << "the connection goes on";
  }
  // A stream that is half read ends too, and a stream that nobody reads is released.
  statement asks(on, "SELECT a.i, b.i FROM sample a, sample b");
  arrow_owner<ArrowArrayStream> half = asks.execute(), unread = statement(on, "FROM sample").execute();
  ArrowArray batch{};
  ASSERT_EQ(half->get_next(&*half, &batch), 0);
  const arrow_owner<ArrowArray> owned_batch(batch);
  EXPECT_EQ(driver().StatementCancel(&asks, nullptr), ADBC_STATUS_OK);
  EXPECT_EQ(half->get_next(&*half, &batch), ECANCELED);
}

// A query that is cancelled at any moment ends as cancelled or with its rows, and the next query is right.
TEST_F(adbc, next_query_is_right_after_a_cancellation) {
  constexpr int moments = 100;
  const std::string query = "SELECT t, count(*) AS c, sum(n) AS s, max(h) AS h FROM sample JOIN (SELECT i AS j FROM "
                            "sample) ON i = j GROUP BY t ORDER BY t";
  const rows right = expected(query);
  vorn_test::random_source random(1);
  for (const char *threads : {"1", "8"}) {
    database in({{"path", folder_.path()}, {"threads", threads}});
    connection on(in);
    EXPECT_EQ(answer(on, query), right); // loads the columns
    statement timed(on, query);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(driver().StatementExecuteQuery(&timed, nullptr, nullptr, nullptr), ADBC_STATUS_OK);
    const auto whole = std::chrono::steady_clock::now() - begun;
    int cancelled = 0;
    for (int moment = 0; moment < moments; ++moment) {
      if (!random.takes_case())
        continue;
      statement asks(on, query);
      const std::jthread cancels([&, after = whole * random.below(1000) / 1000] {
        std::this_thread::sleep_for(after);
        driver().StatementCancel(&asks, nullptr);
      });
      ArrowArrayStream out{};
      failed_call error;
      AdbcStatusCode status = driver().StatementExecuteQuery(&asks, &out, nullptr, &error);
      if (status == ADBC_STATUS_OK) {
        arrow_owner stream(out);
        ArrowArray batch{};
        const int code = stream->get_next(&*stream, &batch);
        const arrow_owner<ArrowArray> owned_batch(batch);
        EXPECT_TRUE(code == 0 || code == ECANCELED) << stream->get_last_error(&*stream);
        cancelled += code != 0;
      } else {
        EXPECT_EQ(status, ADBC_STATUS_CANCELLED) << error.text();
        ++cancelled;
      }
      statement next(on, query);
      EXPECT_EQ(rows_of(next.execute()), right) << "after moment " << moment << " on " << threads << " threads";
    }
    EXPECT_GT(cancelled, 0);
  }
}

TEST_F(adbc, threads_have_a_connection_each) {
  database in(in_folder());
  const rows all = expected("SELECT k, count(*) AS c, sum(n) AS s, min(t) AS m FROM sample GROUP BY k ORDER BY k");
  rows found[3];
  std::vector<std::thread> threads;
  for (size_t i = 0; i < std::size(found); ++i)
    threads.emplace_back([&, i] {
      connection on(in);
      const std::string own = fmt::format("own{}", i);
      ingested(on, own, "create", "FROM sample", "true");
      ingested(on, "common", "create_append", fmt::format("SELECT i FROM {} WHERE i < 10", own), "true");
      for (const char *table : {"sample", own.c_str()})
        for (std::string &row :
             answer(on, fmt::format("SELECT k, count(*) AS c, sum(n) AS s, min(t) AS m FROM {} GROUP BY k ORDER BY k",
                                    table)))
          found[i].push_back(std::move(row));
    });
  for (std::thread &thread : threads)
    thread.join();
  rows twice = all;
  twice.insert(twice.end(), all.begin(), all.end());
  for (const rows &of_thread : found)
    EXPECT_EQ(of_thread, twice);
  connection on(in);
  EXPECT_EQ(answer(on, "SELECT count(*) AS c FROM common", "c"), rows{"30"});
}

} // namespace
