// Tables for queries of tests: columns of every type with NULLs and both zeros, a second table to be joined, and an
// empty one.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "sql/connection.hpp"
#include "store/encode/encoder.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_test {

// The columns of a row `i` with a number `r` that looks random.
inline constexpr const char *first_columns =
    "SELECT i, ['', 'a', 'a longer text than others', NULL, 'ab', '\xC3\xA9'][(r % 6)::INT + 1] AS t, "
    "i // 40 % 9 AS runs, (r % 300)::INT - 150 AS n, nullif((r % 50)::SMALLINT, 7) AS small, "
    "CASE WHEN r % 3 = 0 THEN 9223372036854775807 ELSE (-9223372036854775808 + r % 5)::BIGINT END AS big, "
    "18446744073709551615 - (r % 4)::UBIGINT AS nat, ((r % 9)::HUGEINT - 4) * 100000000000000000000000000 AS huge, "
    "((r % 1000)::INT - 500)::DECIMAL(9, 2) / 8 AS eighth, ((r % 1000)::INT - 500)::DECIMAL(9, 2) AS price, "
    "nullif((r % 100)::DOUBLE / 7, 2) - 5 AS d, (r % 64)::FLOAT / 10 AS f, "
    "['-0', '0', 'nan', '1', '-inf'][(r % 5)::INT + 1]::DOUBLE AS odd, DATE '2000-01-01' + (r % 20)::INT AS day, "
    "TIME '00:00:00' + to_seconds((r % 86400)::BIGINT) AS clock, "
    "TIMESTAMP '1999-12-31 23:59:00' + to_microseconds((r % 9000000000)::BIGINT) AS moment, "
    "make_timestamp_ns((r % 86400000000000)::BIGINT) AS nano, "
    "nullif(TIMESTAMPTZ '2001-01-15 10:30:00+00' + to_seconds((r % 5 * 3600)::BIGINT), '2001-01-15 11:30:00+00') AS "
    "zoned, md5((r % 90)::VARCHAR)::UUID AS id, ['', 'a', 'a\\x00\\xFF'::BLOB, NULL][(r % 4)::INT + 1] AS raw, "
    "'k' || (r % 40) AS key, lpad((r % 900)::VARCHAR, 6, '0') AS code, NULL::INTEGER AS none, r % 2 = 0 AS flag";
inline constexpr const char *second_columns =
    "SELECT 'k' || (i + 5) AS k, nullif((r % 4)::INT, 2) AS u, (r % 90)::DOUBLE / 9 AS w, "
    "['0', '-0', 'nan', '2', '1'][(r % 5)::INT + 1]::DOUBLE AS odd, ((r % 40)::HUGEINT - 4) * "
    "100000000000000000000000000 AS huge, (r % 400)::DECIMAL(18, 2) AS price, DATE '2000-01-01' + (r % 40)::INT AS "
    "day, ['a', 'ab', '', NULL][(r % 4)::INT + 1] AS t, (r % 60)::BIGINT - 30 AS n";

// How the tables are stored.
struct table_storage {
  uint64_t rows;   // of the first table
  uint64_t copies; // of each row of the second one
  store::choice_map encodings;
};

inline std::vector<table_storage> table_storages() {
  const auto choices = [](std::initializer_list<std::pair<const char *, const char *>> forms) {
    store::choice_map out;
    for (const auto &[name, form] : forms)
      out[name] = store::parse_encoding(form);
    return out;
  };
  return {{store::row_group_rows + 900, 1, {}},
          {3000, 2,
           choices({{"t", "rle"},
                    {"n", "fixed"},
                    {"big", "dynp+qpak"},
                    {"f", "fixed"},
                    {"day", "prefix"},
                    {"key", "dict+qpak"},
                    {"runs", "dynp"},
                    {"code", "prefix"},
                    {"moment", "dynp"},
                    {"flag", "rle"},
                    {"eighth", "fixed+qpak"},
                    {"nat", "prefix"}})},
          {store::row_group_rows, 1,
           choices({{"t", "dict+qpak"},
                    {"n", "rle"},
                    {"nat", "dynp+qpak"},
                    {"price", "prefix"},
                    {"day", "rle"},
                    {"d", "rle"},
                    {"odd", "fixed"},
                    {"huge", "rle+qpak"},
                    {"clock", "fixed"},
                    {"nano", "dynp"},
                    {"raw", "rle"},
                    {"id", "dict+qpak"},
                    {"i", "fixed"}})},
          {64, 1, {}},
          {65, 0, choices({{"n", "dynp"}, {"d", "rle"}})},
          {1, 3, {}},
          {0, 1, {}}};
}

// Files one.parquet and other.parquet.
inline void write_tables(const scratch_folder &folder, const table_storage &stored) {
  // Without its dictionary DuckDB's writer tells -0.0 from 0.0.
  const auto copy = [&](const std::string &rows, const char *file) {
    store::duckdb::connection(1).query(
        fmt::format("COPY ({}) TO '{}' (DICTIONARY_SIZE_LIMIT 1)", rows, folder.path(file)));
  };
  const auto from = [](uint64_t rows) {
    return fmt::format(" FROM (SELECT i, hash(i) // 64 AS r FROM range({}) made(i))", rows);
  };
  copy(first_columns + from(stored.rows), "one.parquet");
  copy(fmt::format("SELECT t.* FROM ({}{}) t, range({})", second_columns, from(30), stored.copies), "other.parquet");
}

} // namespace vorn_test
