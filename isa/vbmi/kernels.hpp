// What the AVX-512 library does where a processor has VBMI, VBMI2, BITALG and VPOPCNTDQ too: passes over packed codes
// of a width.
//
// They are compiled for these instructions, so that nothing of them may be inlined elsewhere.
#pragma once

#include <cstdint>

#include "isa/wrapped_range.hpp"

namespace vorn::vbmi_kernels {

// Sets a bit for each of nrows packed codes that is taken, and zeros up to the end of the last word.  Returns how many
// are taken.  Nothing is read behind the last code.  Widths are 1 to 20, 24, 32, 40, 48, 56 and 64.
uint32_t select_interval(unsigned width, const uint8_t *stream, uint32_t nrows, const wrapped_range &range,
                         uint64_t *out);

// The same for the codes, of up to 32 bits, whose bits are set in a map.
uint32_t select_members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out);

// The same for values of 16 bits and more, in whole bytes, with their length codes.
uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                      const pair_interval &range, uint64_t *out);

// The same for dynamic-packed values in classes of 16, 32 and 64 bits, and with their length codes as a second key.
uint32_t select_packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                       const wrapped_range &range, uint64_t *out);
uint32_t select_packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                             const pair_interval &range, uint64_t *out);

// Writes n codes of up to 32 bits, of which the first begins with a byte, as elements of `size` bytes: the least that
// hold a code, or 4.
void unpack_range(unsigned width, unsigned size, const uint8_t *codes, uint32_t n, void *elements);

// Writes the codes of the rows of a filter, of nrows rows, from `first` on, word by word as long as there is room for
// all rows of a word.  Returns the row behind the last word.
uint32_t unpack_filter(unsigned width, unsigned size, const uint8_t *stream, uint32_t nrows, const uint64_t *filter,
                       uint32_t first, uint32_t &room, void *elements);

// The number of ones of words at any address.
uint32_t count_ones(const void *words, uint64_t nwords);

// Lists the ones of words, of which the first begins with bit `base`, as long as there is room for all of a word, and
// up to the word that leaves none.  Returns how many words these are.
uint64_t list_ones(const uint64_t *words, uint64_t nwords, uint32_t base, uint32_t *out, uint32_t &room);

} // namespace vorn::vbmi_kernels
