// Codes that a map selects: a code matches if its bit is set in the map.  The look-up is in registers if the map fits
// there, else in memory.
#pragma once

#include "isa/interval.hpp"

namespace vorn::inline VORN_LEVEL {

// For codes of up to 6 bits or of 7 bits: a table with a byte for each code.  The look-up takes only the low bits of
// its index, so the table repeats itself if a code has fewer bits.
template <bool Seven>
class in_bytes {
public:
  using lanes = code_lanes<uint8_t, false, lane_end::bottom>;
  in_bytes(unsigned width, const uint64_t *map) {
    uint64_t bits = get_word(map, 0);
    for (unsigned size = 1U << width; size < 64; size *= 2)
      bits = (bits & low_bits(size)) << size | (bits & low_bits(size));
    low_ = _mm512_movm_epi8(bits);
    high_ = _mm512_movm_epi8(Seven ? get_word(map, 1) : 0);
  }

  __mmask64 operator()(vector codes) const {
    return _mm512_movepi8_mask(Seven ? _mm512_permutex2var_epi8(low_, codes, high_)
                                     : _mm512_permutexvar_epi8(codes, low_));
  }

private:
  vector low_, high_;
};

// For codes of 8 bits: a look-up of the byte of the map, then a test of its bit.
class in_bits_of_bytes {
public:
  using lanes = code_lanes<uint8_t, true, lane_end::bottom>;
  in_bits_of_bytes(unsigned /*width*/, const uint64_t *map)
      : bytes_(_mm512_maskz_loadu_epi64(15, map)), bits_(_mm512_set1_epi64(static_cast<int64_t>(0x8040201008040201))) {}

  __mmask64 operator()(vector codes) const {
    const vector byte = _mm512_and_si512(_mm512_srli_epi16(codes, 3), _mm512_set1_epi8(31));
    const vector bit = _mm512_shuffle_epi8(bits_, _mm512_and_si512(codes, _mm512_set1_epi8(7)));
    return _mm512_test_epi8_mask(_mm512_permutexvar_epi8(byte, bytes_), bit);
  }

private:
  vector bytes_, bits_;
};

// For codes of 9 to 12 bits: a look-up of a 16-bit word of the map, then a test of its bit.
template <unsigned Tables> // of 32 words
class in_words {
public:
  using lanes = code_lanes<uint16_t, false, lane_end::bottom>;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): all tables are loaded
  in_words(unsigned /*width*/, const uint64_t *map) {
    for (unsigned i = 0; i < Tables; ++i)
      words_[i] = _mm512_loadu_si512(map + 8 * i);
  }

  __mmask32 operator()(vector codes) const {
    const vector index = _mm512_srli_epi16(codes, 4);
    vector word;
    if constexpr (Tables == 1)
      word = _mm512_permutexvar_epi16(index, words_[0]);
    else
      word = look_up<0, Tables>(index);
    const vector bit = _mm512_sllv_epi16(_mm512_set1_epi16(1), _mm512_and_si512(codes, _mm512_set1_epi16(15)));
    return _mm512_test_epi16_mask(word, bit);
  }

private:
  // One permutation looks up two tables.  For more tables, a bit of the index chooses between the two halves.
  template <unsigned First, unsigned Count>
  vector look_up(vector index) const {
    if constexpr (Count == 2) {
      return _mm512_permutex2var_epi16(words_[First], index, words_[First + 1]);
    } else {
      const vector lower = look_up<First, Count / 2>(index), upper = look_up<First + Count / 2, Count / 2>(index);
      return _mm512_mask_mov_epi16(lower, _mm512_test_epi16_mask(index, _mm512_set1_epi16(Count / 2 * 32)), upper);
    }
  }

  vector words_[Tables];
};

// For wider codes: the 32 bits of the map around the bit of the code are read from memory.
template <bool Whole>
class in_memory {
public:
  using lanes = code_lanes<uint32_t, Whole, lane_end::bottom>;
  in_memory(unsigned /*width*/, const uint64_t *map) : map_(map) {}

  __mmask16 operator()(vector codes) const {
    const vector words = _mm512_i32gather_epi32(_mm512_srli_epi32(codes, 5), map_, 4);
    const vector bit = _mm512_sllv_epi32(_mm512_set1_epi32(1), _mm512_and_si512(codes, _mm512_set1_epi32(31)));
    return _mm512_test_epi32_mask(words, bit);
  }

private:
  const uint64_t *map_;
};

// The words of a map for all codes of up to 12 bits.  A column may have fewer codes, and its map fewer words.  Bytes
// after the map are read within the page in which the map ends.  They do not change the result.
struct whole_map {
  alignas(64) uint64_t words[64];

  // scratch has room for a bit for each row.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): read does it
  whole_map(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *scratch) {
    constexpr uint64_t page = 4096;
    const uint64_t on_page = (page - reinterpret_cast<uintptr_t>(map) % page) / sizeof *map;
    const uint64_t nwords = width <= 6 ? 1 : uint64_t{1} << (width - 6);
    uint64_t present = nwords;
    if (on_page < nwords) { // the next page exists if some code leads to it
      const uint64_t beyond = on_page * 64;
      const wrapped_range range = {beyond, low_bits(width) - beyond, false, false};
      if (select_range(width, stream, nrows, range, scratch) == 0)
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
[[gnu::noinline]] uint32_t select_members_in(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map,
                                             uint64_t *out) {
  const typename Test::lanes lanes(width);
  const Test test(width, map);
  const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
    return word_of<typename Test::lanes>([&](unsigned /*group*/, auto v) {
      if constexpr (Test::lanes::bits == 8) // a look-up takes only the bits of a code
        return test(lanes.any(block, v));
      else
        return test(lanes.exact(block, 0, v));
    });
  };
  return select_words(lanes, stream, nrows, match, out);
}

// Selects codes of up to 32 bits.
inline uint32_t select_members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map,
                               uint64_t *out) {
  if (width == 1)
    return select_bits(stream, nrows, get_word(map, 0) & 1, get_word(map, 0) & 2, out);
  if (width > 12)
    return (width % 8 == 0 ? select_members_in<in_memory<true>>
                           : select_members_in<in_memory<false>>) (width, stream, nrows, map, out);
  const whole_map known(width, stream, nrows, map, out);
  const auto select = [&] {
    switch (width) {
    case 7:
      return select_members_in<in_bytes<true>>;
    case 8:
      return select_members_in<in_bits_of_bytes>;
    case 9:
      return select_members_in<in_words<1>>;
    case 10:
      return select_members_in<in_words<2>>;
    case 11:
      return select_members_in<in_words<4>>;
    case 12:
      return select_members_in<in_words<8>>;
    default:
      return select_members_in<in_bytes<false>>;
    }
  }();
  return select(width, stream, nrows, known.words, out);
}

// The number of rows of a full scan that take as long as the visit of a single row.
struct row_costs {
  static unsigned interval(unsigned width) { return width <= 8 ? 128 : width <= 16 ? 64 : width <= 32 ? 32 : 16; }
  static unsigned members(unsigned width, const uint64_t * /*map*/) { return interval(width); }
  static unsigned values(unsigned /*width*/, bool /*with_codes*/) { return 16; }
  static unsigned packed(unsigned /*width*/) { return 64; }
};

} // namespace vorn::inline VORN_LEVEL
