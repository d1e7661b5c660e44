// Codes in a wrapped range: one comparison of unsigned lanes.  A code stands at the top of its lane, so the bits below
// it count less than one.
#include "isa/vbmi/kernels.hpp"
#include "isa/vbmi/select.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

template <class Lanes, bool Nonzero>
class in_wrapped_range {
  using operations = typename Lanes::operations;

public:
  in_wrapped_range(const Lanes &lanes, const wrapped_range &range)
      : lanes_(lanes), low_(operations::all(range.low << lanes.spare())),
        span_(operations::all(range.span << lanes.spare() | low_bits(lanes.spare()))),
        code_(operations::all(low_bits(lanes.width()) << lanes.spare())) {}

  auto operator()(__m512i raw) const {
    const __m512i x = lanes_.placed(raw);
    const __m512i distance = operations::subtract(x, low_);
    return Nonzero ? operations::at_most(operations::common(x, code_), distance, span_)
                   : operations::at_most(distance, span_);
  }

private:
  Lanes lanes_;
  __m512i low_, span_, code_;
};

// Codes of one bit.  The result for a code is the code, its opposite, or the same for both codes.  The bits of each
// byte are reversed, eight words at a time.
uint32_t select_bits(const uint8_t *stream, uint32_t nrows, const wrapped_range &range, uint64_t *out) {
  const auto selects = [&](unsigned code) {
    return !range.none && ((code - range.low) & 1) <= range.span && !(range.nonzero && code == 0);
  };
  const __m512i zero = _mm512_set1_epi8(selects(0) ? -1 : 0), one = _mm512_set1_epi8(selects(1) ? -1 : 0);
  constexpr byte_indices reversed_nibbles = [] {
    byte_indices reversed = {};
    for (unsigned i = 0; i < 64; ++i)
      reversed[i] = static_cast<uint8_t>((i & 1) << 3 | (i & 2) << 1 | (i & 4) >> 1 | (i & 8) >> 3);
    return reversed;
  }();
  const __m512i nibbles = load_vector(reversed_nibbles), low_nibble = _mm512_set1_epi8(15);
  const __m512i high_nibbles = _mm512_slli_epi16(nibbles, 4);
  const auto answers = [&](__m512i codes) {
    const __m512i low = _mm512_shuffle_epi8(high_nibbles, _mm512_and_si512(codes, low_nibble));
    const __m512i high = _mm512_shuffle_epi8(nibbles, _mm512_and_si512(_mm512_srli_epi16(codes, 4), low_nibble));
    // code ? one : zero
    return _mm512_ternarylogic_epi64(_mm512_or_si512(low, high), one, zero, 0xca);
  };
  __m512i counts = _mm512_setzero_si512();
  for (uint32_t row = 0; row < nrows; row += 512) {
    const uint32_t rows = std::min(nrows - row, 512U);
    const __mmask64 read = low_bits((rows + 7) / 8);
    const auto words = static_cast<__mmask8>(low_bits(words_of(rows)));
    __m512i hits = answers(_mm512_maskz_loadu_epi8(read, stream + row / 8));
    if (rows < 512) {
      const __m512i before = _mm512_set_epi64(448, 384, 320, 256, 192, 128, 64, 0); // rows before each word
      const __m512i left = _mm512_subs_epu16(_mm512_set1_epi64(rows), before);      // 0 to 512
      hits = _mm512_andnot_si512(_mm512_sllv_epi64(_mm512_set1_epi64(-1), left), hits);
    }
    _mm512_mask_storeu_epi64(out + row / 64, words, hits);
    counts = _mm512_add_epi64(counts, _mm512_popcnt_epi64(hits));
  }
  return sum_of(counts);
}

template <class Lanes, bool Nonzero>
[[gnu::noinline]] uint32_t select(unsigned width, const uint8_t *stream, uint32_t nrows, const wrapped_range &range,
                                  uint64_t *out) {
  const Lanes lanes(width);
  return select_codes(lanes, stream, nrows, in_wrapped_range<Lanes, Nonzero>(lanes, range), out);
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

uint32_t select_interval(unsigned width, const uint8_t *stream, uint32_t nrows, const wrapped_range &range,
                         uint64_t *out) {
  if (width == 1)
    return select_bits(stream, nrows, range, out);
  if (range.none) {
    clear_words(out, words_of(nrows));
    return 0;
  }
  return with_lanes<lane_end::top>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
    return (range.nonzero ? select<Lanes, true> : select<Lanes, false>) (width, stream, nrows, range, out);
  });
}

} // namespace vorn::vbmi_kernels
