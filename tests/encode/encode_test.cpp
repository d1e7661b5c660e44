// Every form there and back: encoders store plain values, and the kernels of every library read what they stored.
// Encoders write directly before unreadable memory, at odd addresses too, and are refused a byte less first.
#include <bit>
#include <cmath>
#include <map>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include <vorn/encode.h>
#include <vorn/vorn.h>

#include "tests/model/predicate.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"

namespace {

using numbers = std::vector<uint64_t>;
using codes = std::vector<uint32_t>;
using words = std::vector<uint64_t>; // bytes, aligned to 8

constexpr uint32_t row_counts[] = {0, 1, 7, 8, 9, 63, 64, 65, 1000};
constexpr uint32_t no_length = 0;

template <class T>
T *as(words &bytes) {
  return reinterpret_cast<T *>(bytes.data());
}

// What `encode(address, room)` writes into `bytes` bytes, the last `slack` of which are zero.
template <class Encode>
words written(size_t bytes, size_t slack, Encode encode) {
  static vorn_test::guarded memory(1 << 18);
  uint8_t *out = memory.last(bytes);
  std::fill_n(out, bytes, uint8_t{0xab});
  const auto all_are = [](const uint8_t *begin, const uint8_t *end, uint8_t value) {
    return std::all_of(begin, end, [value](uint8_t byte) { return byte == value; });
  };
  if (bytes != 0) {
    EXPECT_EQ(encode(out, bytes - 1), uint32_t{VORNENC_NO_ROOM});
    EXPECT_TRUE(all_are(out, out + bytes, 0xab)) << "a call that was refused has written";
  }
  EXPECT_EQ(encode(out, bytes), uint32_t{VORNENC_DONE});
  EXPECT_TRUE(memory.intact(bytes));
  EXPECT_TRUE(all_are(out + bytes - slack, out + bytes, 0)) << "the slack is not clear";
  words aligned((bytes + 7) / 8 + 1);
  std::copy(out, out + bytes, as<uint8_t>(aligned));
  return aligned;
}

codes as_codes(const numbers &values) { return codes(values.begin(), values.end()); }
uint64_t largest(uint32_t width) { return ~uint64_t{0} >> (64 - width); }

// A column with its memory.
struct stored {
  vornenc_column column = {};
  words vals, lens, cla, run_bits;
  numbers values;               // of the rows
  std::vector<uint8_t> lengths; // of the rows, in bytes; empty without a second key
};

// vals(address, room) and lens(address, room) encode with one part given and the other in full.
stored stored_codes(const numbers &values, uint32_t width) {
  const auto nrows = static_cast<uint32_t>(values.size());
  const codes plain = as_codes(values);
  stored out;
  out.values = values;
  out.vals = written(vornenc_codes_bytes(nrows, width), VORNENC_SLACK, [&](uint8_t *at, size_t room) {
    return vornenc_pack_codes(at, room, plain.data(), nrows, width);
  });
  out.column = {.form = VORNENC_CODES, .width = width, .nrows = nrows, .vals = out.vals.data()};
  return out;
}

stored stored_fixed(const numbers &values, const std::vector<uint8_t> &lengths, uint32_t width) {
  const auto nrows = static_cast<uint32_t>(values.size());
  stored out;
  out.values = values;
  out.lengths = lengths;
  out.vals = written(vornenc_fixed_bytes(nrows, width), VORNENC_SLACK, [&](uint8_t *at, size_t room) {
    return vornenc_pack_fixed(at, room, values.data(), nrows, width);
  });
  if (!lengths.empty())
    out.lens = written(vornenc_lens_bytes(nrows, width), 0, [&](uint8_t *at, size_t room) {
      return vornenc_pack_lens(at, room, lengths.data(), nrows, width);
    });
  out.column = {
      .form = VORNENC_FIXED, .width = width, .nrows = nrows, .vals = out.vals.data(), .lens = out.lens.data()};
  return out;
}

stored stored_dynp(const numbers &values, const std::vector<uint8_t> &lengths, uint32_t width) {
  const auto nrows = static_cast<uint32_t>(values.size());
  const uint8_t *given = lengths.empty() ? nullptr : lengths.data();
  const size_t bytes = vornenc_dynp_bytes(values.data(), given, nrows, width);
  const size_t lens_bytes = vornenc_lens_bytes(nrows, width);
  std::vector<uint8_t> other(std::max(bytes, lens_bytes));
  stored out;
  out.values = values;
  out.lengths = lengths;
  out.vals = written(bytes, VORNENC_SLACK, [&](uint8_t *at, size_t room) {
    return vornenc_pack_dynp(at, room, other.data(), lens_bytes, values.data(), given, nrows, width);
  });
  out.lens = written(lens_bytes, 0, [&](uint8_t *at, size_t room) {
    return vornenc_pack_dynp(other.data(), bytes, at, room, values.data(), given, nrows, width);
  });
  out.column = {.form = VORNENC_DYNP, .width = width, .nrows = nrows, .vals = out.vals.data(), .lens = out.lens.data()};
  return out;
}

// Each value stands for a random number of rows, given as counts or one by one.
stored stored_runs(const numbers &values, uint32_t width, uint32_t length_bits, bool with_cla, bool with_counts,
                   vorn_test::random_source &random) {
  const uint32_t longest = length_bits == 8 ? 255 : 65535;
  codes run_codes = as_codes(values);
  numbers counts;
  stored out;
  for (uint64_t value : values) {
    counts.push_back(random.once_in(200) ? random.below(3 * longest) : random.below(4));
    out.values.insert(out.values.end(), counts.back(), value);
  }
  if (!with_counts)
    run_codes = as_codes(out.values);
  const uint64_t *given = with_counts ? counts.data() : nullptr;
  const auto n = static_cast<uint32_t>(run_codes.size());
  const auto nruns = static_cast<uint32_t>(vornenc_count_runs(run_codes.data(), given, n, longest));
  numbers split_codes;
  const auto split = [&](uint32_t room) {
    codes codes_of_runs(room);
    out.lens.assign((size_t{room} * length_bits / 8 + 7) / 8 + 1, 0);
    out.cla.assign(room / 2 + 1, 0);
    const uint32_t result =
        vornenc_split_runs(codes_of_runs.data(), out.lens.data(), with_cla ? as<uint32_t>(out.cla) : nullptr, room,
                           run_codes.data(), given, n, length_bits);
    split_codes.assign(codes_of_runs.begin(), codes_of_runs.end());
    return result;
  };
  if (nruns != 0) {
    EXPECT_EQ(split(nruns - 1), uint32_t{VORNENC_NO_ROOM});
    EXPECT_EQ(std::accumulate(out.lens.begin(), out.lens.end(), uint64_t{0}), 0U);
  }
  EXPECT_EQ(split(nruns), uint32_t{VORNENC_DONE});
  out.vals = stored_codes(split_codes, width).vals;
  out.run_bits.resize(nruns / 64 + 1);
  out.column = {.form = VORNENC_RUNS,
                .width = width,
                .nrows = static_cast<uint32_t>(out.values.size()),
                .vals = out.vals.data(),
                .lens = out.lens.data(),
                .nruns = nruns,
                .length_bits = length_bits,
                .cla = with_cla ? as<uint32_t>(out.cla) : nullptr,
                .run_bits = out.run_bits.data()};
  return out;
}

struct encode_test : vorn_test::implementation_test {
  // Each comparison finds the rows that it finds among the plain values.
  void expect_comparisons(stored &of, uint64_t top) {
    using key = std::pair<uint64_t, uint32_t>;
    const vorn_ctx ctx = env.context();
    const auto nrows = of.column.nrows;
    const auto key_of = [&](uint32_t row) {
      return key(of.values[row], of.lengths.empty() ? no_length : of.lengths[row]);
    };
    const key bound = nrows != 0 && random.once_in(2) ? key_of(static_cast<uint32_t>(random.below(nrows)))
                                                      : key(random.up_to(top), of.lengths.empty() ? no_length : 1);
    vorn_cv src, res, cst;
    vorn_enc_ctx enc, cst_enc;
    vornenc_constant memory;
    ASSERT_EQ(vornenc_build_column(&src, &enc, &of.column), uint32_t{VORNENC_DONE});
    ASSERT_EQ(vornenc_build_constant(&cst, &cst_enc, &memory, &of.column, bound.first, bound.second),
              uint32_t{VORNENC_DONE});
    for (uint32_t opcode = VORN_OPC_EQ; opcode <= VORN_OPC_NE; ++opcode) {
      words hits(nrows / 64 + 1);
      const vornenc_vector result = {.bits = hits.data(), .nrows = nrows};
      vornenc_build_vector(&res, &result);
      vorn_cmp(&ctx, &res, &src, &cst, nullptr, opcode);
      const auto expected = vorn_model::select(nrows, nullptr, nullptr, [&](uint32_t row) {
        return vorn_model::satisfies(key_of(row), opcode, bound, bound) &&
               !(of.column.flags & VORN_NULLS && of.values[row] == 0);
      });
      hits.resize(expected.words.size());
      ASSERT_TRUE(hits == expected.words && res.vorn_cv_popc == expected.count) << "opcode " << opcode;
    }
  }

