// The stored forms of columns, byte by byte.
#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "store/encode/big_endian.hpp"
#include "store/encode/column_builder.hpp"
#include "store/encode/encoder.hpp"
#include "store/encode/packing.hpp"
#include "store/error.hpp"

namespace {

using namespace store;
using bytes = std::vector<uint8_t>;

// A stream or length stream without the slack after it.
bytes without_slack(const stored_array<uint8_t> &stored) {
  return {stored.begin(), stored.end() - vorn_host::cache_line};
}

column codes_of(const std::vector<uint32_t> &codes, uint32_t distinct, std::optional<encoding> form) {
  column out;
  std::vector<int64_t> values(distinct);
  std::iota(values.begin(), values.end(), 0);
  out.values = dictionary::of(values);
  store_codes(out, {codes, {}}, form);
  return out;
}

TEST(encoder, cuts_runs_at_the_longest_length_and_at_row_groups) {
  // One run over two row groups: 16 bits hold 65,535 rows, so the first one has a run of one row more.
  const column even = codes_of(std::vector<uint32_t>(2 * row_group_rows, 1), 2, encoding::rle);
  EXPECT_EQ(even.run_length_bits, 16);
  ASSERT_EQ(even.segments.size(), 2U);
  for (const column_segment &b : even.segments) {
    EXPECT_EQ(without_slack(b.lens), (bytes{0xff, 0xff, 0x00, 0x01}));
    EXPECT_EQ(b.cla[1], big_endian(65535U));
    EXPECT_EQ(b.cla[2], big_endian(65536U));
  }

  // Short runs and one of 300 rows: 8 bits, and a cut.
  std::vector<uint32_t> codes;
  for (uint32_t i = 0; i < 1000; ++i)
    codes.push_back(i / 5 % 2);
  codes.insert(codes.end(), 300, 1);
  const column odd = codes_of(codes, 2, encoding::rle);
  EXPECT_EQ(odd.run_length_bits, 8);
  const bytes lens = without_slack(odd.segments[0].lens);
  ASSERT_EQ(lens.size(), 201U);
  EXPECT_EQ(lens[199], 255);
  EXPECT_EQ(lens[200], 50);
}

TEST(encoder, chooses_runs_only_where_they_are_long) {
  std::vector<uint32_t> codes(1600);
  for (uint32_t length : {1U, 7U, 8U, 100U}) {
    for (uint32_t i = 0; i < codes.size(); ++i)
      codes[i] = i / length % 2;
    EXPECT_EQ(codes_of(codes, 2, std::nullopt).form, length < 100 ? encoding::dict : encoding::rle) << length;
  }
  EXPECT_EQ(codes_of({}, 0, std::nullopt).form, encoding::dict);
}

TEST(dictionary, takes_a_cla_where_lengths_differ_and_knows_what_looks_like_null) {
  const std::string_view ordered[] = {"", "a", "bb"};
  const dictionary keys = dictionary::of(std::vector<int64_t>{-2, 0, 258}), texts = dictionary::of(ordered);
  const dictionary with_null = dictionary::of(std::span(ordered).subspan(1), true);
  EXPECT_EQ(keys.encoding(2, 0).vorn_enc_ctx_dict_layout, uint32_t{VORN_DICT_ONE_LENGTH});
  EXPECT_EQ(texts.encoding(2, 0).vorn_enc_ctx_dict_layout, uint32_t{VORN_DICT_CLA});
  EXPECT_EQ(dictionary::of(std::vector<int64_t>{1}, true).encoding(2, 0).vorn_enc_ctx_dict_layout,
            uint32_t{VORN_DICT_CLA});
  EXPECT_TRUE(texts.flags_tell_null() && with_null.flags_tell_null());
  EXPECT_FALSE(dictionary::of(ordered, true).flags_tell_null());
}

TEST(encoder, stores_values_in_the_least_whole_bytes) {
  const auto stored = [](const std::vector<int64_t> &keys) {
    column c;
    store_keys(c, keys, encoding::fixed);
    return without_slack(c.segments.at(0).stream);
  };
  EXPECT_EQ(stored({-3, 252, 0}), (bytes{0, 255, 3}));
  EXPECT_EQ(stored({-3, 253}), (bytes{0, 0, 1, 0}));
  EXPECT_EQ(stored({5}), (bytes{0}));
  EXPECT_EQ(stored({0, 0x1234567}), (bytes{0, 0, 0, 0, 0x01, 0x23, 0x45, 0x67}));
  EXPECT_EQ(stored({0, 0x123456789abcd}), (bytes{0, 0, 0, 0, 0, 0, 0, 0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd}));
  constexpr int64_t least = std::numeric_limits<int64_t>::min();
  constexpr int64_t greatest = std::numeric_limits<int64_t>::max();
  EXPECT_EQ(stored({least, 0, greatest}),
            (bytes{0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}));
}

TEST(encoder, drops_trailing_zero_bytes) {
  const auto stored = [](const std::vector<int64_t> &keys) {
    column c;
    store_keys(c, keys, encoding::dynp);
    return c;
  };
  const column narrow = stored({0, 0x100, 0x101, 0x200, 0, 0, 0, 0, 0x1ff});
  EXPECT_EQ(narrow.width, 16U);
  EXPECT_EQ(without_slack(narrow.segments[0].stream), (bytes{0, 1, 1, 1, 2, 0, 0, 0, 0, 1, 0xff}));
  EXPECT_EQ(without_slack(narrow.segments[0].lens), (bytes{0b00100000, 0b10000000}));

  const column middle = stored({0, 0x10000, 0x1000000, 0x1234567, 0x100});
  EXPECT_EQ(middle.width, 32U);
  EXPECT_EQ(without_slack(middle.segments[0].stream), (bytes{0, 0, 1, 1, 0x01, 0x23, 0x45, 0x67, 0, 0, 1}));
  EXPECT_EQ(without_slack(middle.segments[0].lens), (bytes{0b00010011, 0b10000000}));

  const column wide = stored({0, 0x100000000, 0x7766554433221100});
  EXPECT_EQ(wide.width, 64U);
  EXPECT_EQ(without_slack(wide.segments[0].stream), (bytes{0, 0, 0, 0, 1, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}));
  EXPECT_EQ(without_slack(wide.segments[0].lens), (bytes{0x03, 0x60}));
}

TEST(encoder, stores_groups_of_sixteen_with_their_prefix) {
  // The first group shares two bytes, the second, with one value, all of it.
  std::string texts;
  for (char last = 'a'; last < 'a' + 17; ++last)
    texts += std::string("VO") + last;
  column c;
  store_texts(c, texts, 3);
  EXPECT_EQ(c.form, encoding::prefix);
  EXPECT_EQ(c.rows, 17U);
  ASSERT_EQ(c.segments.size(), 1U);
  const bytes stream = without_slack(c.segments[0].stream);
  EXPECT_EQ(std::string(stream.begin(), stream.end()), "\2VOabcdefghijklmnop\3VOq");
  EXPECT_EQ(without_slack(c.segments[0].lens), (bytes{0, 0, 0, 0, 0, 0, 0, 19}));

  // Keys take the bytes of the largest ordinal.
  column keys;
  store_keys(keys, std::vector<int64_t>{-1, 0x1fe, 0}, encoding::prefix);
  EXPECT_EQ(keys.width, 16U);
  EXPECT_EQ(without_slack(keys.segments[0].stream), (bytes{0, 0, 0, 1, 0xff, 0, 1}));
}

TEST(column_builder, counts_the_bytes_of_plain_arrays_and_takes_no_rows) {
  const auto built = [](const char *sql_type, encoding form, std::vector<std::string_view> texts) {
    column_builder building({"c", sql_type, type_of(sql_type)}, {.form = form});
    building.with([&]<class Builder>(Builder &builder) {
      for (const std::string_view text : texts)
        if constexpr (std::is_same_v<typename Builder::value, std::string_view>)
          builder.append(builder.row_of(text));
        else
          builder.append(builder.row_of(static_cast<int64_t>(text.size())));
    });
    return building.finish();
  };
  const uint64_t of_a_text = type_of("VARCHAR")->plain_bytes; // beside its bytes
  EXPECT_EQ(built("VARCHAR", encoding::dict, {"a", "bbb", "", "bbb"}).plain_bytes, 7 + 4 * of_a_text);
  EXPECT_EQ(built("VARCHAR", encoding::prefix, {"ab", "cd"}).plain_bytes, 4 + 2 * of_a_text);
  EXPECT_EQ(built("SMALLINT", encoding::fixed, {"", "a", "bb"}).plain_bytes, 6U);
  EXPECT_EQ(built("BIGINT", encoding::rle, {"a", "a", "bb"}).plain_bytes, 24U);
  for (const encoding form : {encoding::dict, encoding::rle, encoding::prefix})
    EXPECT_EQ(built("VARCHAR", form, {}).rows, 0U) << encoding_name(form);
}

TEST(encoder, refuses_more_values_than_codes) {
  EXPECT_EQ(least_width(uint64_t{1} << 32), 32U);
  EXPECT_THROW(least_width((uint64_t{1} << 32) + 1), error);
}

TEST(encoder, reads_the_name_of_an_encoding) {
  const encoding_choice plain = parse_encoding("rle");
  EXPECT_EQ(plain.form, encoding::rle);
  EXPECT_FALSE(plain.compressed);
  const encoding_choice compressed = parse_encoding("dynp+qpak");
  EXPECT_EQ(compressed.form, encoding::dynp);
  EXPECT_TRUE(compressed.compressed);
  EXPECT_EQ(parse_encoding("prefix").form, encoding::prefix);
  for (const char *bad : {"prefix+qpak", "", "qpak", "+qpak", "dict+", "dict+zip", "DICT", "dict+qpak+qpak"})
    EXPECT_THROW(parse_encoding(bad), error) << bad;
}

} // namespace
