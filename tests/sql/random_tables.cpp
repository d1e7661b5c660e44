#include "tests/sql/random_tables.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "sql/connection.hpp"

namespace vorn_test {

namespace {

// How values of a type follow from a number without a sign.
struct value_maker {
  const char *name;
  const char *sql;
  family of;
  std::vector<std::string> constants; // beside its values
  bool is_small = false;
  summed sum = summed::exactly;
  bool is_short = true; // its values have at most 64 bits
};

const value_maker makers[] = {
    {"flag", "{0} % 2 = 0", family::boolean, {"true", "false"}},
    {"tiny", "(({0} % 256)::INT - 128)::TINYINT", family::number, {"-128", "0", "127", "128"}},
    {"short", "(({0} % 300)::INT - 150)::SMALLINT", family::number, {"-1", "0", "32767"}, true},
    {"whole", "({0} % 2000)::INT - 1000", family::number, {"0", "7", "-999", "1e2"}, true},
    {"wild",
     "(CASE {0} % 9 WHEN 0 THEN 2147483647 WHEN 1 THEN -2147483648 ELSE ({0} % 4294967296)::BIGINT - 2147483648 "
     "END)::INT",
     family::number,
     {"-2147483648", "2147483647", "2147483648", "0"}},
    {"big",
     "(CASE {0} % 9 WHEN 0 THEN 9223372036854775807 WHEN 1 THEN -9223372036854775808::HUGEINT ELSE {0}::HUGEINT - 9 "
     "END)::BIGINT",
     family::number,
     {"9223372036854775807", "-9223372036854775808", "9223372036854775808", "0.5"}},
    {"byte", "({0} % 256)::UTINYINT", family::number, {"0", "255", "-1"}},
    {"ushort", "({0} % 300)::USMALLINT", family::number, {"0", "65535"}, true},
    {"uwhole", "({0} % 4294967296 * 7919 % 4294967296)::UINTEGER", family::number, {"0", "4294967295"}},
    {"ubig",
     "(CASE {0} % 11 WHEN 0 THEN 18446744073709551615 WHEN 1 THEN 0 ELSE {0} END)::UBIGINT",
     family::number,
     {"18446744073709551615", "0", "-1"}},
    {"rate", "((({0} % 500)::INT - 250) / 100)::DECIMAL(4, 2)", family::number, {"0", "0.05", "1.505", "-2.5"}, true},
    {"price", "((({0} % 5000)::INT - 2500) / 100)::DECIMAL(9, 2)", family::number, {"0", "24.99", "-25", "1e1"}, true},
    {"sum",
     "(({0} % 70000) || '00000.125')::DECIMAL(18, 3)",
     family::number,
     {"0", "100000.125", "999999999999999.999"}},
    {"money",
     "(CASE {0} % 9 WHEN 0 THEN '9999999999999999999999999999999.99' WHEN 1 THEN "
     "'-9999999999999999999999999999999.99' "
     "ELSE ({0} % 70000) || '000000000000.25' END)::DECIMAL(38, 2)",
     family::number,
     {"0", "1000000000000.25", "9999999999999999999999999999999.99"},
     false,
     summed::exactly,
     false},
    {"single", "((({0} % 640)::INT - 320) / 8)::FLOAT", family::real, {"0", "0.125", "-40", "'nan'::FLOAT"}, true},
    {"quarter", "((({0} % 4000)::INT - 2000) / 4)::DOUBLE", family::real, {"0", "0.25", "-500", "1e2"}, true},
    {"amount", "(({0} % 10007) / 7)::DOUBLE", family::real, {"0", "0.1", "1e300"}, false, summed::rounded},
    {"real",
     "['-0', '0', 'nan', 'inf', '-inf', '1e100', '-1.7976931348623157e308', '5e-324', {0} / 7][least({0} % 20, 8)::INT "
     "+ 1]::DOUBLE",
     family::real,
     {"'-0'::DOUBLE", "0", "'nan'::DOUBLE", "'inf'::DOUBLE", "'-inf'::DOUBLE", "5e-324"},
     false,
     summed::never},
    {"day",
     "DATE '1970-01-01' + ({0} % 9000)::INT - 4500",
     family::day,
     {"DATE '1970-01-01'", "DATE '1969-12-31'", "DATE '0001-01-01'"}},
    {"epoch",
     "CASE {0} % 9 WHEN 0 THEN DATE '0001-01-01' WHEN 1 THEN DATE '9999-12-31' WHEN 2 THEN DATE '0044-03-15 (BC)' "
     "ELSE DATE '1992-01-01' + ({0} % 2557)::INT END",
     family::day,
     {"DATE '1995-06-17'", "DATE '9999-12-31'"}},
    {"clock",
     "TIME '00:00:00' + to_microseconds(({0} % 4294967296 * 7919 % 86399000000)::BIGINT)",
     family::clock,
     {"TIME '12:00:00'", "TIME '00:00:00'"}},
    {"moment",
     "TIMESTAMP '1969-12-31' + to_microseconds(({0} % 4294967296 * 7919 % 864000000000)::BIGINT)",
     family::moment,
     {"TIMESTAMP '1970-01-01'", "TIMESTAMP '1970-01-02 03:04:05.678'"}},
    {"nano",
     "make_timestamp_ns(({0} % 4294967296 * 7919 % 86400000000000)::BIGINT)",
     family::nano,
     {"TIMESTAMP_NS '1970-01-01 12:00:00.123456789'"}},
    {"instant",
     "(TIMESTAMP '1969-12-31' + to_microseconds(({0} % 4294967296 * 7919 % 864000000000)::BIGINT))::TIMESTAMPTZ",
     family::instant,
     {"TIMESTAMPTZ '1970-01-01 00:00:00+00'", "TIMESTAMPTZ '1969-12-31 23:00:00+00'"}},
    {"id", "md5({0}::VARCHAR)::UUID", family::id, {"md5('1')::UUID", "'00000000-0000-0000-0000-000000000000'::UUID"}},
    {"bytes",
     "encode(CASE {0} % 9 WHEN 0 THEN '' ELSE 'b' || ({0} % 500) END)",
     family::blob,
     {"''::BLOB", "'b12'::BLOB", "'\\x00'::BLOB"}},
    {"text",
     "['', 'a', '\xC3\xA9' || {0} % 50, 'more than twelve ' || {0}, 'a' || ({0} % 50), 'B%_'][({0} % 6)::INT + 1]",
     family::text,
     {"''", "'a'", "'a12'", "'\xC3\xA9'", "'more'", "'B%_'"}},
    {"word",
     "['PROMO BRUSHED', 'special requests', 'AIR', 'air', 'REG AIR', 'MED BOX'][({0} % 6)::INT + 1]",
     family::text,
     {"'AIR'", "'MED BOX'", "''"}},
    {"code", "lpad(({0} % 9000)::VARCHAR, 6, '0')", family::text, {"'000012'", "'0'"}}, // of one length
};

// Keys by which tables are joined, of the same types in each of them.
constexpr size_t key_makers[] = {3, 5, 10, 12, 15, 18, 21, 24, 26, 28}; // of `makers`

} // namespace

random_database random_tables(dice &random) {
  random_database made;
  std::vector<random_table> &out = made.tables;
  std::map<std::string, bool> may_be_keys; // whether a column can be stored as plain or packed numbers
  const value_maker &first_key = makers[random.of(key_makers)], &second_key = makers[random.of(key_makers)];
  const uint64_t most[] = {random.one_in(8) ? 80'000U : 3'000U, 600, 120, random.one_in(4) ? 1U : 25U};
  for (size_t t = 0; t < std::size(most); ++t) {
    random_table &table = out.emplace_back();
    table.name = fmt::format("t{}", t);
    const uint64_t rows = most[t] / 2 + random.below(most[t] / 2 + 1);
    table.rows = static_cast<double>(rows);
    const auto add = [&](const std::string &name, const value_maker &maker, const std::string &number,
                         uint64_t distinct) {
      const uint64_t null_percent = random.one_in(30) ? 100 : random.one_in(3) ? 0 : random.of({1U, 8U, 50U});
      const std::string value = fmt::format(fmt::runtime(maker.sql), number);
      table.made +=
          fmt::format("{} CASE WHEN hash(i, {}) % 100 >= {} THEN {} END AS {}", table.made.empty() ? "SELECT" : ",",
                      table.columns.size() + 100 * t, null_percent, value, name);
      random_column &column = table.columns.emplace_back();
      column.sql = name;
      column.of = maker.of;
      column.is_small = maker.is_small;
      column.sum = maker.sum;
      column.distinct = std::max(1.0, static_cast<double>(std::min(distinct, rows)));
      column.nulls = static_cast<double>(null_percent) / 100;
      column.constants = maker.constants;
      bool &may_be_key = may_be_keys
                             .try_emplace(name, maker.is_short && maker.of != family::text &&
                                                    maker.of != family::blob && maker.of != family::id)
                             .first->second;
      may_be_key = may_be_key && null_percent == 0;
      column.key = name == "k" || name == "l" ? name : "";
    };
    table.made = "SELECT i::INT AS row";
    table.columns.push_back({.sql = "row", .is_small = rows <= 3'000, .distinct = table.rows + 1, .key = "row"});
    // A key of the small tables has each value once, mostly.
    add("k", first_key, t == 0 || random.one_in(3) ? fmt::format("(hash(i, {}) // 64 % 150)", t) : "i::UBIGINT", 150);
    add("l", second_key, fmt::format("(hash(i, {}) // 64 % 30)", t), 30);
    for (size_t m = random.below(3); m < std::size(makers); m += 1 + random.below(4)) {
      constexpr uint64_t counts[] = {1, 2, 9, 40, 300, 70'000, uint64_t{1} << 57};
      const uint64_t distinct = random.of(counts);
      add(makers[m].name, makers[m],
          random.one_in(4) ? fmt::format("(i // {} % {})::UBIGINT", random.of({5U, 90U, 1'100U}), distinct)
                           : fmt::format("(hash(i, {}) // 64 % {})", table.columns.size() + 20 * t, distinct),
          distinct);
    }
    table.made += fmt::format(" FROM range({}) made(i)", rows);
  }
  for (const auto &[name, may_be_key] : may_be_keys)
    if (random.one_in(3))
      made.encodings[name] = random.of({"dict", "rle", "dict+qpak", "rle+qpak"});
    else if (may_be_key && random.one_in(2))
      made.encodings[name] = random.of({"prefix", "fixed", "dynp", "fixed+qpak", "dynp+qpak"});
  return made;
}

namespace {

// Some values of a column as SQL, from their type and their texts.
void add_constants(random_column &to, const std::string &type, std::span<const std::string> texts) {
  for (const std::string &text : texts) {
    std::string quoted;
    for (const char c : text)
      quoted += c == '\'' ? "''" : std::string(1, c);
    to.constants.push_back(to.of == family::number ? text : fmt::format("'{}'::{}", quoted, type));
  }
}

} // namespace

store::choice_map write_tables(const scratch_folder &folder, random_database &made) {
  store::duckdb::connection db(1);
  for (random_table &table : made.tables) {
    const std::string file = folder.path(table.name + ".parquet");
    // Without its dictionary DuckDB's writer tells -0.0 from 0.0.
    db.query(fmt::format("COPY ({}) TO '{}' (DICTIONARY_SIZE_LIMIT 1)", table.made, file));
    for (random_column &column : table.columns) {
      std::vector<std::string> texts;
      std::string type;
      auto some = db.query(
          fmt::format("SELECT typeof({0}), {0}::VARCHAR FROM (SELECT DISTINCT {0} FROM '{1}' WHERE {0} IS NOT NULL "
                      "AND row % 7 = 0 ORDER BY 1 LIMIT 4)",
                      column.sql, file));
      while (const auto rows = some.next())
        for (uint64_t row = 0; row < rows->rows(); ++row) {
          type = rows->column(0).text(row);
          texts.emplace_back(rows->column(1).text(row));
        }
      add_constants(column, type, texts);
    }
  }
  store::choice_map out;
  for (const auto &[name, text] : made.encodings)
    out[name] = store::parse_encoding(text);
  return out;
}

} // namespace vorn_test
