// Arrow arrays of DuckDB and arrays built by hand come in, and what goes out is held against them.
#include <cerrno>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/ranges.h>

#include "host/stand_in.hpp"
#include "sql/connection.hpp"
#include "store/arrow/export.hpp"
#include "store/arrow/exported.hpp"
#include "store/arrow/import.hpp"
#include "store/arrow/owner.hpp"
#include "store/error.hpp"
#include "tests/store/stored_values.hpp"

extern "C" {
int duckdb_query_arrow(void *connection, const char *query, void **result);
int duckdb_query_arrow_schema(void *result, void **schema);
int duckdb_query_arrow_array(void *result, void **array);
void duckdb_destroy_arrow(void **result);
int duckdb_arrow_scan(void *connection, const char *view, ArrowArrayStream *stream);
}

namespace {

using namespace store;

struct arrow_database {
  duckdb::connection connection;

  arrow_table query(const std::string &sql, const choice_map &choices = {}) {
    void *result = nullptr;
    EXPECT_EQ(duckdb_query_arrow(connection.opened(), sql.c_str(), &result), 0) << sql;
    ArrowSchema schema{};
    ArrowArray array{};
    void *out = &schema;
    duckdb_query_arrow_schema(result, &out);
    arrow_importer importer(*arrow_owner(schema), choices);
    for (out = &array; duckdb_query_arrow_array(result, &out) == 0 && array.release != nullptr;)
      importer.add(*arrow_owner(array));
    duckdb_destroy_arrow(&result);
    return importer.finish();
  }
  int64_t number(const std::string &sql) {
    const column answer = query(sql).encoded.begin()->second;
    return std::get<int64_t>(answer.value_of(answer.first_ordinal()));
  }
  void copy(arrow_owner<ArrowArrayStream> stream, const char *table) {
    // DuckDB leaves schemas to their stream and releases none.
    static ArrowSchema lent;
    ASSERT_EQ(stream->get_schema(&*stream, &lent), 0);
    const arrow_owner<ArrowSchema> owned(ArrowSchema{lent});
    stream->get_schema = [](auto *, auto *schema) { return *schema = lent, 0; };
    ASSERT_EQ(duckdb_arrow_scan(connection.opened(), "incoming", &*stream), 0);
    query(fmt::format("CREATE OR REPLACE TABLE {} AS FROM incoming", table));
  }
};

template <class Element>
Element *at(const ArrowArray &of, int number) {
  return static_cast<Element *>(const_cast<void *>(of.buffers[number]));
}

constexpr const char *every_type =
    "CREATE TABLE original AS SELECT i, bool, tinyint, smallint, \"int\" AS int4, bigint, utinyint, usmallint, "
    "uint, ubigint, hugeint // 2 AS huge, date, time, timestamp, timestamp_s, timestamp_ms, timestamp_ns, "
    "timestamp_tz, float, double, dec_4_1, dec_9_4, dec_18_6, dec38_10, uuid, blob, small_enum, CASE WHEN i % 5 "
    "< 4 THEN varchar END AS t, i // 100 AS runs, nullif(i % 1000, 7)::SMALLINT AS n, 'text ' || repeat('x', (i "
    "% 20)::INT) AS x, i % 3 = 0 AS b, (i * 7919) % 100000 / 64 AS d, NULL::INT AS none, uuid() AS u FROM "
    "range(66000) r(i) LEFT JOIN (SELECT *, row_number() OVER () AS k FROM test_all_types()) ON i % 4 = k ORDER "
    "BY i";

TEST(arrow, every_type_goes_from_duckdb_and_back) {
  arrow_database db;
  db.query(every_type);
  vorn_host::environment env;
  const vorn_ctx ctx = env.context();
  for (const char *setting :
       {"arrow_large_buffer_size = false", "arrow_large_buffer_size = true", "arrow_output_version = '1.4'",
        "produce_arrow_string_view = true", "arrow_lossless_conversion = true"}) {
    db.query(fmt::format("SET {}", setting));
    const arrow_table table = db.query("FROM original", {{"i", {encoding::fixed}}, {"d", {encoding::rle}}});
    db.copy(exported_rows(ctx, table.in_order(), std::nullopt), "back");
    std::vector<std::string> differ;
    for (const auto &[name, c] : table.encoded)
      if (c.type.kind != value_kind::blob || name == "blob") // without loss, a number of 128 bits is DuckDB's own
        differ.push_back(fmt::format("(o.{0} IS DISTINCT FROM b.{0})::BIGINT << {1}", name, differ.size()));
    const auto mask = fmt::format("SELECT bit_or({}) FROM original o POSITIONAL JOIN back b", fmt::join(differ, " | "));
    EXPECT_EQ(db.number(mask), 0) << setting << ": a bit for each column that differs";
  }

  // Some rows, in small batches and through a second table of the store; their bits; their numbers.
  const arrow_table table = db.query("SELECT i, n, b, x, d, runs FROM original", {{"d", {encoding::dynp}}});
  selection rows;
  rows.resize(table.rows);
  for (uint64_t row = 0; row < table.rows; ++row)
    if ((row % 1000 < 500 && row % 3 == 0) || row / 100 == 3) {
      rows.words[row / 64] |= uint64_t{1} << row % 64;
      ++rows.row_group_counts[row / row_group_rows];
    }
  rows.count_rows();
  const arrow_table selected = import_arrow(*exported_rows(ctx, table.in_order(), rows, {5'000, 50'000}));
  db.copy(exported_rows(ctx, selected.in_order(), std::nullopt), "chosen");
  arrow_column bits = exported_booleans(rows, table.rows), numbers = exported_row_numbers(rows, table.rows);
  std::vector<uint32_t> ones;
  for (uint32_t row = 0; row < bits.array->length; ++row)
    if ((at<uint8_t>(*bits.array, 1)[row / 8] >> row % 8 & 1) != 0)
      ones.push_back(row);
  const auto *listed = at<uint32_t>(*numbers.array, 1);
  EXPECT_EQ(ones, std::vector(listed, listed + numbers.array->length));
  EXPECT_EQ(db.number(fmt::format("SELECT count(*) FROM (SELECT i, n, b, x, d, runs FROM original "
                                  "WHERE i % 1000 < 500 AND b OR runs = 3) o POSITIONAL JOIN chosen c "
                                  "POSITIONAL JOIN (SELECT unnest({}) AS r) WHERE o IS DISTINCT FROM c OR r <> c.i",
                                  ones)),
            0);
}

template <class Element>
arrow_buffer buffer(std::initializer_list<Element> elements) {
  return arrow_buffer(vorn_host::aligned_vector<Element>(elements));
}
arrow_buffer text(std::string_view bytes) {
  return arrow_buffer(vorn_host::aligned_vector<char>(bytes.begin(), bytes.end()));
}

using view = std::array<int32_t, 4>; // length, the first four bytes, buffer, offset

// A record batch as another library might make it, four rows from the second one on, whose release is counted.
struct foreign_batch {
  ArrowSchema schema{};
  ArrowArray array{};
  arrow_owner<ArrowSchema> index_schema{exported(schema_parts{"U"})};
  arrow_owner<ArrowArray> index_array{
      exported({3, 1, {buffer<uint8_t>({5}), buffer<int64_t>({2, 3, 3, 4}), text("..zb")}})};
  static inline int released = 0;
  static inline void (*release_array)(ArrowArray *) = nullptr;

