// Every set kernel of every implementation against the model: the map and the stream end at unreadable pages.
#include "tests/generic/scan_test.hpp"
#include "tests/model/dict_predicate.hpp"

namespace {

using vorn_test::scan_call;
using vorn_test::slot;

std::vector<slot> sets() {
  return vorn_test::slots_where([](const slot &s) { return s.opcode() == VORN_OPC_SET; });
}

class sets_test : public vorn_test::scan_test {
protected:
  // Codes below `codes`, the ends among them, and a map that has a bit for each but not a word more.
  void check_slot(const slot &s, const scan_call &call, uint64_t codes, unsigned density) {
    const size_t size = (uint64_t{call.nrows} * s.width() + 7) / 8;
    uint8_t *bytes = stream.last(size);
    std::fill_n(bytes, size, uint8_t{0xff}); // the padding bits behind the last code are ones
    for (uint32_t row = 0; row < call.nrows; ++row) {
      const uint64_t palette[] = {0, codes - 1, random() % codes, random() % codes};
      vorn_model::put_code(bytes, s.width(), row, palette[random() % std::size(palette)]);
    }
    uint64_t *members = map.last_words((codes + 63) / 64);
    randomise(members, (codes + 63) / 64, density);
    vorn_enc_ctx enc = s.encoding_context();
    const vorn_cv set = vorn_test::result_of(members, 0); // nothing but the map is looked at
    const auto matches = [&](uint32_t row) {
      return vorn_model::bit(members, vorn_model::code_at(bytes, s.width(), row));
    };
    check(s, call, vorn_test::vector_of(bytes, enc, call.nrows), set, set, matches, "codes " + std::to_string(codes));
  }

  static constexpr uint64_t most_codes = uint64_t{1} << 20;
  vorn_test::guarded stream{most_rows * 4}, map{most_codes / 8};
};

TEST_P(sets_test, agree_with_the_model) {
  const auto slots = sets();
  ASSERT_EQ(slots.size(), 22U);
  for (const slot &s : slots) {
    const uint64_t codes = s.width() < 17 ? uint64_t{1} << s.width() : 70000 + s.width();
    for (const unsigned density : {0U, 500U, 1000U})
      ASSERT_NO_FATAL_FAILURE(for_each_call([&](const scan_call &call) { check_slot(s, call, codes, density); }));
  }
}

// All four sets of a dictionary of two codes, whatever the bits behind them.
TEST_P(sets_test, of_two_codes_look_at_two_bits) {
  const slot s = sets().front();
  ASSERT_EQ(s.width(), 1U);
  vorn_enc_ctx enc = s.encoding_context();
  const std::vector<uint8_t> codes(16, 0x35);
  uint64_t out[2], filter[2] = {0xff00ff00ff00ff00, ~uint64_t{0}};
  for (const uint64_t members : {0U, 1U, 2U, 3U})
    for (const uint64_t behind : {uint64_t{0}, ~uint64_t{3}})
      for (uint64_t *filtered : {static_cast<uint64_t *>(nullptr), filter}) {
        uint64_t words[1] = {members | behind};
        const vorn_cv set = vorn_test::result_of(words, 0);
        vorn_cv res = vorn_test::result_of(out, 100), src = vorn_test::vector_of(codes.data(), enc, 100);
        vorn_aux aux = vorn_test::selective_by(filtered);
        s.run(res, src, set, set, aux);
        const auto expected = vorn_model::select(100, nullptr, filtered, [&](uint32_t row) {
          return members >> vorn_model::code_at(codes.data(), 1, row) & 1;
        });
        EXPECT_EQ(std::vector<uint64_t>(out, out + 2), expected.words) << members;
        EXPECT_EQ(res.vorn_cv_popc, expected.count) << members;
      }
}

VORN_TEST_ALL_IMPLEMENTATIONS(sets_test);

} // namespace
