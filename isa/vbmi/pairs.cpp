// Fixed values with their length codes.
#include "isa/vbmi/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

template <unsigned W>
uint32_t select(const uint8_t *values, uint32_t nrows, const vbmi_passes::code_source &codes,
                const pair_interval &asked, uint64_t *out) {
  using lanes = code_lanes<W>;
  const pair_bounds<lanes> bounds(asked);
  code_answers answers;
  return select_pieces(nrows, asked, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill(codes, first, rows, asked);
    const auto match = [&](uint64_t word, const uint8_t *block) {
      __m512i numbers[lanes::vectors];
      for (unsigned v = 0; v < lanes::vectors; ++v)
        numbers[v] = lanes::exact(lanes::load(block, v));
      return bounds.match([&](unsigned v) { return numbers[v]; }, answers.at_least[word], answers.at_most[word]);
    };
    return select_words<lanes>(values + uint64_t{first} * (W / 8), rows, match, words);
  });
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_passes {

constexpr by_width<pair_pass> built = [] {
  by_width<pair_pass> out = {};
  out.of[16] = select<16>;
  out.of[24] = select<24>;
  out.of[32] = select<32>;
  out.of[40] = select<40>;
  out.of[48] = select<48>;
  out.of[56] = select<56>;
  out.of[64] = select<64>;
  return out;
}();
constinit const by_width<pair_pass> select_pairs = built;

} // namespace vorn::vbmi_passes
