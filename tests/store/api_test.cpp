// The public classes of the store, used as an outside program uses them: over the shared libraries.
#include <vorn/qpak_encoder.hpp>
#include <vorn/stand_in.hpp>
#include <vorn/store/arrow.hpp>
#include <vorn/store/saved.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/store/scratch_folder.hpp"

namespace {

using namespace vorn::store;

// Three row groups, the last one with a word that is not full.
constexpr int64_t rows = 2 * 65536 + 8999;

// An Arrow record batch of one nullable column of 32-bit integers, whose memory is a test's.
class integer_batch {
public:
  integer_batch(const char *name, const std::vector<std::optional<int32_t>> &values)
      : numbers_(values.size()), valid_(values.size() / 8 + 1) {
    int64_t nulls = 0;
    for (size_t row = 0; row < values.size(); ++row) {
      numbers_[row] = values[row].value_or(0);
      valid_[row / 8] = static_cast<uint8_t>(valid_[row / 8] | (values[row].has_value() << row % 8));
      nulls += !values[row].has_value();
    }
    const auto length = static_cast<int64_t>(values.size());
    field_ = {"i", name, nullptr, ARROW_FLAG_NULLABLE, 0, nullptr, nullptr, release, nullptr};
    array_ = {length, nulls, 0, 2, 0, buffers_, nullptr, nullptr, release, nullptr};
    schema = {"+s", "", nullptr, 0, 1, fields_, nullptr, release, nullptr};
    batch = {length, 0, 0, 1, 1, no_bitmap_, arrays_, nullptr, release, nullptr};
  }
  integer_batch(const integer_batch &) = delete;

  ArrowSchema schema = {};
  ArrowArray batch = {};

private:
  template <class Record>
  static void release(Record *record) {
    record->release = nullptr;
  }

  std::vector<int32_t> numbers_;
  std::vector<uint8_t> valid_;
  const void *buffers_[2] = {valid_.data(), numbers_.data()};
  const void *no_bitmap_[1] = {};
  ArrowSchema field_ = {};
  ArrowSchema *fields_[1] = {&field_};
  ArrowArray array_ = {};
  ArrowArray *arrays_[1] = {&array_};
};

table table_of(const std::vector<std::optional<int32_t>> &values, const encoding_choice &choice) {
  integer_batch made("n", values);
  return from_arrow(made.schema, made.batch, {{"n", choice}});
}

selection compared(const vorn_ctx &ctx, const table &of, uint32_t comparison, std::string_view value) {
  selection out(of);
  const column tested = of.at("n");
  const auto codes = tested.codes(comparison, value);
  for (size_t group = 0; codes && group < tested.row_groups(); ++group) {
    constant_vector low(tested, codes->first);
    constant_vector high(tested, codes->last);
    source_vector source(tested, group);
    vorn_cv result{};
    vorn_build_vector(&result, nullptr, nullptr, nullptr, nullptr, nullptr, out.words(group), tested.rows_of(group), 0,
                      nullptr, 0);
    vorn_aux aux{};
    vorn_range_cmp(&ctx, &result, source.get(), low.get(), high.get(), &aux, VORN_OPC_GE_LE);
  }
  return out;
}

std::vector<std::optional<int32_t>> values_of(ArrowArrayStream stream) {
  std::vector<std::optional<int32_t>> out;
  for (ArrowArray batch{}; stream.get_next(&stream, &batch) == 0 && batch.release != nullptr; batch.release(&batch)) {
    const ArrowArray &column = *batch.children[0];
    const auto *valid = static_cast<const uint8_t *>(column.buffers[0]);
    for (int64_t row = 0; row < batch.length; ++row) {
      const bool is_null = valid != nullptr && (valid[row / 8] >> (row % 8) & 1) == 0;
      out.push_back(is_null ? std::nullopt : std::optional(static_cast<const int32_t *>(column.buffers[1])[row]));
    }
  }
  EXPECT_EQ(stream.get_last_error(&stream), nullptr);
  stream.release(&stream);
  return out;
}

class store_api : public testing::Test {
protected:
  store_api() { ctx.vorn_ctx_decompress = vorn_qpak_decode; }

