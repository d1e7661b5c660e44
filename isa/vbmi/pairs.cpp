// Fixed values with their length codes.
#include "isa/vbmi/pairs.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

template <class Lanes>
uint32_t select(Lanes lanes, const uint8_t *values, uint32_t nrows, const code_source &codes,
                const pair_interval &range, uint64_t *out) {
  const pair_bounds<Lanes> bounds(range);
  code_answers answers;
  return select_pieces(nrows, range, out, [&](uint32_t first, uint32_t rows, uint64_t *words) {
    answers.fill(codes, first, rows, range, vbmi_kernels::select_interval);
    const auto match = [&](uint64_t word, const uint8_t *block) {
      __m512i numbers[Lanes::vectors];
      for (unsigned v = 0; v < Lanes::vectors; ++v)
        numbers[v] = lanes.numbers(lanes.load(block, v));
      return bounds.match([&](unsigned v) { return numbers[v]; }, answers.below[word], answers.above[word]);
    };
    return select_words(lanes, values + uint64_t{first} / 8 * lanes.width(), rows, match, words);
  });
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                      const pair_interval &range, uint64_t *out) {
  const auto select_in = [&]<class Lane>(Lane /*lane*/) {
    return select(code_lanes<Lane, true, place::bottom>(width), values, nrows, codes, range, out);
  };
  return width == 16 ? select_in(uint16_t{}) : width <= 32 ? select_in(uint32_t{}) : select_in(uint64_t{});
}

} // namespace vorn::vbmi_kernels
