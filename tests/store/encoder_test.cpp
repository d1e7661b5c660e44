// The stored forms of columns, byte by byte.
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "frame/host.h"
#include "store/encode/big_endian.hpp"
#include "store/encode/encoder.hpp"
#include "store/error.hpp"

namespace {

using namespace store;
using bytes = std::vector<uint8_t>;

// A stream or length stream without the slack behind it.
bytes without_slack(const aligned_vector<uint8_t> &stored) { return {stored.begin(), stored.end() - cache_line}; }

column codes_of(const std::vector<uint32_t> &codes, uint32_t distinct, std::optional<encoding> form) {
  column out;
  auto &values = out.values.emplace<dictionary>();
  for (uint32_t value = 0; value < distinct; ++value)
    values.append(int64_t{value});
  store_codes(out, codes, form);
  return out;
}

TEST(encoder, stores_runs_with_their_lengths_and_offsets) {
  const std::vector<uint32_t> codes = {3, 3, 3, 0, 1, 1, 3};
  const column c = codes_of(codes, 4, encoding::rle);
  ASSERT_EQ(c.batches.size(), 1U);
  const batch &b = c.batches[0];
  EXPECT_EQ(c.run_length_bits, 8);
  EXPECT_EQ(b.rows, 7U);
  EXPECT_EQ(b.runs, 4U);
  EXPECT_EQ(without_slack(b.stream), (bytes{0b11000111}));
  EXPECT_EQ(without_slack(b.lens), (bytes{3, 1, 2, 1}));
  EXPECT_EQ((std::vector<uint32_t>(b.cla.begin(), b.cla.end())),
            (std::vector<uint32_t>{0, big_endian(3U), big_endian(4U), big_endian(6U), big_endian(7U)}));
}

TEST(encoder, cuts_runs_at_the_longest_length_and_at_batches) {
  // One run over two batches: 16 bits hold 65,535 rows, so the first batch has a run of one row more.
  const column even = codes_of(std::vector<uint32_t>(2 * batch_rows, 1), 2, encoding::rle);
  EXPECT_EQ(even.run_length_bits, 16);
  ASSERT_EQ(even.batches.size(), 2U);
  for (const batch &b : even.batches) {
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
  const bytes lens = without_slack(odd.batches[0].lens);
  ASSERT_EQ(lens.size(), 201U);
  EXPECT_EQ(lens[199], 255);
  EXPECT_EQ(lens[200], 50);
}

TEST(encoder, chooses_runs_only_where_they_are_long) {
  std::vector<uint32_t> codes(1600);
  for (uint32_t length : {1U, 7U, 8U, 100U}) {
    for (uint32_t i = 0; i < codes.size(); ++i)
      codes[i] = i / length % 2;
    EXPECT_EQ(codes_of(codes, 2, std::nullopt).form, length < 8 ? encoding::dict : encoding::rle) << length;
  }
  EXPECT_EQ(codes_of({}, 0, std::nullopt).form, encoding::dict);
}

TEST(encoder, stores_values_in_the_least_whole_bytes) {
  const auto stored = [](const std::vector<int64_t> &keys) {
    column c;
    store_keys(c, keys, encoding::fixed);
    return without_slack(c.batches.at(0).stream);
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
  EXPECT_EQ(without_slack(narrow.batches[0].stream), (bytes{0, 1, 1, 1, 2, 0, 0, 0, 0, 1, 0xff}));
  EXPECT_EQ(without_slack(narrow.batches[0].lens), (bytes{0b00100000, 0b10000000}));

  const column middle = stored({0, 0x10000, 0x1000000, 0x1234567, 0x100});
  EXPECT_EQ(middle.width, 32U);
  EXPECT_EQ(without_slack(middle.batches[0].stream), (bytes{0, 0, 1, 1, 0x01, 0x23, 0x45, 0x67, 0, 0, 1}));
  EXPECT_EQ(without_slack(middle.batches[0].lens), (bytes{0b00010011, 0b10000000}));

  const column wide = stored({0, 0x100000000, 0x7766554433221100});
  EXPECT_EQ(wide.width, 64U);
  EXPECT_EQ(without_slack(wide.batches[0].stream), (bytes{0, 0, 0, 0, 1, 0x77, 0x66, 0x55, 0x44, 0x33, 0x22, 0x11}));
  EXPECT_EQ(without_slack(wide.batches[0].lens), (bytes{0x03, 0x60}));
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
  ASSERT_EQ(c.batches.size(), 1U);
  const bytes stream = without_slack(c.batches[0].stream);
  EXPECT_EQ(std::string(stream.begin(), stream.end()), "\2VOabcdefghijklmnop\3VOq");
  EXPECT_EQ(without_slack(c.batches[0].lens), (bytes{0, 0, 0, 0, 0, 0, 0, 19}));

  // Nothing in common, and groups that do not reach into the next batch.
  texts = "ab" + std::string(2 * (batch_rows - 1), 'x') + "cd";
  column two;
  store_texts(two, texts, 2);
  ASSERT_EQ(two.batches.size(), 2U);
  EXPECT_EQ(two.batches[0].rows, batch_rows);
  EXPECT_EQ(two.batches[0].stream[0], 0);
  EXPECT_EQ(without_slack(two.batches[1].stream), (bytes{2, 'c', 'd'}));
  EXPECT_EQ(without_slack(two.batches[1].lens), (bytes{0, 0, 0, 0}));

  // Keys take the bytes of the largest ordinal.
  column keys;
  store_keys(keys, std::vector<int64_t>{-1, 0x1fe, 0}, encoding::prefix);
  EXPECT_EQ(keys.width, 16U);
  EXPECT_EQ(without_slack(keys.batches[0].stream), (bytes{0, 0, 0, 1, 0xff, 0, 1}));
}

TEST(encoder, compresses_every_batch_so_that_it_can_be_had_back) {
  std::vector<int64_t> keys(batch_rows + 100);
  for (size_t i = 0; i < keys.size(); ++i)
    keys[i] = static_cast<int64_t>(i / 20 % 1000);
  column plain;
  store_keys(plain, keys, encoding::fixed);
  column compressed = plain;
  compress(compressed);
  EXPECT_LT(compressed.encoded_bytes(), plain.encoded_bytes());
  for (size_t i = 0; i < plain.batches.size(); ++i) {
    const batch &b = compressed.batches[i];
    bytes out(b.stream_bytes);
    uint32_t length = 0;
    ASSERT_EQ(qpak_decode(nullptr, nullptr, b.stream.data(), out.data(), &length, b.stream_bytes, 0, 0, 0), 0U);
    EXPECT_EQ(out, without_slack(plain.batches[i].stream));
  }
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
