// The decoders of packed and of unpacked dictionary codes: every kernel against the dictionary, in both layouts, for
// elements of every size, with and without flags, and as copies.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/kernel_test.hpp"
#include "tests/support/slots.hpp"
#include "tests/support/stored.hpp"

namespace {

using vorn_test::each;
using vorn_test::slot;

constexpr uint64_t untouched = 0xabababababababab;

// The address, the length and the flags of a value.
using decoded = std::tuple<uint64_t, uint16_t, uint16_t>;

// A dictionary, and the expected result of a decoder for a code.
class dictionary {
public:
  static dictionary of_one_length(uint16_t length) { return dictionary({}, length); }

  // Values of different lengths.  Some are empty, and one has 65,536 bytes.  The CLA ends at unreadable memory.
  static dictionary of_offsets(uint32_t nsyms) {
    std::vector<uint32_t> offsets = {0};
    for (uint32_t code = 0; code < nsyms; ++code)
      offsets.push_back(offsets.back() + (code == 3 ? 65536 : code % 3));
    return dictionary(std::move(offsets), 0);
  }

  bool one_length() const { return offsets_.empty(); }
  bool all_null() const { return one_length() && length_ == 0; }

  vorn_enc_ctx encoding(unsigned width) const {
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, width, symbols_, lengths_, cla_, static_cast<uint32_t>(offsets_.size()),
                                  one_length() ? VORN_DICT_ONE_LENGTH : VORN_DICT_CLA, 0);
    return enc;
  }

  // Offsets of values of one length wrap at 32 bits.  If all values are NULL, no address is written.
  decoded at(uint32_t code) const {
    const auto length = static_cast<uint16_t>(one_length() ? length_ : offsets_[code + 1] - offsets_[code]);
    const uint32_t offset = one_length() ? code * length_ : offsets_[code];
    return {all_null() ? untouched : reinterpret_cast<uintptr_t>(symbols_) + offset, length, length == 0 ? 2 : 0};
  }

private:
  dictionary(std::vector<uint32_t> offsets, uint16_t length)
      : offsets_(std::move(offsets)), length_(length), cla_(memory_.last(4 * offsets_.size())) {
    for (size_t i = 0; i < offsets_.size(); ++i)
      vorn_test::store_big(cla_ + 4 * i, offsets_[i], 4);
    vorn_test::store_big(lengths_, length, 2);
  }

  std::vector<uint32_t> offsets_;
  uint16_t length_;
  uint8_t lengths_[2] = {};
  vorn_test::guarded memory_{4 * 400};
  uint8_t *cla_;
  static inline const uint8_t symbols_[1] = {}; // no symbol is read
};

// The three output arrays of a decoder, filled with bytes that must be overwritten.
struct decode_output {
  explicit decode_output(size_t n) : vals(n + 1, untouched), lens(n + 1, 0xabab), flgs(n + 1, 0xabab) {
    vorn_build_vector(&res, vals.data(), lens.data(), flgs.data(), nullptr, nullptr, nullptr, static_cast<uint32_t>(n),
                      0, nullptr, 0);
    res.vorn_cv_popc = 12345;
  }

  decoded at(size_t i) const { return {vals[i], lens[i], flgs[i]}; }
  bool nothing_from(size_t i) const { return at(i) == decoded{untouched, 0xabab, 0xabab}; }

  std::vector<uint64_t> vals;
  std::vector<uint16_t> lens, flgs;
  vorn_cv res = {};
};

class value_decoders : public vorn_test::implementation_test {
protected:
  void SetUp() override {
    implementation_test::SetUp();
    packed = vorn_test::slots_of(VORN_OPC_DECODE, 22);
    unpacked = vorn_test::slots_of(VORN_OPC_DECODE_SYMBOL, 3);
  }

  // Elements in the byte order of the processor.  They end at unreadable memory.
  uint8_t *elements(const std::vector<uint32_t> &codes, size_t size) {
    uint8_t *bytes = stream.last(codes.size() * size);
    for (size_t i = 0; i < codes.size(); ++i)
      std::memcpy(bytes + i * size, &codes[i], size);
    return bytes;
  }

