// Each allocation of the host fails in turn: the answer is right, or an error says so and the next answer is right.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "adbc/adbc.h"
#include "store/arrow/export.hpp"
#include "store/arrow/import.hpp"
#include "store/error.hpp"
#include "store/logical/text.hpp"
#include "tests/anomaly/anomaly_tables.hpp"
#include "tests/anomaly/failures.hpp"
#include "tests/store/saved_sample.hpp"
#include "vornq/output_file.hpp"

namespace {

using namespace vorn_test;

constexpr uint64_t few = 30; // where a run takes long
constexpr anomaly of_memory[] = {anomaly::no_memory, anomaly::no_memory_any_more};

class memory : public testing::Test {
protected:
  anomaly_tables tables;
};

TEST_F(memory, of_operators) {
  for (const char *sql : anomaly_queries) {
    const store::logical::query planned = tables.both.plan(sql);
    for (const uint32_t threads : {1U, 2U})
      walk(fmt::format("{}, {} threads", sql, threads), of_memory, [&] { return tables.answered(planned, threads); });
  }
}

TEST_F(memory, of_planning) {
  for (const char *sql : {anomaly_queries[0], anomaly_queries[3], "FROM range(10) r(i) SELECT sum(i)"})
    walk(
        fmt::format("plan of {}", sql), of_memory, [&] { return store::logical::to_text(tables.both.plan(sql).root); },
        {}, few);
}

TEST_F(memory, of_loading) {
  for (const char *name : {"one.parquet", "other.parquet"})
    walk(
        fmt::format("loading of {}", name), of_memory, [&] { return tables.loaded(name); }, {}, few);
}

TEST_F(memory, of_saved_tables) {
  walk(
      "save", of_memory, [&] { return tables.saved(); }, [&] { tables.judge_saved(); });
  static_cast<void>(tables.saved());
  walk("open", of_memory, [&] { return tables.opened(); });
}

TEST_F(memory, of_written_files) {
  for (const char *name : {"x.csv", "x.json", "x.arrow", "x.parquet"})
    walk(
        name, of_memory, [&] { return tables.written(name); }, [&] { tables.judge_written(name); });
}

TEST_F(memory, of_arrow_data) {
  const std::vector<const store::column *> columns = tables.columns_of("one");
  walk("Arrow", of_memory, [&] {
    store::arrow_owner<ArrowArrayStream> stream = store::exported_rows(tables.ctx, columns, std::nullopt);
    const store::arrow_table taken = store::import_arrow(*stream);
    const failing::pause of_failures;
    std::string out;
    for (const store::column *c : taken.in_order())
      out += content(tables.ctx, *c);
    return out;
  });
}

// Records of the driver that are released whatever happens.
struct driver_records {
  AdbcDatabase database{};
  AdbcConnection connection{};
  AdbcStatement statement{};
  AdbcError error{nullptr, ADBC_ERROR_VENDOR_CODE_PRIVATE_DATA, {}, nullptr, nullptr, nullptr};
  AdbcDriver driver{};

  driver_records() { check(AdbcDriverVornInit(ADBC_VERSION_1_1_0, &driver, &error)); }
  driver_records(const driver_records &) = delete;
  ~driver_records() {
    if (statement.private_data != nullptr)
      driver.StatementRelease(&statement, nullptr);
    if (connection.private_data != nullptr)
      driver.ConnectionRelease(&connection, nullptr);
    if (database.private_data != nullptr)
      driver.DatabaseRelease(&database, nullptr);
    if (error.release != nullptr)
      error.release(&error);
  }

  void check(AdbcStatusCode status) const {
    if (status != ADBC_STATUS_OK)
      throw store::error(error.message != nullptr ? error.message : "no message");
  }
  void open(const std::string &path) {
    check(driver.DatabaseNew(&database, &error));
    check(driver.DatabaseSetOption(&database, "path", path.c_str(), &error));
    check(driver.DatabaseSetOption(&database, "threads", "2", &error));
    check(driver.DatabaseInit(&database, &error));
    check(driver.ConnectionNew(&connection, &error));
    check(driver.ConnectionInit(&connection, &database, &error));
  }
  // The rows and the first values of the first column, of a query or of the metadata.
  std::string read(ArrowArrayStream &given) const {
    store::arrow_owner<ArrowArrayStream> stream(given);
    std::string out;
    for (;;) {
      ArrowArray batch{};
      if (const int code = stream->get_next(&*stream, &batch); code != 0) {
        const char *why = stream->get_last_error(&*stream);
        throw store::error(why != nullptr ? why : "no message");
      }
      const store::arrow_owner<ArrowArray> owned(batch);
      if (batch.release == nullptr && out.empty())
        return "no rows";
      if (batch.length == 0 || batch.n_children == 0)
        return out;
      out += fmt::format("{} rows ", batch.length);
    }
  }
  std::string query(const std::string &sql, ArrowArrayStream *bound = nullptr, const char *target = nullptr) {
    check(driver.StatementNew(&connection, &statement, &error));
    if (target != nullptr) {
      check(driver.StatementSetOption(&statement, ADBC_INGEST_OPTION_TARGET_TABLE, target, &error));
      check(driver.StatementSetOption(&statement, ADBC_INGEST_OPTION_MODE, ADBC_INGEST_OPTION_MODE_REPLACE, &error));
    } else {
      check(driver.StatementSetSqlQuery(&statement, sql.c_str(), &error));
    }
    if (bound != nullptr)
      check(driver.StatementBindStream(&statement, bound, &error));
    ArrowArrayStream stream{};
    check(driver.StatementExecuteQuery(&statement, &stream, nullptr, &error));
    std::string out = read(stream);
    check(driver.StatementRelease(&statement, &error));
    return out;
  }
};

TEST_F(memory, of_the_driver) {
  const std::vector<const store::column *> columns = tables.columns_of("other");
  walk(
      "driver", of_memory,
      [&] {
        driver_records on;
        on.open(tables.folder.path());
        std::string out = on.query("SELECT key, count(*) FROM one GROUP BY key");
        store::arrow_owner<ArrowArrayStream> rows = store::exported_rows(tables.ctx, columns, std::nullopt);
        out += on.query("", &*rows, "taken");
        out += on.query("SELECT k, w FROM taken WHERE u > 1");
        ArrowArrayStream objects{};
        on.check(on.driver.ConnectionGetObjects(&on.connection, 0, nullptr, nullptr, nullptr, nullptr, nullptr,
                                                &objects, &on.error));
        return out + on.read(objects);
      },
      {}, few);
}

} // namespace
