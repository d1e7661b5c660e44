// The unpackers.  They turn packed codes into an array of plain integers, for the rows of a filter, of a list or of a
// range.  A call resumes at the position where the last call stopped.
#pragma once

#include <algorithm>

#include "frame/operations.hpp"
#include "generic/bitvec/iterate.hpp"
#include "generic/decode/code_steps.hpp"
#include "generic/decode/rle_expand.hpp"
#include "generic/stream.hpp"

namespace vorn::inline VORN_LEVEL {

struct unpack_texts {
  stream_texts stream;
  const char *empty_list;
};

// The steps for codes of one width and elements of one size.
struct unpack_steps {
  uint32_t element_size;
  decltype(&code_steps<8, uint8_t>::range) range;
  decltype(&code_steps<8, uint8_t>::filter) filter;
  decltype(&code_steps<8, uint8_t>::list) list;
  decltype(&code_steps<8, uint8_t>::list_over_runs) list_over_runs;
  decltype(&expand_runs<uint8_t>) expand;
};

template <template <unsigned, class> class Steps, unsigned W, class Element>
inline constexpr unpack_steps unpack_steps_of = {
    sizeof(Element),         Steps<W, Element>::range,          Steps<W, Element>::filter,
    Steps<W, Element>::list, Steps<W, Element>::list_over_runs, expand_runs<Element>};

// One call of an unpacker.
class unpacker {
public:
  unpacker(const unpack_texts &texts, const unpack_steps &steps, vorn_cv *res, vorn_cv *src, vorn_aux *aux)
      : texts_(texts), steps_(steps), res_(*res), src_(*src),
        aux_(*aux), stream_{obtain_stream(*src, *aux, texts.stream), ncodes_of(*src)},
        cursor_(*src->vorn_cv_encoding_context), runs_(src->vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_RLE),
        out_(static_cast<uint8_t *>(res->vorn_cv_vals)) {
    if (aux->vorn_aux_start_slot != 0 && aux->vorn_aux_run_end != 0)
      cursor_.stand_on(aux->vorn_aux_run_idx, aux->vorn_aux_run_end);
  }

  uint32_t run() {
    if (aux_.vorn_aux_filter_bv != nullptr)
      return filter();
    return aux_.vorn_aux_ones_vec != nullptr ? list() : range();
  }

private:
  uint32_t filter() {
    const uint64_t *rows = aux_.vorn_aux_filter_bv;
    const uint32_t nrows = src_.vorn_cv_nrows, first = aux_.vorn_aux_start_slot;
    uint32_t room = res_.vorn_cv_nrows;
    uint32_t last = nrows - 1; // over runs this is also the result without any room
    if (!runs_)
      last = steps_.filter(stream_, rows, first, room, out_);
    else if (room != 0)
      last = walk_filter(rows, nrows, first, room, [&](const uint32_t *some, uint32_t n) { unpack_list(some, n); });
    store_cursor();
    set(aux_, operations::decode_unpack.selective);
    return finish(res_.vorn_cv_nrows - room, last);
  }

  uint32_t list() {
    const uint32_t *rows = aux_.vorn_aux_ones_vec;
    const uint32_t n = aux_.vorn_aux_ones_vec_size;
    if (n == 0 && runs_)
      raise(*aux_.vorn_aux_ctx, texts_.empty_list);
    unpack_list(rows, n);
    store_cursor();
    set(aux_, operations::decode_unpack.selective);
    return finish(n, n == 0 ? aux_.vorn_aux_start_slot : rows[n - 1]);
  }

  uint32_t range() {
    const uint32_t first = aux_.vorn_aux_start_slot;
    const uint32_t n = std::min(src_.vorn_cv_nrows - first, res_.vorn_cv_nrows);
    if (n != 0 && runs_)
      unpack_runs(first, n);
    else if (n != 0)
      steps_.range(stream_, first, n, out_);
    return finish(n, first + n - 1);
  }

  // Unpacks the codes of the runs into the tail of the output and expands them in place.  A run has at least one row,
  // so the expansion never overwrites a code before it reads it.
  void unpack_runs(uint32_t first, uint32_t n) {
    cursor_.move_to(first);
    const uint32_t first_run = cursor_.run();
    const uint32_t first_end = cursor_.end();
    const uint32_t last = first + n - 1;
    cursor_.move_to(last);
    const uint32_t nruns = cursor_.run() - first_run + 1;
    uint8_t *const tail = out_ + uint64_t{n - nruns} * steps_.element_size;
    steps_.range(stream_, first_run, nruns, tail);
    // The last element already has its final position.
    steps_.expand(out_, tail, nruns, cursor_.lengths().from(first_run), first_end - first, cursor_.end() - last);
    store_cursor();
  }

  void unpack_list(const uint32_t *rows, uint32_t n) {
    if (runs_)
      steps_.list_over_runs(stream_, cursor_, rows, n, out_);
    else
      steps_.list(stream_, rows, n, out_);
    out_ += uint64_t{n} * steps_.element_size;
  }

  void store_cursor() const {
    if (!runs_)
      return;
    aux_.vorn_aux_run_idx = cursor_.run();
    aux_.vorn_aux_run_end = cursor_.end();
  }

  uint32_t finish(uint32_t written, uint32_t last) const {
    aux_.vorn_aux_start_slot = last;
    res_.vorn_cv_popc = written;
    return written == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
  }

  const unpack_texts &texts_;
  const unpack_steps &steps_;
  vorn_cv &res_;
  vorn_cv &src_;
  vorn_aux &aux_;
  code_stream stream_;
  run_cursor cursor_;
  bool runs_;
  uint8_t *out_;
};

// The body of a kernel.  Elements have the least size that holds a code, or 4 bytes.
template <template <unsigned, class> class Steps, unsigned W>
uint32_t unpack(const unpack_texts &texts, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const unpack_steps &steps = aux->vorn_aux_flags & VORN_AUX_UNPACK_UB4 ? unpack_steps_of<Steps, W, uint32_t>
                                                                        : unpack_steps_of<Steps, W, lane<W>>;
  return unpacker(texts, steps, res, src, aux).run();
}

} // namespace vorn::inline VORN_LEVEL
