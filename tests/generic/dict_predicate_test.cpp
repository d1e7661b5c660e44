// Every dictionary predicate of every implementation against the model: row counts around words and blocks, masks and
// filters, the selective twins, constants in and beyond the width, streams that end at an unreadable page.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "tests/model/dict_predicate.hpp"
#include "tests/support/guarded.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/slots.hpp"

namespace {

using vorn_model::predicate;
using vorn_test::slot;

constexpr uint32_t row_counts[] = {0, 1, 7, 8, 9, 63, 64, 65, 127, 128, 1023, 1024, 1025};
constexpr uint32_t most_rows = 1025;
constexpr size_t most_words = (most_rows + 63) / 64;
constexpr uint64_t seed = 20240917;

enum class filter_kind { none, full_pass, selective };

std::vector<slot> dict_predicates() {
  std::vector<slot> slots;
  for (const slot &s : vorn_test::filled_slots(vorn_global_ctx.vorn_global_ctx_dispatch))
    if (s.opcode() <= VORN_OPC_GE_LE && s.encoding() == VORN_ENC_DICT)
      slots.push_back(s);
  return slots;
}

class dict_predicates_test : public vorn_test::implementation_test {
protected:
  // Fills words with bits of the given density, stray bits behind the last row included.
  void randomise(uint64_t *words, size_t count, unsigned per_mille) {
    for (size_t i = 0; i < count; ++i) {
      words[i] = 0;
      for (unsigned b = 0; b < 64; ++b)
        words[i] |= uint64_t{random() % 1000 < per_mille} << b;
    }
  }

  // A stream of few distinct codes, extremes among them, so that every predicate both hits and misses.
  uint8_t *make_stream(unsigned width, uint32_t nrows) {
    const size_t size = (uint64_t{nrows} * width + 7) / 8;
    uint8_t *bytes = stream.last(size);
    const uint64_t top = width == 64 ? UINT64_MAX : (uint64_t{1} << width) - 1;
    const uint64_t middle = random() & top;
    const uint64_t palette[] = {0, 1, top, top - 1, middle, middle ^ 1, middle & 0xffffffff, random() & top};
    std::fill_n(bytes, size, uint8_t{0xff}); // the padding bits behind the last code are ones
    for (uint32_t row = 0; row < nrows; ++row)
      vorn_model::put_code(bytes, width, row, palette[random() % std::size(palette)] & top);
    return bytes;
  }

  uint32_t make_constant(unsigned width, const uint8_t *bytes, uint32_t nrows) {
    const uint64_t top = width >= 32 ? UINT32_MAX : (uint64_t{1} << width) - 1;
    switch (random() % 8) {
    case 0:
      return static_cast<uint32_t>(random() & 3);
    case 1:
      return static_cast<uint32_t>(top);
    case 2:
      return static_cast<uint32_t>(top - 1);
    case 3:
      return static_cast<uint32_t>(random()); // mostly beyond the width
    default:
      return nrows == 0 ? 1 : static_cast<uint32_t>(vorn_model::code_at(bytes, width, random() % nrows) & top);
    }
  }