  // Runs the kernel over the codes of a list of rows, or over elements with these codes.
  uint32_t run(const slot &s, vorn_enc_ctx enc, const std::vector<uint32_t> &codes, std::vector<uint32_t> rows,
               uint8_t flags, uint8_t flags2, vorn_cv &res) {
    vorn_aux aux = {};
    uint64_t filter = 0; // decoders ignore the filter and the number of rows
    aux.vorn_aux_filter_bv = &filter;
    aux.vorn_aux_ones_vec = rows.data();
    aux.vorn_aux_ones_vec_size = static_cast<uint32_t>(rows.size());
    aux.vorn_aux_flags = flags;
    aux.vorn_aux_flags2 = flags2;
    aux.vorn_aux_start_slot = 77;
    vorn_aux expected = aux;
    void *decompressed = nullptr;
    vorn_cv src;
    if (s.opcode() == VORN_OPC_DECODE_SYMBOL) {
      src = vorn_test::vector_of(elements(codes, (flags & VORN_AUX_UNPACK_UB4) ? 4 : s.width() / 8), enc,
                                 static_cast<uint32_t>(codes.size()));
    } else {
      const bool runs = random.below(2); // the number of runs is the number of codes
      if (runs)
        vorn_add_encoding_type_rle(&enc, nullptr, nullptr, 8, static_cast<uint32_t>(codes.size()), nullptr);
      src = vorn_test::vector_of(vorn_test::store_codes(stream, random.below(2), s.width(), codes.size(),
                                                        [&](uint32_t i) { return codes[i]; }),
                                 enc, runs ? 2000 : 1);
      src.vorn_cv_stream_slot = &decompressed; // a stream is not decompressed if no code is needed
      src.vorn_cv_vals = enc.vorn_enc_ctx_flags & VORN_STREAM ? nullptr : src.vorn_cv_vals;
    }
    const uint32_t code = s.run(res, src, aux);
    if (s.opcode() == VORN_OPC_DECODE && code == VORN_RESULT_DONE) {
      expected.vorn_aux_start_slot = rows.empty() ? 77 : rows.back();
      expected.vorn_aux_op_bits[1] = 0x04;
    }
    EXPECT_TRUE(vorn_test::bytes_of(aux) == vorn_test::bytes_of(expected)) << s.name();
    EXPECT_EQ(decompressed, nullptr) << s.name();
    return code;
  }

  // Decodes and compares with the dictionary.
  void check(const slot &s, const dictionary &values, const std::vector<uint32_t> &codes,
             const std::vector<uint32_t> &rows, uint8_t flags, bool flagged) {
    const bool symbols = s.opcode() == VORN_OPC_DECODE_SYMBOL;
    const size_t n = symbols ? codes.size() : rows.size();
    decode_output out(n);
    if (!flagged)
      out.res.vorn_cv_flgs = nullptr;
    vorn_enc_ctx enc = values.encoding(s.width());
    if (values.all_null() && !symbols)
      enc.vorn_enc_ctx_flags |= VORN_STREAM;
    // Only the kernel of 32-bit elements copies values, and only values of one length.
    const bool copies = symbols && s.width() == 32 && values.one_length();
    ASSERT_EQ(run(s, enc, codes, rows, flags, copies ? 0 : VORN_AUX_COPY_VALUES, out.res), uint32_t{VORN_RESULT_DONE});
    for (size_t i = 0; i < n; ++i) {
      decoded expected = values.at(codes[symbols ? i : rows[i]]);
      if (!flagged)
        std::get<2>(expected) = 0xabab;
      ASSERT_EQ(out.at(i), expected) << s.name() << " entry " << i << " of " << n;
    }
    ASSERT_TRUE(out.nothing_from(n)) << s.name();
    ASSERT_EQ(out.res.vorn_cv_popc, n) << s.name();
  }

  std::vector<uint32_t> draw(size_t n, uint64_t ncodes) {
    std::vector<uint32_t> codes(n);
    for (uint32_t &code : codes)
      code = static_cast<uint32_t>(random.below(ncodes));
    return codes;
  }

  std::vector<slot> packed, unpacked;
  vorn_test::random_source random{20241124};
  vorn_test::guarded stream{4 * 1100};
};

