// A CSV file of the input's bytes.  Its columns, in every encoding that can store them, have the values that DuckDB
// reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "fuzz/store/targets.hpp"
#include "sql/table_file.hpp"
#include "sql/values.hpp"
#include "store/error.hpp"
#include "tests/store/scratch_folder.hpp"
#include "tests/store/stored_values.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

constexpr encoding_choice choices[] = {{},
                                       {encoding::dict, true},
                                       {encoding::rle, false},
                                       {encoding::rle, true},
                                       {encoding::fixed, false},
                                       {encoding::dynp, false},
                                       {encoding::dynp, true},
                                       {encoding::prefix, false}};

// Only encodings that cannot store every value may refuse what DuckDB reads.
bool stores_everything(const encoding_choice &choice) {
  return !choice.form || choice.form == encoding::dict || choice.form == encoding::rle;
}

// All stored columns, read at once.
duckdb::result all_values(duckdb::connection &db, const table_file &file) {
  std::vector<std::string> values;
  for (const column_info &info : file.columns())
    if (info.type)
      values.push_back(sql_values(info.name, *info.type));
  return db.query(fmt::format("SELECT {} FROM {}", fmt::join(values, ", "), file.sql()));
}

void expect_values(const column &read, const std::vector<duckdb::chunk> &expected, uint64_t number) {
  auto chunk = expected.begin();
  uint64_t rows = 0, in_chunk = 0;
  vorn_test::for_each_value(context(), read, [&](const cell &value) {
    while (chunk != expected.end() && in_chunk == chunk->rows()) {
      ++chunk;
      in_chunk = 0;
    }
    ASSERT_NE(chunk, expected.end());
    ASSERT_EQ(value, value_at(chunk->column(number), in_chunk++, read.type.kind)) << read.name << " row " << rows;
    ++rows;
  });
  uint64_t expected_rows = 0;
  for (const duckdb::chunk &of : expected)
    expected_rows += of.rows();
  EXPECT_EQ(rows, expected_rows);
  EXPECT_EQ(rows, read.rows);
}

} // namespace

void csv(input &from) {
  static const vorn_test::scratch_folder folder;
  static duckdb::connection db(1);
  const auto loaded = from.ConsumeIntegralInRange<uint64_t>(0, 3);
  const std::filesystem::path path = folder.write("t.csv", from.ConsumeRemainingBytesAsString());
  std::optional<table_file> file;
  std::vector<duckdb::chunk> expected;
  try {
    file.emplace(db, path);
    if (std::ranges::none_of(file->columns(), [](const column_info &info) { return info.type.has_value(); }))
      return;
    auto rows = all_values(db, *file);
    while (auto chunk = rows.next())
      expected.push_back(std::move(*chunk));
  } catch (const error &) {
    return;
  }
  uint64_t number = 0;
  for (const column_info &info : file->columns()) {
    if (!info.type)
      continue;
    for (const encoding_choice &choice : choices)
      try {
        column_builder building(info, choice);
        for (const duckdb::chunk &chunk : expected)
          append_values(building, chunk.column(number), chunk.rows(), info.type->kind);
        expect_values(building.finish(), expected, number);
      } catch (const error &e) {
        EXPECT_FALSE(stores_everything(choice)) << e.what();
      }
    if (number == loaded)
      expect_values(file->load(info, {}, [](uint64_t) {}), expected, number);
    ++number;
  }
}

} // namespace vorn_fuzz
