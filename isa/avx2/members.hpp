// Codes that a map selects: a code matches if its bit is set in the map.  If the map fits in registers, a shuffle looks
// up the byte and another shuffle the bit.  Wider codes are only unpacked in vectors.
#pragma once

#include "generic/scan/dict.hpp"
#include "generic/scan/membership.hpp"
#include "isa/bits.hpp"
#include "isa/select.hpp"

namespace vorn::inline VORN_LEVEL {

// The words of a map for codes of up to 8 bits.  The map may have fewer words, since it ends with the highest code of
// the column.  The bytes after it on the same page may be read.  They belong to no code of a row.
class small_map {
public:
  static bool readable(unsigned width, const uint64_t *map) {
    constexpr uintptr_t page = 4096;
    return reinterpret_cast<uintptr_t>(map) % page <= page - 8 * size(width);
  }

  [[gnu::no_sanitize_address]] small_map(unsigned width, const uint64_t *map) {
    for (unsigned i = 0; i < size(width); ++i)
      words[i] = reinterpret_cast<const unaligned_word *>(map)[i].bits; // the address sanitizer would check get_word
  }

  uint64_t words[4] = {};

private:
  static unsigned size(unsigned width) { return width <= 6 ? 1 : 1U << (width - 6); }
};

template <bool EightBits>
class in_map {
public:
  explicit in_map(const small_map &map)
      : low_(in_each_half(load_half(map.words))), high_(in_each_half(load_half(map.words + 2))) {}

  hits operator()(vector code) const {
    const vector bit = shuffled(in_each_half(single_bits), code & all_bytes(7));
    const vector index = VORN_VECTOR(srli_epi16)(code, 3) & all_bytes(15);
    if constexpr (!EightBits)
      return lanes_of<uint8_t>::common(shuffled(low_, index), bit);
    // The top bit of the code selects the half of the map.  The shuffle of the other half gives 0.
    const vector upper = code & all_bytes(0x80);
    const vector byte = shuffled(low_, index | upper) | shuffled(high_, index | (upper ^ all_bytes(0x80)));
    return lanes_of<uint8_t>::common(byte, bit);
  }

private:
  static constexpr std::array<uint8_t, 16> single_bits = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};

  vector low_, high_;
};

// For codes of up to 8 bits, all words of the map must be readable.  For wider codes, only the codes of rows and the
// code 0 are looked up.
template <class Lanes>
[[gnu::noinline]] uint32_t select_members_in(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map,
                                             uint64_t *out) {
  const Lanes lanes(width);
  if constexpr (Lanes::bits == 8) {
    const in_map<Lanes::is_whole> test(small_map(width, map));
    const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
      return word_of<Lanes>([&](unsigned group, auto v) { return test(lanes.exact(block, group, v)); });
    };
    return select_words(lanes, stream, nrows, match, out);
  } else {
    using number = typename Lanes::number;
    const auto match = [&](uint64_t /*word*/, const uint8_t *block) {
      number codes[64];
      unpack_block(lanes, block, codes);
      return membership{map}.match64<number>([&](unsigned i) { return codes[i]; });
    };
    return select_words(lanes, stream, nrows, match, out);
  }
}

// Selects codes of up to 32 bits.
inline uint32_t select_members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map,
                               uint64_t *out) {
  if (width == 1)
    return select_bits(stream, nrows, get_word(map, 0) & 1, get_word(map, 0) & 2, out);
  return with_lanes<32>(width, [&]<class Lanes>(std::type_identity<Lanes> /*lanes*/) {
    return select_members_in<Lanes>(width, stream, nrows, map, out);
  });
}

// The number of rows of a full scan that take as long as the visit of a single row.
struct row_costs {
  static unsigned interval(unsigned width) { return width <= 8 ? 48 : width <= 16 ? 40 : width <= 32 ? 20 : 10; }
  // Above 20 bits a map is larger than a cache, and every look-up counts.  Above 24 bits nothing else counts.
  static unsigned members(unsigned width, const uint64_t *map) {
    if (width > 8)
      return width > 24 ? 0 : width > 20 ? 1 : 6;
    return small_map::readable(width, map) ? 48 : 0;
  }
  static unsigned values(unsigned width, bool with_codes) { return 640 / width / (with_codes ? 2 : 1); }
  static unsigned packed(unsigned width) { return 1024 / width; }
};

} // namespace vorn::inline VORN_LEVEL
