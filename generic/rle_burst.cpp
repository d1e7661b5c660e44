// The burst kernels: every selected run sets its whole stretch of rows.
#include "generic/rle_burst.kernels.hpp"

#include <algorithm>

#include "frame/assertion.hpp"
#include "generic/rle_lengths.hpp"
#include "generic/vornc_generic.hpp"

namespace vorn {

namespace {

struct stretch {
  uint32_t first;
  uint32_t rows;
};

// Where a run lies, by the sum of the lengths before it, taken for a block of runs at a time: a loop over the runs that
// are skipped would end at a place that no branch predictor foresees.  Asked in ascending order.
template <class Length>
class summed_runs {
public:
  explicit summed_runs(const vorn_enc_ctx &enc)
      : lens_(enc.vorn_enc_ctx_rle_lens), nruns_(enc.vorn_enc_ctx_rle_nruns) {}

  stretch at(uint32_t run) {
    while (run - block_ >= size_)
      next_block();
    const uint32_t i = run - block_;
    return {first_[i], first_[i + 1] - first_[i]};
  }

private:
  void next_block() {
    block_ += size_;
    first_[0] = first_[size_];
    size_ = std::min(nruns_ - block_, 64U);
    for (uint32_t i = 0; i < size_; ++i)
      first_[i + 1] = first_[i] + lens_[uint64_t{block_} + i];
  }

  run_lengths<Length> lens_;
  uint32_t nruns_;
  uint32_t block_ = 0;      // first run of the block
  uint32_t size_ = 0;       // runs of the block
  uint32_t first_[65] = {}; // first row of each of its runs and of the one behind, modulo 2^32
};

// Where a run lies, by the CLA.
class indexed_runs {
public:
  explicit indexed_runs(const vorn_enc_ctx &enc) : cla_(static_cast<const uint8_t *>(enc.vorn_enc_ctx_rle_cla)) {}

  stretch at(uint32_t run) const {
    const uint32_t first = load_big<uint32_t>(cla_ + 4 * uint64_t{run});
    return {first, load_big<uint32_t>(cla_ + 4 * (uint64_t{run} + 1)) - first};
  }

private:
  const uint8_t *cla_;
};

// Sets the rows of a run in a vector in which nothing is set behind it: only its first word may hold earlier runs.
void set_rows(uint64_t *out, stretch run) {
  const unsigned offset = run.first % 64;
  uint64_t *word = out + run.first / 64;
  if (run.rows <= 64 - offset) {
    if (run.rows != 0) // the word of an empty run may lie behind the vector
      *word |= low_bits(run.rows) << offset;
    return;
  }
  *word++ |= UINT64_MAX << offset;
  uint32_t rows = run.rows - (64 - offset);
  for (; rows >= 64; rows -= 64)
    *word++ = UINT64_MAX;
  if (rows != 0)
    *word = low_bits(rows);
}

template <class Runs>
uint32_t burst(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const vorn_enc_ctx &enc = *src->vorn_cv_encoding_context;
  uint64_t *out = res->vorn_cv_bv;
  std::fill_n(out, words_of(res->vorn_cv_nrows), 0);

  Runs runs(enc);
  uint32_t count = 0;
  vorn_lbiwv_ictx selected;
  vorn_lbiwv_ictx_ini2_dydi(&selected, aux->vorn_aux_filter_bv, enc.vorn_enc_ctx_rle_nruns, 0, 0);
  constexpr uint32_t batch_size = 64;
  uint32_t batch[batch_size];
  uint32_t fetched;
  do {
    fetched = vorn_lbiwvones_dydi(&selected, batch, batch_size);
    for (uint32_t i = 0; i < fetched; ++i) {
      const stretch rows = runs.at(batch[i]);
      set_rows(out, rows);
      count += rows.rows;
    }
  } while (fetched == batch_size);
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
