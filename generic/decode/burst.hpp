// Bursts: every selected run sets the bits of all its rows.
#pragma once

#include <algorithm>
#include <bit>

#include "frame/vorn.h"
#include "generic/bitvec/words.hpp"
#include "generic/decode/rle_lengths.hpp"

namespace vorn::inline VORN_LEVEL {

struct row_range {
  uint32_t first;
  uint32_t rows;
};

// Finds the first rows of the 64 runs of a word of the per-run vector, and of the run after them, by the sums of the
// run lengths.  Words are entered in order.
template <unsigned Bits>
class summed_runs {
public:
  explicit summed_runs(const vorn_enc_ctx &enc)
      : lens_(enc.vorn_enc_ctx_rle_lens, Bits), nruns_(enc.vorn_enc_ctx_rle_nruns) {}

  // Sums all lengths of the word.  A loop over only the runs before the next selected run would end at a point that the
  // branch predictor cannot foresee.
  void enter(uint32_t block) {
    const uint32_t size = std::min(nruns_ - block, 64U);
    uint32_t first = first_[64];
#pragma GCC unroll 4
    for (uint32_t i = 0; i < size; ++i) {
      first_[i] = first;
      first += lens_[uint64_t{block} + i];
    }
    first_[size] = first;
  }

  uint32_t first(uint32_t /*block*/, uint32_t run) const { return first_[run]; }

private:
  run_lengths lens_;
  uint32_t nruns_;
  uint32_t first_[65] = {}; // the first row of each run and of the run after them, modulo 2^32
};

// Finds the first rows of runs by the CLA.
class indexed_runs {
public:
  explicit indexed_runs(const vorn_enc_ctx &enc) : cla_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_rle_cla)) {}

  void enter(uint32_t /*block*/) {}

  uint32_t first(uint32_t block, uint32_t run) const { return load_big<uint32_t>(cla_ + 4 * (uint64_t{block} + run)); }

private:
  const uint8_t *cla_;
};

// Sets the rows of a run in a vector that has no bits after the run.  Only the first word of the run may hold earlier
// runs.  Up to four words are written without a branch on their number, since the branch predictor cannot foresee it.
inline void set_rows(uint64_t *out, row_range run) {
  if (run.rows == 0) // the word of an empty run may lie after the vector
    return;
  const uint32_t end = run.first % 64 + run.rows - 1;
  auto *word = reinterpret_cast<unaligned_word *>(out) + run.first / 64;
  unaligned_word *const last = word + end / 64;
  const uint64_t head = UINT64_MAX << run.first % 64;
  const uint64_t tail = UINT64_MAX >> (63 - end % 64);
  if (word == last) {
    word->bits |= head & tail;
    return;
  }
  word->bits |= head;
  word[1].bits = UINT64_MAX;
  word += word + 2 < last ? 2 : 1;
  word->bits = UINT64_MAX;
  while (++word < last)
    word->bits = UINT64_MAX;
  last->bits = tail;
}

// Sets the rows of the selected runs among nruns runs in a vector of zeros, one run after the other.  Returns the
// number of these rows.
template <class Runs>
uint32_t set_runs(Runs runs, const uint64_t *selected, uint32_t nruns, uint64_t *out) {
  uint32_t count = 0;
  for (uint32_t block = 0; block < nruns; block += 64) {
    runs.enter(block);
    uint64_t word = get_word(selected, block / 64) & low_bits(nruns - block);
    for (; word != 0; word &= word - 1) {
      const auto run = static_cast<uint32_t>(std::countr_zero(word));
      const uint32_t first = runs.first(block, run), rows = runs.first(block, run + 1) - first;
      set_rows(out, {first, rows});
      count += rows;
    }
  }
  return count;
}

// Turns the bits at which a vector changes into the vector.
inline void fill_between_changes(uint64_t *out, uint64_t nwords) {
  uint64_t last = 0; // all bits are the last bit of the word before
  for (uint64_t word = 0; word < nwords; ++word) {
    uint64_t bits = get_word(out, word);
    for (unsigned shift = 1; shift < 64; shift *= 2)
      bits ^= bits << shift;
    bits ^= last;
    set_word(out, word, bits);
    last = 0 - (bits >> 63);
  }
}

// The same for short runs.  The vector first gets the bits at which it changes: at the first row of a selected run
// after a run that is not selected, and the other way round.
template <class Runs>
uint32_t set_short_runs(Runs runs, const uint64_t *selected, uint32_t nruns, uint64_t *out, uint64_t nwords) {
  auto *const words = reinterpret_cast<unaligned_word *>(out);
  uint32_t count = 0; // the ends minus the starts, in pairs
  const auto change = [&](uint32_t row) {
    count = row - count;
    if (row / 64 < nwords) // a run may end with the vector, and empty runs may follow
      words[row / 64].bits ^= uint64_t{1} << row % 64;
  };
  uint64_t before = 0; // whether the run before the block is selected
  for (uint32_t block = 0; block < nruns; block += 64) {
    runs.enter(block);
    const uint32_t size = std::min(nruns - block, 64U);
    const uint64_t word = get_word(selected, block / 64) & low_bits(size);
    for (uint64_t changes = (word ^ (word << 1 | before)) & low_bits(size); changes != 0; changes &= changes - 1)
      change(runs.first(block, static_cast<uint32_t>(std::countr_zero(changes))));
    before = word >> (size - 1);
    if (before != 0 && nruns - block == size)
      change(runs.first(block, size));
  }
  fill_between_changes(out, nwords);
  return count;
}

template <class Runs>
uint32_t burst(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  uint64_t *out = res->vorn_cv_bv;
  const uint64_t nwords = words_of(res->vorn_cv_nrows);
  const uint32_t nruns = enc.vorn_enc_ctx_rle_nruns;
  clear_words(out, nwords);
  constexpr uint64_t short_run = 24; // rows; longer runs are faster one by one
  const uint32_t count = res->vorn_cv_nrows < nruns * short_run
                             ? set_short_runs(Runs(enc), aux->vorn_aux_filter_bv, nruns, out, nwords)
                             : set_runs(Runs(enc), aux->vorn_aux_filter_bv, nruns, out);
  res->vorn_cv_popc = count;
  return count == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