  vorn_host::environment host;
  vorn_ctx ctx = host.context();
  vorn_test::scratch_folder folder;
};

TEST_F(store_api, selects_saves_and_exports_in_every_encoding) {
  struct {
    encoding form;
    bool compressed;
    bool with_nulls;
  } const forms[] = {{encoding::dict, false, true}, {encoding::dict, true, true},    {encoding::rle, false, true},
                     {encoding::rle, true, false},  {encoding::fixed, false, false}, {encoding::dynp, true, false}};
  for (const auto &[form, compressed, with_nulls] : forms) {
    SCOPED_TRACE(std::string(name_of(form)) + (compressed ? " compressed" : ""));
    std::vector<std::optional<int32_t>> values;
    for (int64_t row = 0; row < rows; ++row) // even numbers from -300 to 298, in runs
      values.push_back(with_nulls && row % 11 == 0 ? std::nullopt
                                                   : std::optional(static_cast<int32_t>(row / 7 * 37 % 300 * 2 - 300)));
    const table made = table_of(values, {form, compressed});
    EXPECT_EQ(made.at("N").form(), form);
    EXPECT_EQ(made.at("n").is_compressed(), compressed);
    const std::string path = folder.path("n.vorn");
    const uint64_t bytes = save(made, path);
    EXPECT_EQ(bytes, std::filesystem::file_size(path));
    const table reopened = open(ctx, path);
    for (const table &of : {made, reopened}) {
      ASSERT_EQ(of.columns().size(), 1U);
      EXPECT_EQ(of.rows(), static_cast<uint64_t>(rows));
      EXPECT_EQ(of.columns()[0].sql_type(), "INTEGER");
      const std::pair<uint32_t, std::function<bool(int, int)>> comparisons[] = {{VORN_OPC_EQ, std::equal_to<>()},
                                                                                {VORN_OPC_LT, std::less<>()},
                                                                                {VORN_OPC_LE, std::less_equal<>()},
                                                                                {VORN_OPC_GT, std::greater<>()},
                                                                                {VORN_OPC_GE, std::greater_equal<>()}};
      for (const auto &[comparison, holds] : comparisons)
        for (const int constant : {-301, -300, -299, 0, 1, 298, 299}) {
          selection found = compared(ctx, of, comparison, std::to_string(constant));
          std::vector<std::optional<int32_t>> expected;
          for (const auto &value : values)
            if (value && holds(*value, constant))
              expected.push_back(value);
          ASSERT_EQ(found.count(), expected.size()) << comparison << ' ' << constant;
          if (constant == 0) {
            EXPECT_EQ(values_of(to_arrow(ctx, of, found, {"n"})), expected);
            selection others = found;
            others.invert();
            EXPECT_EQ(others.count(), values.size() - expected.size());
            selection both = others;
            EXPECT_EQ((both &= found).count(), 0U);
            EXPECT_EQ((others |= found).count(), values.size());
          }
        }
      EXPECT_EQ(values_of(to_arrow(ctx, of)), values);
    }
  }
}

TEST_F(store_api, exports_selections_and_keeps_what_they_need) {
  std::optional<table> made = table_of({7, std::nullopt, 9, 7}, {});
  std::optional<selection> sevens = compared(ctx, *made, VORN_OPC_EQ, "7");
  EXPECT_TRUE(sevens->contains(0) && !sevens->contains(1) && sevens->contains(3) && !sevens->contains(4));
  ArrowArrayStream stream = to_arrow(ctx, *made, *sevens);
  arrow_column numbers = row_numbers_to_arrow(*sevens);
  arrow_column bits = booleans_to_arrow(*sevens);
  made.reset();
  sevens.reset();
  EXPECT_EQ(values_of(stream), (std::vector<std::optional<int32_t>>{7, 7}));
  ASSERT_EQ(numbers.array.length, 2);
  EXPECT_STREQ(numbers.schema.format, "I");
  EXPECT_EQ(static_cast<const uint32_t *>(numbers.array.buffers[1])[1], 3U);
  EXPECT_EQ(bits.array.length, 4);
  EXPECT_EQ(*static_cast<const uint8_t *>(bits.array.buffers[1]), 0b1001);
  for (arrow_column *column : {&numbers, &bits}) {
    column->schema.release(&column->schema);
    column->array.release(&column->array);
  }
}

TEST_F(store_api, reports_what_cannot_be_done) {
  const table small = table_of({1, 2, 3}, {encoding::fixed});
  const table prefixed = table_of({1, 2, 3}, {encoding::prefix});
  const column n = small.at("n");
  const std::function<void()> wrong[] = {
      [&] { small.at("m"); },
      [&] { n.codes(VORN_OPC_EQ, "many"); },
      [&] { n.codes(VORN_OPC_NE, "1"); },
      [&] { prefixed.at("n").codes(VORN_OPC_EQ, "1"); },
      [&] { source_vector(n, 1); },
      [&] { source_vector(n, 0, reading::decode); },
      [&] { source_vector(prefixed.at("n"), 0); },
      [&] { constant_vector(n, 3); },
      [&] { selection(small).words(1); },
      [&] { selection(small) &= selection(table_of(std::vector<std::optional<int32_t>>(65, 1), {})); },
      [&] { to_arrow(ctx, small, selection(table_of({1}, {}))); },
      [&] { to_arrow(ctx, small, {"m"}); },
      [&] {
        table_of({1, std::nullopt}, {encoding::fixed});
      },
      [&] { open(ctx, folder.write("no.vorn", "nothing")); },
      [&] { save(small, folder.path("no/such/folder.vorn")); }};
  for (size_t i = 0; i < std::size(wrong); ++i)
    EXPECT_THROW(wrong[i](), error) << i;
}

} // namespace