  // Unpacking gives the codes of the rows.
  void expect_codes(stored &of) {
    const vorn_ctx ctx = env.context();
    codes unpacked(of.values.size());
    vorn_cv src, res;
    vorn_enc_ctx enc;
    vorn_aux aux = {};
    aux.vorn_aux_flags = VORN_AUX_UNPACK_UB4;
    ASSERT_EQ(vornenc_build_column(&src, &enc, &of.column), uint32_t{VORNENC_DONE});
    const vornenc_vector result = {.vals = unpacked.data(), .nrows = of.column.nrows};
    vornenc_build_vector(&res, &result);
    vorn_decode_unpack(&ctx, &res, &src, &aux);
    ASSERT_TRUE(unpacked == as_codes(of.values));
  }

  // As texts of up to the bytes of a class have them: the value is padded by zero bytes.
  std::vector<uint8_t> draw_lengths(numbers &values, uint32_t width) {
    const uint32_t most = width <= 16 ? 2 : width <= 32 ? 4 : 8;
    std::vector<uint8_t> out;
    for (uint64_t &value : values) {
      out.push_back(static_cast<uint8_t>(1 + random.below(most)));
      if (out.back() * 8U < width)
        value &= ~largest(width - out.back() * 8U);
    }
    return out;
  }

  vorn_test::random_source random{21};
};

TEST_P(encode_test, scans_find_what_they_find_in_plain_values) {
  numbers values;
  for (uint32_t nrows : row_counts)
    for (uint32_t width = 1; width <= 64; ++width)
      for (bool with_key : {false, true}) { // NULLs, or the second key
        if (!random.takes_case())
          continue;
        SCOPED_TRACE(testing::Message() << nrows << " rows, width " << width << (with_key ? ", second key" : ""));
        random.draw(values, nrows, largest(width));
        if (width <= 32) {
          stored plain = stored_codes(values, width);
          for (uint32_t row = 0; row < nrows; ++row)
            ASSERT_EQ(vorn_model::code_at(as<uint8_t>(plain.vals), width, row), values[row]);
          const uint32_t length_bits = with_key ? 16 : 8;
          stored runs = stored_runs(values, width, length_bits, random.once_in(2), random.once_in(2), random);
          for (stored *of : {&plain, &runs}) {
            if (!vornenc_has_width(VORNENC_CODES, width)) {
              vorn_enc_ctx enc;
              ASSERT_EQ(vornenc_build_encoding(&enc, &of->column), uint32_t{VORNENC_BAD_WIDTH});
              continue;
            }
            ASSERT_NO_FATAL_FAILURE(expect_codes(*of));
            of->column.flags = with_key ? VORN_NULLS : 0;
            ASSERT_NO_FATAL_FAILURE(expect_comparisons(*of, largest(width)));
          }
        }
        if (width % 8 != 0 || (with_key && width == 8))
          continue;
        const std::vector<uint8_t> lengths = with_key ? draw_lengths(values, width) : std::vector<uint8_t>();
        std::vector<stored> all;
        all.push_back(stored_fixed(values, lengths, width));
        if (vornenc_has_width(VORNENC_DYNP, width))
          all.push_back(stored_dynp(values, lengths, width));
        for (stored &of : all) {
          of.column.flags = with_key ? VORN_TZ : 0;
          ASSERT_NO_FATAL_FAILURE(expect_comparisons(of, largest(width)));
        }
      }
}

TEST_P(encode_test, prefix_groups_decode_to_their_values) {
  const vorn_ctx ctx = env.context();
  for (uint32_t nrows : row_counts)
    for (uint32_t value_bytes = 1; value_bytes <= 8; ++value_bytes) {
      std::string values;
      for (uint32_t row = 0; row < nrows; ++row)
        for (uint32_t byte = 0; byte < value_bytes; ++byte)
          values += static_cast<char>(byte < random.below(9) ? 'p' : random.below(3));
      const size_t bytes = vornenc_prefix_bytes(values.data(), value_bytes, nrows);
      const size_t offsets_bytes = (nrows + 15) / 16 * sizeof(uint32_t);
      std::vector<uint32_t> some_offsets(nrows);
      std::vector<uint8_t> some(bytes);
      words records = written(bytes, VORNENC_SLACK, [&](uint8_t *at, size_t room) {
        return vornenc_pack_prefix(at, room, some_offsets.data(), offsets_bytes, values.data(), value_bytes, nrows);
      });
      words offsets = written(offsets_bytes, 0, [&](uint8_t *at, size_t room) {
        return vornenc_pack_prefix(some.data(), bytes, reinterpret_cast<uint32_t *>(at), room, values.data(),
                                   value_bytes, nrows);
      });
      const vornenc_column column = {.form = VORNENC_PREFIX,
                                     .width = value_bytes * 8,
                                     .nrows = nrows,
                                     .vals = records.data(),
                                     .lens = offsets.data()};
      vorn_cv src, res;
      vorn_enc_ctx enc;
      ASSERT_EQ(vornenc_build_column(&src, &enc, &column), uint32_t{VORNENC_DONE});
      std::string decoded(values.size(), '?');
      const vornenc_vector result = {.vals = decoded.data(), .nrows = nrows};
      vornenc_build_vector(&res, &result);
      ASSERT_EQ(vorn_prefix_decode(&ctx, &res, &src, nullptr), uint32_t{VORN_RESULT_DONE});
      ASSERT_EQ(decoded, values);
    }
}

TEST_P(encode_test, codes_of_texts_decode_to_the_texts_in_each_layout) {
  const vorn_ctx ctx = env.context();
  for (uint32_t nrows : row_counts)
    for (bool one_length : {false, true}) {
      std::vector<std::string> bytes(nrows);
      std::vector<vornenc_text> rows;
      for (std::string &text : bytes) {
        for (uint64_t length = one_length ? 3 : random.below(5); text.size() < length;)
          text += static_cast<char>(random.below(3) * 127);
        const bool is_null = !one_length && random.once_in(5);
        rows.push_back({is_null ? nullptr : text.data(), is_null ? 0 : static_cast<uint32_t>(text.size())});
      }
      codes row_codes(nrows), row_of_code(nrows);
      uint32_t ncodes = 0;
      ASSERT_EQ(vornenc_assign_codes(row_codes.data(), row_of_code.data(), &ncodes, rows.data(), nrows),
                uint32_t{VORNENC_DONE});
      std::map<std::pair<bool, std::string>, uint32_t> model;
      for (uint32_t row = 0; row < nrows; ++row)
        model.emplace(std::pair(rows[row].bytes != nullptr, bytes[row].substr(0, rows[row].length)), row);
      ASSERT_EQ(ncodes, model.size());
      uint32_t code = 0;
      for (const auto &[text, row] : model)
        ASSERT_EQ(row_of_code[code++], row);

      vornenc_dictionary dictionary;
      words cla(ncodes / 2 + 1);
      const auto pack = [&](uint8_t *at, size_t room) {
        return vornenc_pack_symbols(&dictionary, at, room, one_length ? nullptr : as<uint32_t>(cla),
                                    (size_t{ncodes} + 1) * sizeof(uint32_t), rows.data(), row_of_code.data(), ncodes);
      };
      words symbols = written(vornenc_symbols_bytes(rows.data(), row_of_code.data(), ncodes), 0, pack);
      dictionary.syms = symbols.data();
      stored column = stored_codes(numbers(row_codes.begin(), row_codes.end()), vornenc_code_width(ncodes));
      column.column.dictionary = &dictionary;
      vorn_cv src, res;
      vorn_enc_ctx enc;
      ASSERT_EQ(vornenc_build_column(&src, &enc, &column.column), uint32_t{VORNENC_DONE});
      std::vector<const char *> texts(nrows);
      std::vector<uint16_t> lens(nrows), flags(nrows);
      codes all(nrows);
      std::iota(all.begin(), all.end(), 0U);
      vorn_aux aux = {};
      aux.vorn_aux_ones_vec = all.data();
      aux.vorn_aux_ones_vec_size = nrows;
      const vornenc_vector result = {.vals = texts.data(), .lens = lens.data(), .flgs = flags.data(), .nrows = nrows};
      vornenc_build_vector(&res, &result);
      vorn_decode(&ctx, &res, &src, &aux);
      for (uint32_t row = 0; row < nrows; ++row)
        ASSERT_EQ(std::string(lens[row] != 0 ? texts[row] : "", lens[row]), bytes[row].substr(0, rows[row].length));
    }
}

TEST_P(encode_test, numbers_come_back_and_their_keys_sort) {
  const vorn_ctx ctx = env.context();
  const auto expect_same = [&]<class Number>(const std::vector<Number> &given, uint32_t num_type, uint32_t width) {
    const auto n = static_cast<uint32_t>(given.size());
    words canonical = written(vornenc_fixed_bytes(n, width), VORNENC_SLACK, [&](uint8_t *at, size_t room) {
      return vornenc_pack_numbers(at, room, given.data(), n, num_type, width);
    });
    const size_t bytes = n * sizeof(Number);
    words unpacked = written(bytes, 0, [&](uint8_t *at, size_t room) {
      return vornenc_unpack_numbers(at, room, canonical.data(), n, num_type, width);
    });
    ASSERT_EQ(std::memcmp(unpacked.data(), given.data(), bytes), 0);
    const vornenc_column column = {.form = VORNENC_FIXED,
                                   .width = width,
                                   .nrows = n,
                                   .num_type = static_cast<uint8_t>(num_type),
                                   .vals = canonical.data()};
    vorn_cv src, res;
    vorn_enc_ctx enc;
    ASSERT_EQ(vornenc_build_column(&src, &enc, &column), uint32_t{VORNENC_DONE});
    words native(n + 1);
    const vornenc_vector result = {.vals = native.data(), .nrows = n};
    vornenc_build_vector(&res, &result);
    vorn_aux aux = {};
    if (num_type == VORN_NUM_DSB) {
      uint64_t sum = 0;
      for (Number number : given)
        sum += static_cast<uint64_t>(number);
      ASSERT_EQ(vorn_gby_sum(&ctx, &res, &src, nullptr, &aux), uint32_t{VORN_RESULT_DONE});
      ASSERT_EQ(native[0], sum);
    } else {
      ASSERT_EQ(vorn_convert(&ctx, &res, &src, nullptr), uint32_t{VORN_RESULT_DONE});
      ASSERT_EQ(std::memcmp(native.data(), given.data(), bytes), 0);
    }
  };
  const double infinity = HUGE_VAL;
  std::vector<double> doubles = {-infinity, -1e300, -1.5, -1e-310, -0.0, 0.0, 1e-310, 1.5, 1e300, infinity};
  std::vector<float> floats(doubles.begin(), doubles.end());
  expect_same(doubles, VORN_NUM_DOUBLE, 64);
  expect_same(floats, VORN_NUM_FLOAT, 32);
  for (size_t i = 0; i + 1 < doubles.size(); ++i) {
    EXPECT_LT(vornenc_key_of_double(doubles[i]), vornenc_key_of_double(doubles[i + 1]));
    EXPECT_LE(vornenc_key_of_float(floats[i]), vornenc_key_of_float(floats[i + 1]));
    EXPECT_EQ(vornenc_double_of_key(vornenc_key_of_double(doubles[i])), doubles[i]);
  }
  for (uint32_t width : {8U, 16U, 32U, 64U}) {
    const auto top = static_cast<int64_t>(largest(width) >> 1);
    const std::vector<int64_t> integers = {-top - 1, -top, -1, 0, 1, top - 1, top};
    expect_same(integers, VORN_NUM_DSB, width);
    for (size_t i = 0; i < integers.size(); ++i) {
      EXPECT_EQ(vornenc_int64_of_key(vornenc_key_of_int64(integers[i], width), width), integers[i]);
      EXPECT_TRUE(i == 0 || vornenc_key_of_int64(integers[i - 1], width) < vornenc_key_of_int64(integers[i], width));
    }
    EXPECT_EQ(vornenc_key_of_int64(top, width), largest(width));
  }
  EXPECT_EQ(vornenc_key_of_text("ab", 2, 32), 0x61620000U);
}

TEST_P(encode_test, translate_tables_answer_with_their_entries) {
  const vorn_ctx ctx = env.context();
  for (uint32_t width : {1U, 4U, 8U, 16U, 32U})
    for (uint32_t base : {0U, 1000U})
      for (bool paged : {false, true}) {
        constexpr uint32_t nkeys = 777, nrows = 300, page_bits = 7;
        codes entries(nkeys), keys(nrows);
        for (uint32_t &entry : entries)
          entry = random.once_in(3) ? VORNENC_NO_ENTRY
                                    : static_cast<uint32_t>(width == 1 ? 0 : random.below(largest(width)));
        for (uint32_t &key : keys)
          key = base + static_cast<uint32_t>(random.below(nkeys));
        std::vector<words> tables;
        std::vector<const void *> pages;
        const uint32_t step = paged ? 1U << page_bits : nkeys;
        for (uint32_t first = 0; first < nkeys; first += step) {
          const uint32_t count = std::min(step, nkeys - first);
          tables.push_back(written(vornenc_translate_bytes(count, width), 0, [&](uint8_t *at, size_t room) {
            return vornenc_pack_translate(at, room, entries.data() + first, count, width);
          }));
          pages.push_back(tables.back().data());
        }
        words big_endian_keys = stored_codes(numbers(keys.begin(), keys.end()), 32).vals;
        const vornenc_translate table = {.table = paged ? static_cast<const void *>(pages.data()) : pages[0],
                                         .width = width,
                                         .base = base,
                                         .c2d = width != 1,
                                         .paged = paged,
                                         .page_bits = page_bits};
        const vornenc_rows rows = {
            .form = VORN_HASH_VALUES, .width = 32, .nrows = nrows, .vals = big_endian_keys.data()};
        vorn_cv src, tbl, res;
        vorn_enc_ctx src_enc, enc;
        const uint32_t result = vornenc_build_translate(&tbl, &enc, &table);
        ASSERT_EQ(result, uint32_t{paged && base != 0 ? VORNENC_BAD_WIDTH : VORNENC_DONE});
        if (result != VORNENC_DONE)
          continue;
        ASSERT_EQ(vornenc_build_rows(&src, &src_enc, &rows), uint32_t{VORNENC_DONE});
        words found(nrows / 64 + 1), range(1), answers(nrows);
        vornenc_vector output = {.vals = range.data(), .bits = found.data(), .nrows = nrows};
        vornenc_build_vector(&res, &output);
        vorn_aux aux = {};
        aux.vorn_aux_xlate_enc = &enc;
        aux.vorn_aux_xlate_tbl = answers.data();
        vorn_xlate(&ctx, &res, &src, &tbl, &aux);
        for (uint32_t row = 0; row < nrows; ++row) {
          const uint32_t entry = entries[keys[row] - base];
          ASSERT_EQ(vorn_model::bit(found.data(), row), entry != VORNENC_NO_ENTRY);
          if (width != 1) {
            const uint64_t bit = uint64_t{row} * width;
            ASSERT_EQ(answers[bit / 64] >> bit % 64 & largest(width), entry & largest(width));
          }
        }
      }
}

// A partitioned hash table and a bloom map of the chosen sizes: all keys are found, few others pass the map.
TEST_P(encode_test, joins_of_the_chosen_sizes_find_every_key) {
  const vorn_ctx ctx = env.context();
  for (uint64_t keys : {0U, 1U, 5U, 1000U, 20000U})
    for (uint32_t layout : {0U, uint32_t{VORN_HT_K2V8}, uint32_t{VORN_HT_K4V4}, uint32_t{VORN_HT_K4V8}})
      for (uint64_t cache : {uint64_t{0}, uint64_t{20000}}) {
        const auto nrows = static_cast<uint32_t>(keys);
        numbers hashes(2 * keys); // the second half are other keys
        for (uint64_t i = 0; i < hashes.size(); ++i)
          hashes[i] = vornenc_hash(&i, sizeof i, 0);
        vornenc_table_size size = {.layout = layout};
        ASSERT_EQ(vornenc_size_table(&size, keys, cache), uint32_t{VORNENC_DONE});
        const size_t parts = size_t{1} << size.partition_bits, buckets = size_t{1} << size.bucket_bits;
        EXPECT_TRUE(cache == 0 || buckets * VORNENC_BUCKET_BYTES <= (parts == 1 ? cache : cache / 2));
        EXPECT_TRUE(keys < 1000 || (keys * 10 > parts * buckets * size.slots * 3 - 100 &&
                                    keys * 10 <= parts * buckets * size.slots * 6 + 100));

        std::vector<words> memory;
        std::vector<void *> tables, next, end, area_next, area_end;
        const auto room_of = [&](size_t bytes) { return memory.emplace_back(bytes / 8).data(); };
        for (size_t part = 0; part < parts; ++part) {
          tables.push_back(room_of(buckets * VORNENC_BUCKET_BYTES));
          next.push_back(room_of(size.first_overflow * VORNENC_BUCKET_BYTES));
          end.push_back(static_cast<uint8_t *>(next[part]) + size.first_overflow * VORNENC_BUCKET_BYTES);
          area_next.push_back(room_of(keys * 16));
          area_end.push_back(static_cast<uint8_t *>(area_next[part]) + keys * 16);
        }
        const std::vector<void *> areas = area_next;
        vorn_hash_table ht;
        vorn_partition_buffer pb;
        vornenc_build_hash_table(&ht, &size, tables.data(), next.data(), end.data());
        vornenc_build_partition_buffer(&pb, &size, VORN_PB_RID, 0, area_next.data(), area_end.data());
        vorn_cv src, rids, res;
        vorn_enc_ctx src_enc, rid_enc, res_enc;
        const vornenc_rows hashed = {.form = VORN_HASH_VALUES, .nrows = nrows, .vals = hashes.data()};
        const vornenc_rows row_ids = {.form = VORN_AUTORID, .nrows = nrows};
        vornenc_build_rows(&src, &src_enc, &hashed);
        vornenc_build_rows(&rids, &rid_enc, &row_ids);
        vorn_aux aux = {};
        ASSERT_EQ(vorn_partition(&ctx, &pb, &src, &rids, nullptr, &aux), uint32_t{VORN_RESULT_DONE});
        for (size_t part = 0; part < parts; ++part) {
          const auto bytes = static_cast<uint8_t *>(area_next[part]) - static_cast<uint8_t *>(areas[part]);
          const vornenc_rows records = {
              .form = VORN_HASHRID, .nrows = static_cast<uint32_t>(bytes / 16), .vals = areas[part]};
          vorn_cv part_src;
          vorn_enc_ctx part_enc;
          vornenc_build_rows(&part_src, &part_enc, &records);
          aux = {};
          uint64_t granted = size.first_overflow;
          while (vorn_ht_build(&ctx, &ht, &part_src, &part_src, static_cast<int32_t>(part), nullptr, &aux) ==
                 VORN_RESULT_NO_OVERFLOW) {
            const uint64_t more = vornenc_more_overflow(granted);
            granted += more;
            next[part] = room_of(more * VORNENC_BUCKET_BYTES);
            end[part] = static_cast<uint8_t *>(next[part]) + more * VORNENC_BUCKET_BYTES;
          }
        }
        std::vector<std::pair<uint64_t, uint64_t>> pairs(3 * keys + 100);
        const vornenc_rows found = {
            .form = VORN_RIDVALUE, .nrows = static_cast<uint32_t>(pairs.size()), .vals = pairs.data()};
        vornenc_build_rows(&res, &res_enc, &found);
        aux = {};
        ASSERT_EQ(vorn_ht_probe(&ctx, &res, &src, &rids, &ht, nullptr, &aux), uint32_t{VORN_RESULT_DONE});
        std::vector<bool> is_found(keys);
        for (uint32_t i = 0; i < res.vorn_cv_nrows; ++i)
          if (pairs[i].first == pairs[i].second)
            is_found[pairs[i].first] = true;
        ASSERT_EQ(std::count(is_found.begin(), is_found.end(), true), static_cast<ptrdiff_t>(keys));

        const uint32_t bits = vornenc_bloom_bits(keys);
        words map(vornenc_bloom_bytes(bits) / 8), tested(2 * keys / 2 + 1), passed(2 * keys / 64 + 1), range(1);
        ASSERT_EQ(vornenc_bloom_add(map.data(), map.size() * 8 - 1, hashes.data(), keys, bits),
                  uint32_t{VORNENC_NO_ROOM});
        ASSERT_EQ(vornenc_bloom_add(map.data(), map.size() * 8, hashes.data(), keys, bits), uint32_t{VORNENC_DONE});
        tested = written(2 * keys * sizeof(uint32_t), 0, [&](uint8_t *at, size_t room) {
          return vornenc_bloom_keys(reinterpret_cast<uint32_t *>(at), room, hashes.data(), 2 * keys);
        });
        vorn_cv filter;
        const vornenc_rows asked = {.form = VORN_HASH_VALUES, .width = 32, .nrows = 2 * nrows, .vals = tested.data()};
        const vornenc_vector output = {.vals = range.data(), .bits = passed.data(), .nrows = 2 * nrows};
        vornenc_build_rows(&src, &src_enc, &asked);
        vornenc_build_bloom(&filter, &rid_enc, map.data(), bits);
        vornenc_build_vector(&res, &output);
        vorn_bloom(&ctx, &res, &src, &filter, nullptr);
        for (uint32_t row = 0; row < nrows; ++row)
          ASSERT_TRUE(vorn_model::bit(passed.data(), row));
        EXPECT_LE(res.vorn_cv_popc, keys + keys / 8 + 2);
      }
}

VORN_TEST_ALL_IMPLEMENTATIONS(encode_test);

TEST(encode, refuses_what_the_kernels_could_not_read) {
  uint8_t out[256];
  std::memset(out, 0xa5, sizeof out);
  const uint32_t codes_of_3_bits[] = {7, 8, 0}, wide_entry[] = {15};
  const uint64_t values[] = {0x100, 0xff, 1}, too_many_rows[] = {UINT64_C(1) << 32};
  const uint8_t lengths[] = {1, 0, 2}, cut[] = {1, 1, 2}, too_long[] = {9};
  const int64_t integer[] = {128};
  const vornenc_text texts[] = {{"abc", 3}, {"ab", 2}}, null_with_length[] = {{nullptr, 1}},
                     long_text[] = {{"", 65536}};
  vornenc_dictionary dictionary = {};
  vornenc_table_size size = {.layout = 3};
  vornenc_table_size none = {};
  uint32_t a[4], b[4], n;
  const std::pair<uint32_t, uint32_t> results[] = {
      {vornenc_pack_codes(out, 256, codes_of_3_bits, 3, 3), VORNENC_TOO_WIDE},
      {vornenc_pack_codes(out, 256, codes_of_3_bits, 3, 0), VORNENC_BAD_WIDTH},
      {vornenc_pack_codes(out, 256, codes_of_3_bits, 3, 33), VORNENC_BAD_WIDTH},
      {vornenc_pack_codes(out, SIZE_MAX, nullptr, UINT32_MAX, 2), VORNENC_TOO_MANY},
      {vornenc_split_runs(a, out, b, 4, codes_of_3_bits, nullptr, 3, 12), VORNENC_BAD_WIDTH},
      {vornenc_split_runs(a, out, b, 4, codes_of_3_bits, too_many_rows, 1, 16), VORNENC_TOO_MANY},
      {vornenc_pack_fixed(out, 256, values, 3, 8), VORNENC_TOO_WIDE},
      {vornenc_pack_fixed(out, 256, values, 3, 12), VORNENC_BAD_WIDTH},
      {vornenc_pack_lens(out, 256, lengths, 3, 16), VORNENC_TOO_WIDE},
      {vornenc_pack_lens(out, 256, lengths, 1, 8), VORNENC_BAD_WIDTH},
      {vornenc_pack_dynp(out, 200, out + 200, 56, values, lengths, 3, 16), VORNENC_TOO_WIDE},
      {vornenc_pack_dynp(out, 200, out + 200, 56, values, cut, 3, 16), VORNENC_TOO_WIDE},
      {vornenc_pack_dynp(out, 200, out + 200, 56, values, nullptr, 3, 24), VORNENC_BAD_WIDTH},
      {vornenc_pack_dynp(out, 200, out + 200, 56, values, too_long, 1, 64), VORNENC_TOO_WIDE},
      {vornenc_pack_prefix(out, 256, a, 16, values, 9, 1), VORNENC_BAD_WIDTH},
      {vornenc_assign_codes(a, b, &n, null_with_length, 1), VORNENC_TOO_WIDE},
      {vornenc_assign_codes(a, b, &n, long_text, 1), VORNENC_TOO_WIDE},
      {vornenc_pack_symbols(&dictionary, out, 256, nullptr, 0, texts, nullptr, 2), VORNENC_NOT_ONE_LENGTH},
      {vornenc_pack_symbols(&dictionary, out, 256, a, 8, texts, nullptr, 2), VORNENC_NO_ROOM},
      {vornenc_pack_symbols(&dictionary, out, 256, a, 16, long_text, nullptr, 1), VORNENC_TOO_WIDE},
      {vornenc_pack_numbers(out, 256, integer, 1, VORN_NUM_DSB, 8), VORNENC_TOO_WIDE},
      {vornenc_pack_numbers(out, 256, integer, 1, 0, 288), VORNENC_BAD_WIDTH},
      {vornenc_unpack_numbers(out, 256, integer, 1, 0, 288), VORNENC_BAD_WIDTH},
      {vornenc_pack_translate(out, 256, wide_entry, 1, 4), VORNENC_TOO_WIDE},
      {vornenc_pack_translate(out, 256, wide_entry, 1, 2), VORNENC_BAD_WIDTH},
      {vornenc_bloom_add(out, 256, values, 1, 5), VORNENC_BAD_WIDTH},
      {vornenc_size_table(&size, 10, 0), VORNENC_BAD_WIDTH},
      {vornenc_size_table(&none, UINT64_C(1) << 48, 0), VORNENC_TOO_MANY},
  };
  for (const auto &[result, expected] : results)
    EXPECT_EQ(result, expected) << "result " << &result - &results[0].first;
  EXPECT_EQ(std::count(out, out + sizeof out, 0xa5), 256) << "nothing is written";
  EXPECT_EQ(vornenc_codes_bytes(UINT32_MAX, 2), 0U);
  EXPECT_EQ(vornenc_code_width((UINT64_C(1) << 32) + 1), 0U);
  constexpr std::pair<uint64_t, uint32_t> widths[] = {
      {0, 1}, {2, 1}, {3, 2}, {1 << 20, 20}, {(1 << 20) + 1, 24}, {(1 << 24) + 1, 32}, {UINT64_C(1) << 32, 32}};
  for (const auto &[ncodes, width] : widths)
    EXPECT_EQ(vornenc_code_width(ncodes), width) << ncodes;
  const int64_t first_fits[] = {127, 128};
  EXPECT_EQ(vornenc_pack_numbers(out, 256, first_fits, 1, VORN_NUM_DSB, 8), uint32_t{VORNENC_DONE});
  EXPECT_EQ(vornenc_lens_bytes(10, 12), 0U);
  EXPECT_EQ(vornenc_lens_bytes(10, 8), 0U);
  EXPECT_EQ(vornenc_translate_bytes(1, 1), 8U);
  EXPECT_STREQ(vornenc_result_text(VORNENC_NO_ROOM), "an output is too small");
  EXPECT_EQ(vornenc_result_text(VORNENC_NOT_ONE_LENGTH + 1), nullptr);
}

// 200 keys take 64 buckets, 4 KB.
TEST(encode, sizes_of_joins_follow_the_cache) {
  struct {
    uint64_t cache;
    uint32_t given, partition_bits, bucket_bits;
    uint64_t first_overflow;
  } const cases[] = {{0, 0, 0, 6, 5},    {0, 16, 16, 0, 1},  {1, 0, 6, 0, 1},
                     {2048, 0, 2, 4, 2}, {4095, 0, 2, 4, 2}, {4096, 0, 0, 6, 5}};
  for (const auto &c : cases) {
    vornenc_table_size size = {.partition_bits = c.given};
    ASSERT_EQ(vornenc_size_table(&size, 200, c.cache), uint32_t{VORNENC_DONE});
    EXPECT_EQ(size.partition_bits, c.partition_bits) << c.cache;
    EXPECT_EQ(size.bucket_bits, c.bucket_bits) << c.cache;
    EXPECT_EQ(size.first_overflow, c.first_overflow) << c.cache;
    EXPECT_EQ(size.area_records, (200U >> c.partition_bits) / 2 + 1) << c.cache;
  }
  vornenc_table_size size = {.partition_bits = 17};
  EXPECT_EQ(vornenc_size_table(&size, 200, 0), uint32_t{VORNENC_TOO_MANY});
  EXPECT_EQ(vornenc_more_overflow(1), 1U);
  EXPECT_EQ(vornenc_more_overflow(5), 2U);
}

} // namespace
