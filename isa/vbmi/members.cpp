// Codes whose bits are set in a map: a look-up in registers as long as the map fits there, else one in memory.
#include "isa/vbmi/passes.hpp"
#include "isa/vbmi/select.hpp"
#include "isa/vbmi/widths.hpp"

namespace vorn::inline VORN_LEVEL {

namespace {

template <unsigned W>
class in_map;

// A byte for each code.  The look-up takes the low bits of its index alone, so that the table repeats itself where a
// code has fewer.
template <unsigned W>
requires(W <= 7) class in_map<W> {
  using lanes_type = code_lanes<W>;

public:
  using lanes = lanes_type;
  explicit in_map(const uint64_t *map) {
    uint64_t bits = map[0];
    for (unsigned size = 1U << W; size < 64; size *= 2)
      bits = (bits & low_bits(size)) << size | (bits & low_bits(size));
    low_ = _mm512_movm_epi8(bits);
    high_ = _mm512_movm_epi8(W == 7 ? map[1] : 0);
  }

  __mmask64 operator()(__m512i raw) const {
    const __m512i codes = lanes::bottom(raw);
    return _mm512_movepi8_mask(W < 7 ? _mm512_permutexvar_epi8(codes, low_)
                                     : _mm512_permutex2var_epi8(low_, codes, high_));
  }

private:
  __m512i low_, high_;
};

// The byte of the map, and a bit of it.
template <>
class in_map<8> {
public:
  using lanes = code_lanes<8>;
  explicit in_map(const uint64_t *map)
      : bytes_(_mm512_maskz_loadu_epi64(15, map)), bits_(_mm512_set1_epi64(static_cast<int64_t>(0x8040201008040201))) {}

  __mmask64 operator()(__m512i codes) const {
    const __m512i byte = _mm512_and_si512(_mm512_srli_epi16(codes, 3), _mm512_set1_epi8(31));
    const __m512i bit = _mm512_shuffle_epi8(bits_, _mm512_and_si512(codes, _mm512_set1_epi8(7)));
    return _mm512_test_epi8_mask(_mm512_permutexvar_epi8(byte, bytes_), bit);
  }

private:
  __m512i bytes_, bits_;
};

// A word of 16 bits of the map, and a bit of it.
template <unsigned W>
requires(W >= 9 && W <= 12) class in_map<W> {
  static constexpr unsigned tables = W == 9 ? 1 : 1U << (W - 9); // of 32 words

public:
  using lanes = code_lanes<W>;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): all tables are loaded
  explicit in_map(const uint64_t *map) {
    for (unsigned i = 0; i < tables; ++i)
      words_[i] = _mm512_loadu_si512(map + 8 * i);
  }

  __mmask32 operator()(__m512i raw) const {
    const __m512i codes = lanes::exact(raw);
    const __m512i index = _mm512_srli_epi16(codes, 4);
    __m512i word;
    if constexpr (W == 9)
      word = _mm512_permutexvar_epi16(index, words_[0]);
    else
      word = look_up<0, tables>(index);
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

  __m512i words_[tables];
};

// The 32 bits of the map that hold a code's, read from memory.
template <unsigned W>
requires(W >= 13) class in_map<W> {
public:
  using lanes = code_lanes<W, uint32_t>;
  explicit in_map(const uint64_t *map) : map_(map) {}

  __mmask16 operator()(__m512i raw) const {
    const __m512i codes = lanes::exact(raw);
    const __m512i words = _mm512_i32gather_epi32(_mm512_srli_epi32(codes, 5), map_, 4);
    const __m512i bit = _mm512_sllv_epi32(_mm512_set1_epi32(1), _mm512_and_si512(codes, _mm512_set1_epi32(31)));
    return _mm512_test_epi32_mask(words, bit);
  }

private:
  const uint64_t *map_;
};

// The words of a map for all codes of W bits.  A column may have fewer codes, and its map fewer words: what follows
// them is read, within the page that they end in, but makes no difference.
template <unsigned W>
struct whole_map {
  static constexpr unsigned nwords = W <= 6 ? 1 : 1U << (W - 6);
  alignas(64) uint64_t words[nwords];

  // scratch: room for a bit for each row.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read does it
  whole_map(const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *scratch) {
    constexpr uint64_t page = 4096;
    const uint64_t on_page = (page - reinterpret_cast<uintptr_t>(map) % page) / sizeof *map;
    uint64_t present = nwords;
    if (on_page < nwords) { // the next page is there if a code leads to it
      const uint64_t beyond = on_page * 64;
      if (vbmi_passes::select_interval[W](stream, nrows, {beyond, low_bits(W) - beyond, false, false}, scratch) == 0)
        present = on_page;
    }
    read(map, present);
  }

private:
  [[gnu::no_sanitize_address]] void read(const uint64_t *map, uint64_t present) {
    for (unsigned i = 0; i < nwords; i += 8) {
      const auto these = static_cast<__mmask8>(low_bits(present < i ? 0 : present - i));
      _mm512_mask_storeu_epi64(words + i, static_cast<__mmask8>(low_bits(nwords - i)),
                               _mm512_maskz_loadu_epi64(these, map + i));
    }
  }
};

template <unsigned W>
uint32_t select(const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out) {
  using lanes = typename in_map<W>::lanes;
  if constexpr (W <= 12)
    return select_codes<lanes>(stream, nrows, in_map<W>(whole_map<W>(stream, nrows, map, out).words), out);
  else
    return select_codes<lanes>(stream, nrows, in_map<W>(map), out);
}

} // namespace

} // namespace vorn::inline VORN_LEVEL

namespace vorn::vbmi_passes {

#define VORN_SELECT(w) out.of[w] = select<w>;
constexpr by_width<set_pass> built = [] {
  by_width<set_pass> out = {};
  VORN_CODE_WIDTHS(VORN_SELECT)
  return out;
}();
constinit const by_width<set_pass> select_members = built;

} // namespace vorn::vbmi_passes
