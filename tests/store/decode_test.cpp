// Values decoded from every stored form are those that were loaded.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "sql/table_file.hpp"
#include "sql/values.hpp"
#include "sql/verify_rows.hpp"
#include "store/error.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/support/implementation.hpp"

namespace {

using namespace store;

column load(const table_file &file, const std::string &name, const encoding_choice &choice) {
  return file.load(file.find(name), choice, [](uint64_t) {});
}

// Decodes all rows and compares each with DuckDB's.
verification decoded(const vorn_ctx &ctx, const column &c, duckdb::connection &db, const table_file &file,
                     std::string *first = nullptr) {
  const column *columns[] = {&c};
  return verify_rows(ctx, columns, nullptr,
                     db.query(fmt::format("SELECT {} FROM {}", sql_values(c.name, c.type), file.sql())), 1,
                     [&](row_block rows) {
                       EXPECT_EQ(rows[0].size(), 1U);
                       if (first != nullptr)
                         append_text(*first, rows[0][0], c.type);
                     });
}

vorn_ctx decompressing(vorn_host::environment &env) {
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  return ctx;
}

TEST(decode, gives_back_the_flights_from_every_encoding) {
  ASSERT_TRUE(std::filesystem::exists(FLIGHTS)) << "tools/fetch-data brings the flights";
  const vorn_test::scratch_folder folder;
  duckdb::connection db;
  const std::string some = folder.path("some.parquet");
  db.query(fmt::format("COPY (FROM '{}' LIMIT {}) TO {}", FLIGHTS, FLIGHT_ROWS, duckdb::quoted_text(some)));
  const table_file file(db, some);
  ASSERT_EQ(file.rows(), FLIGHT_ROWS);
  // The environment owns what is decompressed, so it is one for all.
  vorn_host::environment env;
  for (const auto &info : file.columns()) {
    ASSERT_TRUE(info.type) << info.name;
    for (encoding form : {encoding::dict, encoding::rle, encoding::fixed, encoding::dynp, encoding::prefix}) {
      if (info.type->kind == value_kind::text && (form == encoding::fixed || form == encoding::dynp))
        continue;
      column plain = load(file, info.name, {form, false});
      std::optional<column> compressed;
      if (form != encoding::prefix) {
        compressed = plain;
        compress(*compressed);
      }
      for (const auto &which : vorn_test::implementations) {
        if (!vorn_test::runs_here(which))
          continue;
        ASSERT_NO_FATAL_FAILURE(vorn_test::put_in_force(which, env));
        SCOPED_TRACE(fmt::format("{} as {} by {}", info.name, encoding_name(form), which.name));
        const vorn_ctx ctx = decompressing(env);
        for (const column *c : {&plain, compressed ? &*compressed : nullptr})
          if (c != nullptr) {
            const verification rows = decoded(ctx, *c, db, file);
            EXPECT_EQ(rows.count, FLIGHT_ROWS);
            EXPECT_TRUE(rows.agree) << (c->compressed ? "compressed" : "plain");
          }
      }
    }
  }
  vorn_global_ctx = vorn_test::initial_global_ctx;
}

TEST(decode, knows_texts_from_null) {
  const vorn_test::scratch_folder folder;
  duckdb::connection db;
  vorn_host::environment env;
  const auto file_of = [&](uint64_t characters) {
    const std::string path = folder.path(fmt::format("{}.parquet", characters));
    db.query(fmt::format("COPY (SELECT repeat('x', {}) AS t) TO {}", characters, duckdb::quoted_text(path)));
    return table_file(db, path);
  };
  // Empty texts alone have one symbol, of length 0.
  const table_file empty = file_of(0);
  std::string first;
  EXPECT_TRUE(decoded(decompressing(env), load(empty, "t", {encoding::dict, false}), db, empty, &first).agree);
  EXPECT_EQ(first, "");
  EXPECT_THROW(load(empty, "t", {encoding::prefix, false}), error);

  const table_file longest = file_of(65'535);
  EXPECT_TRUE(decoded(decompressing(env), load(longest, "t", {encoding::dict, false}), db, longest, &first).agree);
  EXPECT_EQ(first.size(), 65'535U);
  EXPECT_THROW(load(file_of(65'536), "t", {encoding::dict, false}), error);
}

} // namespace
