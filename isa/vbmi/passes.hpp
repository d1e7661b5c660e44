// What the AVX-512 library does where a processor has VBMI, VBMI2, BITALG and VPOPCNTDQ too: passes by the width of a
// code.
//
// They are compiled for these instructions, so that everything here is called through tables.
#pragma once

#include <cstdint>

#include "isa/ring.hpp"

namespace vorn::vbmi_passes {

// The widths 1 to 20, 24, 32, 40, 48, 56 and 64; null in between.
template <class Pass>
struct by_width {
  Pass of[65];

  constexpr Pass operator[](unsigned width) const { return of[width]; }
};

// Sets a bit for each of nrows packed codes that is taken, and zeros up to the end of the last word.  Returns how many
// are taken.  Nothing is read behind the last code.
using interval_pass = uint32_t (*)(const uint8_t *stream, uint32_t nrows, const ring &asked, uint64_t *out);
extern const by_width<interval_pass> select_interval;

// The same for the codes whose bits are set in a map.
using set_pass = uint32_t (*)(const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out);
extern const by_width<set_pass> select_members; // up to 32

// The length codes of rows: packed, or the one of all rows where they have one.
struct code_source {
  const uint8_t *packed;
  unsigned bits; // of a code
  const uint8_t *uniform;
};

// The same for values with their length codes.
using pair_pass = uint32_t (*)(const uint8_t *values, uint32_t nrows, const code_source &codes,
                               const pair_interval &asked, uint64_t *out);
extern const by_width<pair_pass> select_pairs; // 16 and more, in whole bytes

// Dynamic-packed values, in classes of 16, 32 and 64 bits, and with their length codes as a second key.
using packed_pass = uint32_t (*)(const uint8_t *values, uint32_t nrows, const uint8_t *lens, const ring &asked,
                                 uint64_t *out);
extern const by_width<packed_pass> select_packed;
using packed_pair_pass = uint32_t (*)(const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                                      const pair_interval &asked, uint64_t *out);
extern const by_width<packed_pair_pass> select_packed_pairs;

// Writes n codes, of which the first begins with a byte, as elements.
using unpack_pass = void (*)(const uint8_t *codes, uint32_t n, void *elements);

// Writes the codes of the rows of a filter, of nrows rows, from `first` on, word by word as long as there is room for
// all rows of a word.  Returns the row behind the last word.
using filter_pass = uint32_t (*)(const uint8_t *stream, uint32_t nrows, const uint64_t *filter, uint32_t first,
                                 uint32_t &room, void *elements);

// To the least elements that hold a code, and to those of 4 bytes.
struct unpack_passes {
  unpack_pass range, range_ub4;
  filter_pass filter, filter_ub4;
};
extern const by_width<unpack_passes> unpack; // up to 32

// The number of ones of words at any address.
uint32_t count_ones(const void *words, uint64_t nwords);

// Lists the ones of words, of which the first begins with bit `base`, as long as there is room for all of a word, and
// up to the word that leaves none.  Returns how many words these are.
uint64_t list_ones(const uint64_t *words, uint64_t nwords, uint32_t base, uint32_t *out, uint32_t &room);

} // namespace vorn::vbmi_passes