  foreign_batch() {
    schema_parts schemas{"+s"};
    array_parts arrays{4, 0, {arrow_buffer()}};
    const auto add = [&](const char *type, int64_t nulls, std::vector<arrow_buffer> buffers) {
      schemas.children.push_back({type, type});
      arrays.children.push_back({5, nulls, std::move(buffers)});
    };
    const arrow_buffer no_nulls, one_null = buffer<uint8_t>({0b11101});
    add("i", 1, {buffer<uint8_t>({0b111011}), buffer<int32_t>({9, 9, 1, 2, -3, 4})});
    add("u", -1, {buffer<uint8_t>({0b111101}), buffer<int32_t>({0, 1, 1, 2, 2, 5, 6}), text("xabcde")});
    add("vz", 1,
        {one_null, buffer<view>({{}, {-5, 9, 9, 9}, {3, 0x636261}, {14, 0x65726f6d, 0, 3}, {}}),
         text("...more than 12.."), buffer<int64_t>({17})});
    add("C", 1, {one_null, buffer<uint8_t>({1, 0, 2, 1, 2})});
    add("+r", 0, {});
    add("d:20,1", 0, {no_nulls, buffer<__int128>({-5, 15, 25, -35, 45})});
    add("ttm", 0, {no_nulls, buffer<int32_t>({0, 1, 1'000, 86'400'000, 5})});
    add("tsn:UTC", 0, {no_nulls, buffer<int64_t>({0, 1'000, -1'000, 1'000'000'000, 0})});
    add("tdm", 0, {no_nulls, buffer<int64_t>({0, 86'400'000, -86'400'000, 0, 0})});
    schemas.children[4].children = {{"s"}, {"g"}};
    arrays.children[4].children = {{4, 0, {no_nulls, buffer<int16_t>({1, 3, 5, 9})}},
                                   {4, 1, {buffer<uint8_t>({0b1011}), buffer<double>({.5, 1.5, 2.5, 3.5})}}};
    schema = exported(schemas);
    array = exported(arrays);
    for (ArrowArray *sliced : {&array, &of(0), &of(1), &of(4)})
      sliced->offset = 1;
    schema.children[3]->dictionary = &*index_schema;
    of(3).dictionary = &*index_array;
    released = 0;
    release_array = std::exchange(array.release, [](auto *a) { ++released, release_array(a); });
  }
  ArrowArray &of(int column) { return *array.children[column]; }
};

TEST(arrow, reads_slices_dictionaries_runs_and_views) {
  vorn_host::environment env;
  const vorn_ctx ctx = env.context();
  foreign_batch made;
  const arrow_table table = import_arrow(made.schema, made.array, {{"+r", {encoding::rle}}});
  EXPECT_EQ(foreign_batch::released, 1);
  EXPECT_EQ(table.encoded.at("+r").segments[0].runs, 3U);
  std::vector<std::string> out(table.rows);
  for (const column *c : table.in_order()) {
    auto line = out.begin();
    vorn_test::for_each_value(ctx, *c, [&](const cell &value) { append_text(*line++ += '|', value, c->type); });
  }
  EXPECT_EQ(fmt::format("{}", fmt::join(out, "\n")),
            "|NULL|a|NULL|NULL|1.5|1.5|00:00:00.001|1970-01-01 00:00:00.000001+00|1970-01-02\n"
            "|2||abc|b|NULL|2.5|00:00:01|1969-12-31 23:59:59.999999+00|1969-12-31\n"
            "|-3|bcd|more than 12..|NULL|NULL|-3.5|24:00:00|1970-01-01 00:00:01+00|1970-01-01\n"
            "|4|e||b|3.5|4.5|00:00:00.005|1970-01-01 00:00:00+00|1970-01-01");
}

TEST(arrow, refuses_what_contradicts_itself_or_is_not_stored) {
  const std::pair<const char *, void (*)(foreign_batch &)> faults[] = {
      {"not a schema of record batches", [](auto &b) { b.schema.format = "i"; }},
      {"'i' is nested", [](auto &b) { b.schema.children[0]->format = "+l"; }},
      {"run ends of Arrow's 'c'", [](auto &b) { b.schema.children[4]->children[0]->format = "c"; }},
      {"an array of -1 rows", [](auto &b) { b.of(0).length = -1; }},
      {"an array of 4 rows where 5 are needed", [](auto &b) { b.of(0).length = 4, b.of(0).null_count = -1; }},
      {"1 NULLs that says 2", [](auto &b) { b.of(0).null_count = 2; }},
      {"an array without a dictionary", [](auto &b) { b.of(3).dictionary = nullptr; }},
      {"offsets that fall from 2 to 1", [](auto &b) { at<int32_t>(b.of(1), 1)[4] = 1; }},
      {"a view of buffer 1 of 1", [](auto &b) { at<view>(b.of(2), 1)[3][2] = 1; }},
      {"14 bytes at 4 of a buffer of 17", [](auto &b) { at<view>(b.of(2), 1)[3][3] = 4; }},
      {"begins unlike its text", [](auto &b) { at<view>(b.of(2), 1)[3][1] = 0; }},
      {"index 3 into a dictionary of 3", [](auto &b) { at<uint8_t>(b.of(3), 1)[2] = 3; }},
      {"ends at row 1 after a run that ends at row 1", [](auto &b) { at<int16_t>(*b.of(4).children[0], 1)[1] = 1; }},
      {"runs of 5 rows where 6 are needed", [](auto &b) { b.of(4).children[0]->length = 3; }},
      {"holds 86400001, which no TIME is", [](auto &b) { ++at<int32_t>(b.of(6), 1)[3]; }},
      {"holds 1001, which no TIMESTAMP WITH TIME ZONE is", [](auto &b) { ++at<int64_t>(b.of(7), 1)[1]; }}};
  for (const auto &[message, corrupt] : faults) {
    foreign_batch made;
    corrupt(made);
    EXPECT_THAT([&] { import_arrow(made.schema, made.array); },
                testing::ThrowsMessage<error>(testing::HasSubstr(message)));
    EXPECT_EQ(foreign_batch::released, 1) << message;
  }
  ArrowArrayStream broken{[](auto *, auto *schema) { return *schema = exported(schema_parts{"+s"}), 0; },
                          [](auto *, auto *) { return EIO; }, [](auto *) { return "the disk is gone"; },
                          [](auto *) { ++foreign_batch::released; }, nullptr};
  EXPECT_THAT([&] { import_arrow(broken); }, testing::ThrowsMessage<error>("the Arrow stream fails: the disk is gone"));
  EXPECT_EQ(foreign_batch::released, 2);
}

} // namespace
