// Every predicate and set kernel over dictionary codes, of every implementation, against the model.  The cases are row
// counts around words and blocks, masks and filters, the selective twins, and constants in and beyond the width.
// Streams and maps end at an unreadable page.
#include "tests/generic/scan_test.hpp"

namespace {

using vorn_model::predicate;
using vorn_test::each;
using vorn_test::scan_call;
using vorn_test::slot;
using vorn_test::vector_of;

std::vector<slot> dict_predicates() {
  return vorn_test::slots_where([](const slot &s) { return s.predicate() && s.encoding() == VORN_ENC_DICT; });
}

class dict_predicates_test : public vorn_test::scan_test {
protected:
  // A stream of few distinct codes with both extremes, so that every predicate selects some rows and not others.
  uint8_t *make_stream(unsigned width, uint32_t nrows) {
    const uint64_t top = width == 64 ? UINT64_MAX : (uint64_t{1} << width) - 1;
    const uint64_t middle = random() & top;
    const uint64_t palette[] = {0, 1, top, top - 1, middle, middle ^ 1, middle & 0xffffffff, random() & top};
    return vorn_test::store_codes(stream, true, width, nrows,
                                  [&](uint32_t) { return palette[random.below(std::size(palette))] & top; });
  }

  uint32_t make_constant(unsigned width, const uint8_t *bytes, uint32_t nrows) {
    const uint32_t top = width >= 32 ? UINT32_MAX : (1U << width) - 1;
    const auto any = static_cast<uint32_t>(random()); // mostly beyond the width
    const auto of_a_row =
        static_cast<uint32_t>(nrows == 0 ? 1 : vorn_model::code_at(bytes, width, random.below(nrows)));
    const uint32_t palette[] = {any & 3, top, top - 1, any};
    const auto choice = random.below(8);
    return choice < 4 ? palette[choice] : of_a_row & top;
  }

  void check_slot(const slot &s, const scan_call &call) {
    uint8_t *bytes = make_stream(s.width(), call.nrows);
    predicate p = {s.opcode(), s.width(), s.flag(), make_constant(s.width(), bytes, call.nrows), 0};
    p.hi = random.below(4) == 0 ? p.c : make_constant(s.width(), bytes, call.nrows);

    vorn_enc_ctx enc = s.encoding_context();
    const auto matches = [&](uint32_t row) {
      return vorn_model::matches(p, vorn_model::code_at(bytes, s.width(), row), call.selective());
    };
    check(s, call, vector_of(bytes, enc, call.nrows), vector_of(&p.c, enc, 1), vector_of(&p.hi, enc, 1), matches,
          "constants " + std::to_string(p.c) + ", " + std::to_string(p.hi));
  }

  vorn_test::guarded stream{most_rows * 8};
};

TEST_P(dict_predicates_test, agree_with_the_model) {
  const auto slots = dict_predicates();
  ASSERT_EQ(slots.size(), 460U);
  for (const slot &s : each(slots))
    for ([[maybe_unused]] const int repetition : each({1, 2, 3}))
      ASSERT_NO_FATAL_FAILURE(for_each_call([&](const scan_call &call) { check_slot(s, call); }));
}

// All codes of small widths against all constants, so no boundary is left to chance.
TEST_P(dict_predicates_test, are_exact_at_every_code_and_constant) {
  for (const slot &s : dict_predicates()) {
    const unsigned width = s.width();
    if (width > 6)
      continue;
    const uint32_t ncodes = 1U << width;
    std::vector<uint8_t> bytes(ncodes * width / 8 + 1);
    for (uint32_t code = 0; code < ncodes; ++code)
      vorn_model::put_code(bytes.data(), width, code, code);
    vorn_enc_ctx enc = s.encoding_context();
    for (uint32_t c = 0; c <= ncodes; ++c)
      for (uint32_t hi_code = 0; hi_code <= (s.range() ? ncodes : 0); ++hi_code) {
        predicate p = {s.opcode(), width, s.flag(), c, hi_code};
        uint64_t out[1] = {};
        vorn_cv res = vorn_test::result_of(out, ncodes), src = vector_of(bytes.data(), enc, ncodes);
        vorn_aux aux = {};
        s.run(res, src, vector_of(&p.c, enc, 1), vector_of(&p.hi, enc, 1), aux);
        for (uint32_t code = 0; code < ncodes; ++code)
          ASSERT_EQ(vorn_model::bit(out, code), vorn_model::matches(p, code, false))
              << s.name() << " code " << code << " constants " << c << ", " << hi_code;
      }
  }
}

class sets_test : public vorn_test::scan_test {
protected:
  // Codes below `codes`, with both ends, and a map that has a bit for each code and no further word.
  void check_slot(const slot &s, const scan_call &call, uint64_t codes) {
    const uint8_t *bytes = vorn_test::store_codes(stream, true, s.width(), call.nrows, [&](uint32_t) {
      const uint64_t palette[] = {0, codes - 1, random.below(codes), random.below(codes)};
      return palette[random.below(std::size(palette))];
    });
    uint64_t *members = random_words(map, (codes + 63) / 64);
    vorn_enc_ctx enc = s.encoding_context();
    const vorn_cv set = vorn_test::result_of(members, 0); // only the map is read
    const auto matches = [&](uint32_t row) {
      return vorn_model::bit(members, vorn_model::code_at(bytes, s.width(), row));
    };
    check(s, call, vector_of(bytes, enc, call.nrows), set, set, matches, "codes " + std::to_string(codes));
  }

  static constexpr uint64_t most_codes = uint64_t{1} << 20;
  vorn_test::guarded stream{most_rows * 4}, map{most_codes / 8};
};

TEST_P(sets_test, agree_with_the_model) {
  for (const slot &s : each(vorn_test::slots_of(VORN_OPC_SET, 22))) {
    const uint64_t codes = s.width() < 17 ? uint64_t{1} << s.width() : 70000 + s.width();
    for ([[maybe_unused]] const int repetition : each({1, 2, 3}))
      ASSERT_NO_FATAL_FAILURE(for_each_call([&](const scan_call &call) { check_slot(s, call, codes); }));
  }
}

VORN_TEST_ALL_IMPLEMENTATIONS(dict_predicates_test);
VORN_TEST_ALL_IMPLEMENTATIONS(sets_test);

} // namespace
