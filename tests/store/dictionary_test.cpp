// The stored form of dictionaries, and what can be told from it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/encode/big_endian.hpp"
#include "store/encode/dictionary.hpp"

namespace {

using namespace store;

template <class Number>
std::vector<Number> numbers_at(const void *address, size_t count) {
  const auto *first = static_cast<const Number *>(address);
  return {first, first + count};
}

TEST(dictionary, stores_keys_as_symbols_of_eight_bytes_that_sort) {
  dictionary keys;
  for (int64_t key : {-2, 0, 258})
    keys.append(key);
  const vorn_enc_ctx enc = keys.encoding(2, 0);
  EXPECT_EQ(enc.vorn_enc_ctx_dict_layout, uint32_t{VORN_DICT_ONE_LENGTH});
  EXPECT_EQ(enc.vorn_enc_ctx_dict_nsyms, 3U);
  EXPECT_EQ(numbers_at<uint8_t>(enc.vorn_enc_ctx_dict_lens, 2), (std::vector<uint8_t>{0, 8}));
  EXPECT_EQ(numbers_at<uint8_t>(enc.vorn_enc_ctx_dict_syms, 24),
            (std::vector<uint8_t>{0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xfe, //
                                  0x80, 0,    0,    0,    0,    0,    0,    0,    //
                                  0x80, 0,    0,    0,    0,    0,    1,    2}));
  EXPECT_EQ(keys.value_of(0, value_kind::integer), cell(int64_t{-2}));
}

TEST(dictionary, takes_a_cla_where_lengths_differ) {
  dictionary texts;
  for (const char *text : {"aa", "bb", "c", "\xc3\xa9"})
    texts.append(std::string_view(text));
  vorn_enc_ctx enc = texts.encoding(2, 0);
  EXPECT_EQ(enc.vorn_enc_ctx_dict_layout, uint32_t{VORN_DICT_CLA});
  EXPECT_EQ(numbers_at<uint32_t>(enc.vorn_enc_ctx_dict_cla, 5),
            (std::vector<uint32_t>{0, big_endian(2U), big_endian(4U), big_endian(5U), big_endian(7U)}));
  EXPECT_EQ(texts.value_of(2, value_kind::text), cell(std::string_view("c")));

  dictionary with_null(true);
  with_null.append(int64_t{5});
  enc = with_null.encoding(1, 0);
  EXPECT_EQ(enc.vorn_enc_ctx_dict_layout, uint32_t{VORN_DICT_CLA});
  EXPECT_EQ(numbers_at<uint32_t>(enc.vorn_enc_ctx_dict_cla, 3), (std::vector<uint32_t>{0, 0, big_endian(8U)}));
  EXPECT_EQ(with_null.size(), 1U);
  EXPECT_EQ(with_null.value_of(1, value_kind::integer), cell(int64_t{5}));
}

TEST(dictionary, knows_when_an_empty_text_looks_like_null) {
  dictionary with_null(true);
  EXPECT_TRUE(with_null.flags_tell_null());
  with_null.append(std::string_view("a"));
  EXPECT_TRUE(with_null.flags_tell_null());
  for (bool nulls : {false, true}) {
    dictionary with_empty(nulls);
    with_empty.append(std::string_view());
    EXPECT_EQ(with_empty.flags_tell_null(), !nulls);
  }
}

} // namespace
