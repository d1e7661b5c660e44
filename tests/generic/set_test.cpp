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
    vorn_enc_ctx enc;
    vorn_build_encoding_type_dict(&enc, s.width(), nullptr, nullptr, nullptr, 0, 0, 0);
    vorn_cv src = {}, set = {}; // of the set nothing but the map is looked at
    vorn_build_vector(&src, bytes, nullptr, nullptr, &enc, nullptr, nullptr, call.nrows, 0, nullptr, 0);
    set.vorn_cv_bv = members;
    const auto matches = [&](uint32_t row) {
      return vorn_model::bit(members, vorn_model::code_at(bytes, s.width(), row));
    };
    check(s, call, src, set, set, matches, "codes " + std::to_string(codes));
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
  for (const uint64_t members : {0U, 1U, 2U, 3U})
    for (const uint64_t behind : {uint64_t{0}, ~uint64_t{3}})
      for (const auto filtering : {vorn_test::filter_kind::none, vorn_test::filter_kind::selective}) {
        uint8_t codes[16];
        std::fill_n(codes, sizeof codes, uint8_t{0x35});
        uint64_t set_words[1] = {members | behind}, out[2], filter[2] = {0xff00ff00ff00ff00, ~uint64_t{0}};
        vorn_enc_ctx enc;
        vorn_build_encoding_type_dict(&enc, 1, nullptr, nullptr, nullptr, 0, 0, 0);
        vorn_cv res = {}, src = {}, set = {};
        vorn_build_vector(&res, nullptr, nullptr, nullptr, nullptr, nullptr, out, 100, 0, nullptr, 0);
        vorn_build_vector(&src, codes, nullptr, nullptr, &enc, nullptr, nullptr, 100, 0, nullptr, 0);
        set.vorn_cv_bv = set_words;
        vorn_aux aux = {};
        const bool filtered = filtering != vorn_test::filter_kind::none;
        aux.vorn_aux_filter_bv = filtered ? filter : nullptr;
        aux.vorn_aux_flags = VORN_AUX_FORCE_SELECTIVE;
        const slot s = sets().front();
        ASSERT_EQ(s.width(), 1U);
        vorn_test::run(vorn_global_ctx.vorn_global_ctx_dispatch[s.index], s, res, src, set, set, aux);
        const auto expected = vorn_model::select(100, nullptr, filtered ? filter : nullptr, [&](uint32_t row) {
          return members >> vorn_model::code_at(codes, 1, row) & 1;
        });
        EXPECT_EQ(std::vector<uint64_t>(out, out + 2), expected.words) << members;
        EXPECT_EQ(res.vorn_cv_popc, expected.count) << members;
      }
}

VORN_TEST_ALL_IMPLEMENTATIONS(sets_test);

} // namespace
