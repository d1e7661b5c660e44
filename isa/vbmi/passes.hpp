// What the AVX-512 library does where a processor has VBMI, VBMI2, BITALG and VPOPCNTDQ too: passes by the width of a
// code.
//
// They are compiled for these instructions, so that everything here is called through tables.
#pragma once

#include <cstdint>

#include "isa/ring.hpp"

namespace vorn::vbmi {

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

} // namespace vorn::vbmi