TEST_P(value_decoders, find_the_values_of_packed_codes) {
  for (const slot &s : each(packed)) {
    const uint64_t ncodes = uint64_t{1} << s.width(), nsyms = std::min(ncodes, uint64_t{300});
    const auto offsets = dictionary::of_offsets(static_cast<uint32_t>(nsyms));
    for (const uint32_t nrows : each({1U, 2U, 3U, 8U, 9U, 64U, 1025U})) {
      std::vector<uint32_t> rows(nrows);
      for (uint32_t row = 0; row < nrows; ++row)
        rows[row] = row;
      std::shuffle(rows.begin(), rows.end(), random);
      rows.insert(rows.begin(), rows[0]);
      ASSERT_NO_FATAL_FAILURE(check(s, offsets, draw(nrows, nsyms), rows, 0, true));
      for (const uint16_t length : {uint16_t{0x102}, uint16_t{0}}) {
        ASSERT_NO_FATAL_FAILURE(check(s, dictionary::of_one_length(length), draw(nrows, ncodes), rows, 0, true));
        ASSERT_NO_FATAL_FAILURE(check(s, dictionary::of_one_length(length), draw(nrows, ncodes), {}, 0, true));
      }
    }
  }
}

TEST_P(value_decoders, find_the_values_of_every_element) {
  const auto offsets = dictionary::of_offsets(300);
  for (const slot &s : each(unpacked))
    for (const uint8_t flags : {uint8_t{0}, uint8_t{VORN_AUX_UNPACK_UB4}})
      for (const bool flagged : each({true, false}))
        for (const size_t n : each({0U, 1U, 3U, 1025U})) {
          const auto codes = draw(n, s.width() == 8 && flags == 0 ? 256 : 300);
          ASSERT_NO_FATAL_FAILURE(check(s, offsets, codes, {}, flags, flagged));
          for (const uint16_t length : {uint16_t{5}, uint16_t{0}})
            ASSERT_NO_FATAL_FAILURE(check(s, dictionary::of_one_length(length), codes, {}, flags, flagged));
        }
}

TEST_P(value_decoders, copy_values_of_one_length_back_to_back) {
  std::string symbols;
  for (unsigned i = 0; i < 2000; ++i)
    symbols += static_cast<char>('a' + i * 7 % 26);
  const slot s = unpacked.back();
  ASSERT_EQ(s.width(), 32U);
  for (const unsigned length : each({0U, 1U, 2U, 5U, 8U, 17U})) {
    const auto values = dictionary::of_one_length(static_cast<uint16_t>(length));
    vorn_enc_ctx enc = values.encoding(32);
    enc.vorn_enc_ctx_dict_syms = symbols.data();
    const auto codes = draw(60, 100);
    std::string expected;
    for (const uint32_t code : codes)
      expected += symbols.substr(code * length, length);
    vorn_test::guarded copies(expected.size());
    decode_output out(codes.size());
    out.res.vorn_cv_vals = copies.last(expected.size());
    EXPECT_EQ(run(s, enc, codes, {}, 0, VORN_AUX_COPY_VALUES, out.res), uint32_t{VORN_RESULT_DONE});
    EXPECT_EQ(std::string(static_cast<char *>(out.res.vorn_cv_vals), expected.size()), expected);
    EXPECT_TRUE(copies.intact(expected.size()));
    EXPECT_TRUE(out.nothing_from(0)) << "neither lengths nor flags";
    EXPECT_EQ(out.res.vorn_cv_popc, 60U);
  }
}

TEST_P(value_decoders, refuse_an_unknown_layout) {
  std::vector<slot> all = packed;
  all.insert(all.end(), unpacked.begin(), unpacked.end());
  for (const uint32_t layout : {2U, 0x100U, UINT32_MAX}) {
    for (const slot &s : all)
      for (const uint8_t copy : {uint8_t{0}, uint8_t{VORN_AUX_COPY_VALUES}}) {
        vorn_enc_ctx enc = s.encoding_context();
        enc.vorn_enc_ctx_dict_layout = layout;
        decode_output out(1);
        EXPECT_EQ(run(s, enc, {0}, {0}, 0, copy, out.res), uint32_t{VORN_RESULT_NO_IMPLEMENTATION});
        EXPECT_TRUE(out.nothing_from(0));
        EXPECT_EQ(out.res.vorn_cv_popc, 12345U);
      }
    EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(layout), 0U);
  }
  EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(VORN_DICT_ONE_LENGTH), 1U);
  EXPECT_EQ(vorn_decode_is_vorn_dict_type_supported(VORN_DICT_CLA), 1U);
}

VORN_TEST_ALL_IMPLEMENTATIONS(value_decoders);

} // namespace
