// A CSV file of the input's bytes: its columns, encoded in forms that the input picks, have the values that DuckDB
// gives.
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include <fmt/format.h>

#include "fuzz/store/targets.hpp"
#include "store/decode/row_reader.hpp"
#include "store/duckdb/table_file.hpp"
#include "store/duckdb/values.hpp"
#include "store/error.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

encoding_choice choice_from(input &from) {
  constexpr std::optional<encoding> forms[] = {std::nullopt,   encoding::dict,   encoding::rle, encoding::fixed,
                                               encoding::dynp, encoding::prefix, std::nullopt};
  encoding_choice out{from.PickValueInArray(forms), from.ConsumeBool()};
  out.compressed = out.compressed && out.form != encoding::prefix;
  return out;
}

void expect_values(const column &read, duckdb::result expected) {
  row_reader reader(context(), read, nullptr);
  std::span<const cell> some;
  uint64_t rows = 0, in_block = 0;
  while (const auto chunk = expected.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row, ++rows, ++in_block) {
      if (in_block == some.size()) {
        some = reader.next();
        in_block = 0;
      }
      ASSERT_LT(in_block, some.size());
      ASSERT_EQ(some[in_block], value_at(chunk->column(0), row, read.type.kind)) << read.name << " row " << rows;
    }
  EXPECT_EQ(in_block, some.size());
  EXPECT_TRUE(reader.next().empty());
  EXPECT_EQ(rows, read.rows);
}

} // namespace

void csv(input &from) {
  static const vorn_test::scratch_folder folder;
  static duckdb::connection db(1);
  encoding_choice choices[4];
  for (encoding_choice &choice : choices)
    choice = choice_from(from);
  const std::filesystem::path path = folder.write("t.csv", from.ConsumeRemainingBytesAsString());
  std::optional<table_file> file;
  try {
    file.emplace(db, path);
  } catch (const error &) {
    return;
  }
  size_t number = 0;
  for (const column_info &info : file->columns()) {
    if (!info.type)
      continue;
    const encoding_choice &choice = choices[number++ % std::size(choices)];
    const auto expected = [&] {
      return db.query(fmt::format("SELECT {} FROM {}", sql_values(info.file_name(), *info.type), file->sql()));
    };
    try {
      file->check_encoding(info, choice);
      const column read = file->load(info, choice, [](uint64_t) {});
      expect_values(read, expected());
    } catch (const error &e) {
      // Only the forms that do not store everything may refuse what DuckDB reads.
      if (!choice.form || choice.form == encoding::dict || choice.form == encoding::rle)
        EXPECT_THROW(expected(), error) << e.what();
    }
  }
}

} // namespace vorn_fuzz
