// Codes whose bits are set in a map: a look-up in registers as long as the map fits there, else one in memory.
#include "isa/vbmi/kernels.hpp"
#include "isa/vbmi/select.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

// A byte for each code of up to 6 or of 7 bits.  The look-up takes the low bits of its index alone, so that the table
// repeats itself where a code has fewer.
template <bool Seven>
class in_bytes {
public:
  using lanes = code_lanes<uint8_t, false, place::bottom>;
  in_bytes(const lanes &codes, const uint64_t *map) : lanes_(codes) {
    uint64_t bits = map[0];
    for (unsigned size = 1U << codes.width(); size < 64; size *= 2)
      bits = (bits & low_bits(size)) << size | (bits & low_bits(size));
    low_ = _mm512_movm_epi8(bits);
    high_ = _mm512_movm_epi8(Seven ? map[1] : 0);
  }

  __mmask64 operator()(__m512i raw) const {
    const __m512i codes = lanes_.placed(raw);
    return _mm512_movepi8_mask(Seven ? _mm512_permutex2var_epi8(low_, codes, high_)
                                     : _mm512_permutexvar_epi8(codes, low_));
  }

private:
  lanes lanes_;
  __m512i low_, high_;
};

// Of 8 bits: the byte of the map, and a bit of it.
class in_bits_of_bytes {
public:
  using lanes = code_lanes<uint8_t, true, place::bottom>;
  in_bits_of_bytes(const lanes & /*codes*/, const uint64_t *map)
      : bytes_(_mm512_maskz_loadu_epi64(15, map)), bits_(_mm512_set1_epi64(static_cast<int64_t>(0x8040201008040201))) {}

  __mmask64 operator()(__m512i codes) const {
    const __m512i byte = _mm512_and_si512(_mm512_srli_epi16(codes, 3), _mm512_set1_epi8(31));
    const __m512i bit = _mm512_shuffle_epi8(bits_, _mm512_and_si512(codes, _mm512_set1_epi8(7)));
    return _mm512_test_epi8_mask(_mm512_permutexvar_epi8(byte, bytes_), bit);
  }

private:
  __m512i bytes_, bits_;
};

// Of 9 to 12 bits: a word of 16 bits of the map, and a bit of it.
template <unsigned Tables> // of 32 words
class in_words {
public:
  using lanes = code_lanes<uint16_t, false, place::bottom>;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): all tables are loaded
  in_words(const lanes &codes, const uint64_t *map) : lanes_(codes) {
    for (unsigned i = 0; i < Tables; ++i)
      words_[i] = _mm512_loadu_si512(map + 8 * i);
  }

  __mmask32 operator()(__m512i raw) const {
    const __m512i codes = lanes_.numbers(raw);
    const __m512i index = _mm512_srli_epi16(codes, 4);
    __m512i word;
    if constexpr (Tables == 1)
      word = _mm512_permutexvar_epi16(index, words_[0]);
    else
      word = look_up<0, Tables>(index);
    const __m512i bit = _mm512_sllv_epi16(_mm512_set1_epi16(1), _mm512_and_si512(codes, _mm512_set1_epi16(15)));
    return _mm512_test_epi16_mask(word, bit);
  }

private:
  // Of two tables by one permutation, of more by the bit of the index that tells the halves apart.
  template <unsigned First, unsigned Count>
  __m512i look_up(__m512i index) const {
    if constexpr (Count == 2) {
      return _mm512_permutex2var_epi16(words_[First], index, words_[First + 1]);
    } else {
      const __m512i lower = look_up<First, Count / 2>(index), upper = look_up<First + Count / 2, Count / 2>(index);
      return _mm512_mask_mov_epi16(lower, _mm512_test_epi16_mask(index, _mm512_set1_epi16(Count / 2 * 32)), upper);
    }
  }

  lanes lanes_;
  __m512i words_[Tables];
};

// Of more: the 32 bits of the map that hold a code's, read from memory.
template <bool Whole>
class in_memory {
public:
  using lanes = code_lanes<uint32_t, Whole, place::bottom>;
  in_memory(const lanes &codes, const uint64_t *map) : lanes_(codes), map_(map) {}

  __mmask16 operator()(__m512i raw) const {
    const __m512i codes = lanes_.numbers(raw);
    const __m512i words = _mm512_i32gather_epi32(_mm512_srli_epi32(codes, 5), map_, 4);
    const __m512i bit = _mm512_sllv_epi32(_mm512_set1_epi32(1), _mm512_and_si512(codes, _mm512_set1_epi32(31)));
    return _mm512_test_epi32_mask(words, bit);
  }

private:
  lanes lanes_;
  const uint64_t *map_;
};

// The words of a map for all codes of up to 12 bits.  A column may have fewer codes, and its map fewer words: what
// follows them is read, within the page that they end in, but makes no difference.
struct whole_map {
  alignas(64) uint64_t words[64];

  // scratch: room for a bit for each row.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read does it
  whole_map(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *scratch) {
    constexpr uint64_t page = 4096;
    const uint64_t on_page = (page - reinterpret_cast<uintptr_t>(map) % page) / sizeof *map;
    const uint64_t nwords = width <= 6 ? 1 : uint64_t{1} << (width - 6);
    uint64_t present = nwords;
    if (on_page < nwords) { // the next page is there if a code leads to it
      const uint64_t beyond = on_page * 64;
      const wrapped_range range = {beyond, low_bits(width) - beyond, false, false};
      if (vbmi_kernels::select_interval(width, stream, nrows, range, scratch) == 0)
        present = on_page;
    }
    read(map, nwords, present);
  }

private:
  [[gnu::no_sanitize_address]] void read(const uint64_t *map, uint64_t nwords, uint64_t present) {
    for (uint64_t i = 0; i < nwords; i += 8) {
      const auto these = static_cast<__mmask8>(low_bits(present < i ? 0 : present - i));
      _mm512_mask_storeu_epi64(words + i, static_cast<__mmask8>(low_bits(nwords - i)),
                               _mm512_maskz_loadu_epi64(these, map + i));
    }
  }
};

template <class Test>
[[gnu::noinline]] uint32_t select(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map,
                                  uint64_t *out) {
  const typename Test::lanes lanes(width);
  return select_codes(lanes, stream, nrows, Test(lanes, map), out);
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_kernels {

uint32_t select_members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out) {
  if (width > 12)
    return (width % 8 == 0 ? select<in_memory<true>> : select<in_memory<false>>) (width, stream, nrows, map, out);
  const whole_map known(width, stream, nrows, map, out);
  const auto kernel = [&] {
    switch (width) {
    case 7:
      return select<in_bytes<true>>;
    case 8:
      return select<in_bits_of_bytes>;
    case 9:
      return select<in_words<1>>;
    case 10:
      return select<in_words<2>>;
    case 11:
      return select<in_words<4>>;
    case 12:
      return select<in_words<8>>;
    default:
      return select<in_bytes<false>>;
    }
  }();
  return kernel(width, stream, nrows, known.words, out);
}

} // namespace vorn::vbmi_kernels
