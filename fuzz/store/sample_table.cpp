#include "fuzz/store/sample_table.hpp"

#include <deque>

#include <fmt/format.h>

#include "sql/values.hpp"
#include "tests/store/scratch_folder.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

constexpr const char *sample_columns[][3] = {
    {"origin", "[NULL, '', 'ATL', 'ORD', 'O''Hare <main>', 'A\xc3\xa9%_', 'between'][i % 7 + 1]"},
    {"a<\"b\"", "CASE WHEN i % 11 <> 0 THEN chr(97 + (i % 5)::INT) || i % 3 END", "dict+qpak"},
    {"A", "(i // 9)::VARCHAR", "rle"},
    {"n", "nullif(i % 13 - 6, 5)::INTEGER"},
    {"steps", "(i % 13)::INTEGER", "dynp+qpak"},
    {"checked in", "(i * 3)::SMALLINT", "fixed+qpak"},
    {"check", "CASE WHEN i > 20 THEN i // 30 END::UTINYINT", "rle+qpak"},
    {"f", "[NULL, 'nan'::FLOAT, '-inf', 'inf', 0.1, -0.0, 1e-45, 16777217][i % 8 + 1]"},
    {"d", "(['nan'::DOUBLE, 'inf', 1e308, 0.1, -0.0, 5e-324, 9007199254740993][i % 7 + 1])::DOUBLE", "fixed"},
    {"price", "(i * 0.25 - 5)::DECIMAL(9,2)", "dynp"},
    {"wide", "CASE WHEN i % 4 <> 0 THEN (i - 33)::DECIMAL(38,10) / 8 END::DECIMAL(38,10)"},
    {"huge", "[NULL, 1, -5, 99999999999999999999999999999999999999][i % 4 + 1]::DECIMAL(38,0)"},
    {"2 * \"n\", steps", "i::INTEGER % 4", "rle"},
    {"big", "[0, 5, 9223372036854775808, 18446744073709551615][i % 4 + 1]::UBIGINT", "fixed"},
    {"flag", "[NULL, true, false][i % 3 + 1]"},
    {"day", "[NULL, DATE '2001-01-15', DATE '1969-12-31', 'infinity', DATE '0044-03-15 (BC)'][i % 5 + 1]"},
    {"clock", "TIME '00:00:00' + to_seconds(i * 1300)", "dynp"},
    {"flight date", "TIMESTAMP '2001-01-15 10:30:00' + to_seconds(i * 1800)", "fixed"},
    {"ns", "make_timestamp_ns(i * 999999999)"},
    {"zoned", "TIMESTAMPTZ '2001-01-15 10:30:00+00' + to_seconds(i % 5 * 3600)", "dynp"},
    {"id", "('00112233-4455-6677-8899-aabbccddee' || lpad(i::VARCHAR, 2, '0'))::UUID"},
    {"raw", "['', 'a', 'a\\x00\\xFF'::BLOB, NULL][i % 4 + 1]"},
    {"none", "NULL::INTEGER"},
    {"list", "[i]"},
};

// What is kept for all runs.
struct sample_source {
  vorn_test::scratch_folder folder;
  duckdb::connection db{1};
  std::deque<std::string> texts; // of the cells
  std::optional<reference> copied;
  sample_table table;

  sample_source() {
    std::string sql;
    for (const auto &[name, expression, form] : sample_columns)
      sql += fmt::format("{} AS {}, ", expression, duckdb::quoted_name(name));
    db.query(fmt::format("COPY (SELECT {} FROM range(70) made(i)) TO '{}'", sql, folder.path("t.parquet")));
    const table_file file(db, std::filesystem::path(folder.path("t.parquet")));
    table.columns = file.columns();
    table.rows = file.rows();
    std::vector<std::string> names;
    for (size_t i = 0; i < std::size(sample_columns); ++i)
      if (const column_info &info = table.columns[i]; info.type) {
        const char *form = sample_columns[i][2];
        names.push_back(info.name);
        table.encoded.emplace(
            info.name, file.load(info, form != nullptr ? parse_encoding(form) : encoding_choice(), [](uint64_t) {}));
        read(info, file);
      }
    copied.emplace(db, file, names);
  }

  void read(const column_info &info, const table_file &file) {
    std::vector<cell> &cells = table.cells[info.name];
    auto rows = db.query(fmt::format("SELECT {} FROM {}", sql_values(info.name, *info.type), file.sql()));
    while (const auto chunk = rows.next())
      for (uint64_t row = 0; row < chunk->rows(); ++row) {
        cell c = value_at(chunk->column(0), row, info.type->kind);
        if (auto *text = std::get_if<std::string_view>(&c))
          *text = texts.emplace_back(*text);
        cells.push_back(c);
      }
  }
};

const sample_source &source() {
  static const sample_source made;
  return made;
}

} // namespace

const sample_table &sample() { return source().table; }

std::vector<bool> sample_table::selected(const std::string &condition_sql) const {
  return source().copied->rows(condition_sql);
}

} // namespace vorn_fuzz
