// The burst kernels: every selected run sets its whole stretch of rows.
#include "generic/rle_burst.kernels.hpp"

#include <algorithm>
#include <bit>

#include "frame/assertion.hpp"
#include "generic/rle_lengths.hpp"
#include "generic/vornc_generic.hpp"

namespace vorn {

namespace {

struct stretch {
  uint32_t first;
  uint32_t rows;
};

// Where the 64 runs of a word of the per-run vector lie, by the sums of their lengths.  Words are entered in order.
template <class Length>
class summed_runs {
public:
  explicit summed_runs(const vorn_enc_ctx &enc)
      : lens_(enc.vorn_enc_ctx_rle_lens), nruns_(enc.vorn_enc_ctx_rle_nruns) {}

  // Sums all of them: a loop over the runs in between would end at a place that no branch predictor foresees.
  void enter(uint32_t block) {
    const uint32_t size = std::min(nruns_ - block, 64U);
    uint32_t first = first_[64];
    for (uint32_t i = 0; i < size; ++i) {
      first_[i] = first;
      first += lens_[uint64_t{block} + i];
    }
    first_[size] = first;
  }

  stretch at(uint32_t /*block*/, uint32_t run) const { return {first_[run], first_[run + 1] - first_[run]}; }

private:
  run_lengths<Length> lens_;
  uint32_t nruns_;
  uint32_t first_[65] = {}; // first row of each run and of the one behind, modulo 2^32
};

// The same by the CLA.
class indexed_runs {
public:
  explicit indexed_runs(const vorn_enc_ctx &enc) : cla_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_rle_cla)) {}

  void enter(uint32_t /*block*/) {}

  stretch at(uint32_t block, uint32_t run) const {
    const uint8_t *entry = cla_ + 4 * (uint64_t{block} + run);
    const uint32_t first = load_big<uint32_t>(entry);
    return {first, load_big<uint32_t>(entry + 4) - first};
  }

private:
  const uint8_t *cla_;
};

// Sets the rows of a run in a vector in which nothing is set behind it: only its first word may hold earlier runs.
// Up to four words are written without a branch on their number, which no predictor foresees.
void set_rows(uint64_t *out, stretch run) {
  if (run.rows == 0) // the word of an empty run may lie behind the vector
    return;
  const uint32_t end = run.first % 64 + run.rows - 1;
  uint64_t *word = out + run.first / 64;
  uint64_t *const last = word + end / 64;
  const uint64_t head = UINT64_MAX << run.first % 64;
  const uint64_t tail = UINT64_MAX >> (63 - end % 64);
  if (word == last) {
    *word |= head & tail;
    return;
  }
  *word |= head;
  word[1] = UINT64_MAX;
  word += word + 2 < last ? 2 : 1;
  *word = UINT64_MAX;
  while (++word < last)
    *word = UINT64_MAX;
  *last = tail;
}

template <class Runs>
uint32_t burst(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  const uint64_t *selected = aux->vorn_aux_filter_bv;
  uint64_t *out = res->vorn_cv_bv;
  std::fill_n(out, words_of(res->vorn_cv_nrows), 0);

  Runs runs(enc);
  const uint32_t nruns = enc.vorn_enc_ctx_rle_nruns;
  uint32_t count = 0;
  for (uint32_t block = 0; block < nruns; block += 64) {
    runs.enter(block);
    uint64_t word = selected[block / 64] & low_bits(nruns - block);
    for (; word != 0; word &= word - 1) {
      const stretch rows = runs.at(block, static_cast<uint32_t>(std::countr_zero(word)));
      set_rows(out, rows);
      count += rows.rows;
    }
  }
  res->vorn_cv_popc = count;
  return count == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
}

using runs_8bit = summed_runs<uint8_t>;
using runs_16bit = summed_runs<uint16_t>;
using runs_8bit_cla = indexed_runs;
using runs_16bit_cla = indexed_runs;

} // namespace

} // namespace vorn

// The assertions stand in the kernels, which they name.
#define VORN_DEFINE_BURST(suffix, width)                                                                               \
  extern "C" uint32_t vorn_burst_rle_##suffix(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                             \
    VORN_ASSERT(src->vorn_cv_encoding_context->vorn_enc_ctx_flags &VORN_RLE,                                           \
                "(((((src)->vorn_cv_encoding_context))->vorn_enc_ctx_flags) & (VORN_RLE))", "generic/vornc_generic");  \
    VORN_ASSERT(res->vorn_cv_bv != aux->vorn_aux_filter_bv, "vorn_bv_res != vorn_bv_aux", "generic/vornc_generic");    \
    return vorn::burst<vorn::runs_##suffix>(res, src, aux);                                                            \
  }
VORN_BURST_KERNELS(VORN_DEFINE_BURST)
