// The vector kernels of the AVX-512 library for processors that also have VBMI, VBMI2, BITALG and VPOPCNTDQ.
//
// They are compiled for these instructions, so no part of them may be inlined into other code.
#pragma once

#include <cstdint>

#include "isa/wrapped_range.hpp"

namespace vorn::vbmi_kernels {

// Sets a bit for each selected code of nrows packed codes, and writes zeros up to the end of the last word.  Returns
// the number of selected codes.  Nothing is read after the last code.  Widths are 1 to 20, 24, 32, 40, 48, 56 and 64.
uint32_t select_interval(unsigned width, const uint8_t *stream, uint32_t nrows, const wrapped_range &range,
                         uint64_t *out);

// The same for codes of up to 32 bits.  A code is selected if its bit is set in a map.
uint32_t select_members(unsigned width, const uint8_t *stream, uint32_t nrows, const uint64_t *map, uint64_t *out);

// The same for values of 16 or more bits, in whole bytes, with their length codes.
uint32_t select_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const code_source &codes,
                      const pair_interval &range, uint64_t *out);

// The same for dynamic-packed values in classes of 16, 32 and 64 bits, without and with their length codes as a second
// key.
uint32_t select_packed(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                       const wrapped_range &range, uint64_t *out);
uint32_t select_packed_pairs(unsigned width, const uint8_t *values, uint32_t nrows, const uint8_t *lens,
                             const pair_interval &range, uint64_t *out);

// Writes n codes of up to 32 bits as elements of `size` bytes.  The first code begins with a byte.  The size is the
// least that holds a code, or 4.
void unpack_range(unsigned width, unsigned size, const uint8_t *codes, uint32_t n, void *elements);

// Writes the codes of the rows of a filter over nrows rows, from row `first` on.  It goes word by word, as long as
// there is room for all rows of a word.  Returns the row after the last word.  `room` becomes the rest of the room.
uint32_t unpack_filter(unsigned width, unsigned size, const uint8_t *stream, uint32_t nrows, const uint64_t *filter,
                       uint32_t first, uint32_t &room, void *elements);

// Returns the number of ones of words at any address.
uint32_t count_ones(const void *words, uint64_t nwords);

// Lists the positions of the ones of words, as long as there is room for all ones of a word.  The first word begins
// with bit `base`.  `room` becomes the rest of the room.  Returns the number of listed words.
uint64_t list_ones(const uint64_t *words, uint64_t nwords, uint32_t base, uint32_t *out, uint32_t &room);

} // namespace vorn::vbmi_kernels