  void check(const slot &s, uint32_t nrows, bool masked, filter_kind filtering) {
    uint8_t *bytes = make_stream(s.width(), nrows);
    predicate p = {s.opcode(), s.width(), s.flag(), make_constant(s.width(), bytes, nrows), 0};
    p.hi = random() % 4 == 0 ? p.c : make_constant(s.width(), bytes, nrows);
    const size_t nwords = (nrows + 63) / 64;
    uint64_t *mask = masked ? masks.last_words(nwords) : nullptr;
    uint64_t *filter = filtering != filter_kind::none ? filters.last_words(nwords) : nullptr;
    const unsigned densities[] = {0, 20, 500, 1000};
    if (masked)
      randomise(mask, nwords, 800);
    if (filter != nullptr)
      randomise(filter, nwords, densities[random() % 4]);
    uint64_t *out = output.last_words(nwords);
    std::fill_n(out, nwords, uint64_t{0xabababababababab});

    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, s.width(), nullptr, nullptr, nullptr, 0, 0, s.flag() ? VORN_NULLS : 0);
    vorn_cv res = {}, src = {}, lo = {}, hi = {};
    vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out, nrows, 0, nullptr, 0);
    vorn_build_vector(&src, bytes, nullptr, nullptr, &enc, mask, nullptr, nrows, 0, nullptr, 0);
    vorn_build_vector(&lo, &p.c, nullptr, nullptr, &enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_build_vector(&hi, &p.hi, nullptr, nullptr, &enc, nullptr, nullptr, 1, 0, nullptr, 0);
    vorn_aux aux = {};
    aux.vorn_aux_filter_bv = filter;
    aux.vorn_aux_flags = filtering == filter_kind::selective ? VORN_AUX_FORCE_SELECTIVE : 0;
    aux.vorn_aux_op_bits[2] = 0x40;

    const bool selective = filtering == filter_kind::selective;
    const auto expected = vorn_model::evaluate(p, bytes, nrows, mask, filter, selective);
    const uint32_t code = vorn_test::run(vorn_global_ctx.vorn_global_ctx_dispatch[s.index], s, res, src, lo, hi, aux);

    const auto where = [&] {
      return testing::Message() << s.name() << " rows " << nrows << " constants " << p.c << ", " << p.hi << " masked "
                                << masked << " filter " << static_cast<int>(filtering) << " seed " << seed;
    };
    ASSERT_EQ(code, expected.count == 0 ? uint32_t{VORN_RESULT_EMPTY} : uint32_t{VORN_RESULT_DONE}) << where();
    ASSERT_EQ(res.vorn_cv_popc, expected.count) << where();
    ASSERT_EQ(std::vector<uint64_t>(out, out + nwords), expected.words) << where();
    ASSERT_TRUE(output.intact(nwords * 8)) << where();
    // The selective bit of comparisons, and nothing else.
    ASSERT_EQ(aux.vorn_aux_op_bits[0], 0) << where();
    ASSERT_EQ(aux.vorn_aux_op_bits[1], filter != nullptr ? 0x02 : 0) << where();
    ASSERT_EQ(aux.vorn_aux_op_bits[2], 0x40) << where();
    ASSERT_EQ(aux.vorn_aux_filter_bv, filter) << where();
  }

  std::mt19937_64 random{seed};
  vorn_test::guarded stream{most_rows * 8};
  vorn_test::guarded masks{most_words * 8}, filters{most_words * 8}, output{most_words * 8};
};

TEST_P(dict_predicates_test, agree_with_the_model) {
  const auto slots = dict_predicates();
  ASSERT_EQ(slots.size(), 460U);
  for (const slot &s : slots)
    for (const uint32_t nrows : row_counts)
      for (const auto filtering : {filter_kind::none, filter_kind::full_pass, filter_kind::selective})
        for (const bool masked : {false, true}) {
          if (nrows == 0 && (masked || filtering == filter_kind::full_pass))
            continue; // there is nothing to combine
          for (int repetition = 0; repetition < 3; ++repetition)
            ASSERT_NO_FATAL_FAILURE(check(s, nrows, masked, filtering));
        }
}

// All codes of a width that is small enough against all constants: no boundary is left to chance.
TEST_P(dict_predicates_test, are_exact_at_every_code_and_constant) {
  for (const slot &s : dict_predicates()) {
    const unsigned width = s.width();
    if (width > 6)
      continue;
    const uint32_t ncodes = 1U << width;
    std::vector<uint8_t> bytes(ncodes * width / 8 + 1);
    for (uint32_t code = 0; code < ncodes; ++code)
      vorn_model::put_code(bytes.data(), width, code, code);
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, width, nullptr, nullptr, nullptr, 0, 0, 0);
    for (uint32_t c = 0; c <= ncodes; ++c)
      for (uint32_t hi_code = 0; hi_code <= (s.range() ? ncodes : 0); ++hi_code) {
        predicate p = {s.opcode(), width, s.flag(), c, hi_code};
        uint64_t out[1] = {};
        vorn_cv res = {}, src = {}, lo = {}, hi = {};
        vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out, ncodes, 0, nullptr, 0);
        vorn_build_vector(&src, bytes.data(), nullptr, nullptr, &enc, nullptr, nullptr, ncodes, 0, nullptr, 0);
        lo.vorn_cv_vals = &p.c;
        hi.vorn_cv_vals = &p.hi;
        vorn_aux aux = {};
        vorn_test::run(vorn_global_ctx.vorn_global_ctx_dispatch[s.index], s, res, src, lo, hi, aux);
        for (uint32_t code = 0; code < ncodes; ++code)
          ASSERT_EQ(vorn_model::bit(out, code), vorn_model::matches(p, code, false))
              << s.name() << " code " << code << " constants " << c << ", " << hi_code;
      }
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(dict_predicates_test);

} // namespace
