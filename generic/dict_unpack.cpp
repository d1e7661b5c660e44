// The unpackers: packed codes to an array of plain integers, for the rows of a filter, of a list or of a range, in
// batches that resume where the last one stopped.
#include <algorithm>

#include "frame/operations.hpp"
#include "generic/codes.hpp"
#include "generic/dict_decode.kernels.hpp"
#include "generic/rle_expand.hpp"
#include "generic/rle_lengths.hpp"

extern "C" uint32_t vorn_dispatch_decode_unpack(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const uint64_t type = src->vorn_cv_encoding_context->vorn_enc_ctx_type;
  return vorn_dispatch_table[(type & 0xff) << 5 | VORN_OPC_DECODE_UNPACK].unary(res, src, aux);
}

namespace vorn {

namespace {

struct unpack_texts {
  stream_texts stream;
  const char *empty_list;
};

// What a kernel was called with.
struct unpack_call {
  const unpack_texts &texts;
  vorn_cv *res;
  vorn_cv *src;
  vorn_aux *aux;

  uint32_t finish(uint32_t written, uint32_t last) const {
    aux->vorn_aux_start_slot = last;
    res->vorn_cv_popc = written;
    return written == 0 ? VORN_RESULT_EMPTY : VORN_RESULT_DONE;
  }
};

// A stream of codes.
template <unsigned W>
struct code_stream : code_reader<W> {
  code_stream(const uint8_t *stream, const vorn_cv &src) : code_reader<W>(stream, ncodes_of(src)), bytes(stream) {}

  const uint8_t *bytes;
};

// The codes from `first` on, n of them.
template <unsigned W, class Element>
void unpack_codes(const code_stream<W> &stream, uint64_t first, uint32_t n, Element *out) {
  if constexpr (W == 8 && sizeof(Element) == 1) {
    std::memcpy(out, stream.bytes + first, n);
  } else {
    // Blocks begin where a code begins with a byte.
    for (; n != 0 && first % 8 != 0; --n)
      *out++ = static_cast<Element>(stream.at(first++));
    const uint8_t *block = stream.bytes + first / 8 * W;
    for (; n >= 64; n -= 64, block += 8 * W, out += 64)
      unpack64<W>(block, out);
    if (n != 0) {
      Element codes[64];
      unpack64<W>(last_block<W>(block, n).bytes, codes);
      std::copy_n(codes, n, out);
    }
  }
}

// One code per row.
template <unsigned W, class Element>
class plain_codes {
public:
  static constexpr bool over_runs = false;

  explicit plain_codes(const code_stream<W> &stream) : stream_(stream) {}

  // The position after a filtered call without room.
  static uint32_t last_without_room(const unpack_call &call) { return call.aux->vorn_aux_start_slot - 1; }

  Element at(uint32_t row) const { return static_cast<Element>(stream_.at(row)); }

  void range(const unpack_call & /*call*/, uint32_t first, uint32_t n, Element *out) const {
    unpack_codes(stream_, first, n, out);
  }

  void store(vorn_aux & /*aux*/) const {}

private:
  code_stream<W> stream_;
};

// One code per run.  A cursor stands on a run; rows are asked for in ascending order.
template <unsigned W, class Element, class Length>
class run_codes {
public:
  static constexpr bool over_runs = true;

  run_codes(const code_stream<W> &stream, const vorn_enc_ctx &enc, const vorn_aux &aux)
      : stream_(stream), lens_(enc.vorn_enc_ctx_rle_lens) {
    if (aux.vorn_aux_start_slot != 0 && aux.vorn_aux_run_end != 0) {
      run_ = aux.vorn_aux_run_idx;
      end_ = aux.vorn_aux_run_end;
      code_ = static_cast<Element>(stream_.at(run_));
    }
  }

  static uint32_t last_without_room(const unpack_call &call) { return call.src->vorn_cv_nrows - 1; }

  Element at(uint32_t row) {
    if (row >= end_) {
      move_to(row);
      code_ = static_cast<Element>(stream_.at(run_));
    }
    return code_;
  }

  // Unpacks the codes of the runs into the tail of the output and expands them in place.  A run has at least one row,
  // so that the expansion never overtakes the codes that it has still to read.
  void range(const unpack_call &call, uint32_t first, uint32_t n, Element *out) {
    move_to(first);
    const uint32_t first_run = run_;
    const uint32_t first_end = end_;
    const uint32_t last = first + n - 1;
    move_to(last);
    const uint32_t nruns = run_ - first_run + 1;
    Element *const tail = out + (n - nruns);
    unpack_codes(stream_, first_run, nruns, tail);

    // The last element is in its place already.
    vorn_cv runs = *call.src;
    runs.vorn_cv_vals = tail;
    runs.vorn_cv_nrows = nruns;
    expand(call.res, &runs, lens_.address(first_run), first_end - first, end_ - last);
  }

  void store(vorn_aux &aux) const {
    aux.vorn_aux_run_idx = run_;
    aux.vorn_aux_run_end = end_;
  }

private:
  void move_to(uint32_t row) {
    while (end_ <= row)
      end_ += lens_[++run_];
  }

  static constexpr auto expand = [] {
    if constexpr (sizeof(Length) == 1)
      return sizeof(Element) == 1   ? vorn_rle8_expand_ub1
             : sizeof(Element) == 2 ? vorn_rle8_expand_ub2
                                    : vorn_rle8_expand_ub4;
    else
      return sizeof(Element) == 1   ? vorn_rle16_expand_ub1
             : sizeof(Element) == 2 ? vorn_rle16_expand_ub2
                                    : vorn_rle16_expand_ub4;
  }();

  code_stream<W> stream_;
  run_lengths<Length> lens_;
  uint32_t run_ = UINT32_MAX; // before the first run
  uint32_t end_ = 0;          // the row behind the run
  Element code_ = 0;          // the code of the run
};

template <class Codes, class Element>
uint32_t unpack_filter(const unpack_call &call, Codes codes, Element *out) {
  const uint32_t nrows = call.src->vorn_cv_nrows;
  vorn_lbiwv_ictx selected;
  vorn_lbiwv_ictx_ini2_dydi(&selected, call.aux->vorn_aux_filter_bv, nrows, 0, call.aux->vorn_aux_start_slot);
  constexpr uint32_t batch_size = 256;
  uint32_t batch[batch_size];
  uint32_t room = call.res->vorn_cv_nrows;
  uint32_t last = Codes::last_without_room(call);
  while (room != 0) {
    const uint32_t wanted = std::min(room, batch_size);
    const uint32_t fetched = vorn_lbiwvones_dydi(&selected, batch, wanted);
    for (uint32_t i = 0; i < fetched; ++i)
      *out++ = codes.at(batch[i]);
    room -= fetched;
    last = fetched == wanted ? batch[fetched - 1] : nrows - 1; // a full batch stops on its row, even on the last one
    if (fetched < wanted)
      break;
  }
  codes.store(*call.aux);
  set(*call.aux, operations::decode_unpack.selective);
  return call.finish(call.res->vorn_cv_nrows - room, last);
}

template <class Codes, class Element>
uint32_t unpack_list(const unpack_call &call, Codes codes, Element *out) {
  const uint32_t *rows = call.aux->vorn_aux_ones_vec;
  const uint32_t n = call.aux->vorn_aux_ones_vec_size;
  if (n == 0 && Codes::over_runs)
    raise(*call.aux->vorn_aux_ctx, call.texts.empty_list);
  for (uint32_t i = 0; i < n; ++i)
    out[i] = codes.at(rows[i]);
  codes.store(*call.aux);
  set(*call.aux, operations::decode_unpack.selective);
  return call.finish(n, n == 0 ? call.aux->vorn_aux_start_slot : rows[n - 1]);
}

template <class Codes, class Element>
uint32_t unpack_range(const unpack_call &call, Codes codes, Element *out) {
  const uint32_t first = call.aux->vorn_aux_start_slot;
  const uint32_t n = std::min(call.src->vorn_cv_nrows - first, call.res->vorn_cv_nrows);
  if (n != 0) {
    codes.range(call, first, n, out);
    codes.store(*call.aux);
  }
  return call.finish(n, first + n - 1);
}

template <class Codes, class Element>
uint32_t unpack_rows(const unpack_call &call, Codes codes, Element *out) {
  if (call.aux->vorn_aux_filter_bv != nullptr)
    return unpack_filter(call, codes, out);
  if (call.aux->vorn_aux_ones_vec != nullptr)
    return unpack_list(call, codes, out);
  return unpack_range(call, codes, out);
}

template <unsigned W, class Element>
uint32_t unpack_elements(const unpack_call &call) {
  const vorn_enc_ctx &enc = *call.src->vorn_cv_encoding_context;
  const code_stream<W> stream(obtain_stream(*call.src, *call.aux, call.texts.stream), *call.src);
  auto *out = static_cast<Element *>(call.res->vorn_cv_vals);
  if (!(enc.vorn_enc_ctx_flags & VORN_RLE))
    return unpack_rows(call, plain_codes<W, Element>(stream), out);
  return enc.vorn_enc_ctx_rle_width == 8
             ? unpack_rows(call, run_codes<W, Element, uint8_t>(stream, enc, *call.aux), out)
             : unpack_rows(call, run_codes<W, Element, uint16_t>(stream, enc, *call.aux), out);
}

template <unsigned W>
uint32_t unpack(const unpack_texts &texts, vorn_cv *res, vorn_cv *src, vorn_aux *aux) {
  const unpack_call call = {texts, res, src, aux};
  return aux->vorn_aux_flags & VORN_AUX_UNPACK_UB4 ? unpack_elements<W, uint32_t>(call)
                                                   : unpack_elements<W, lane<W>>(call);
}

} // namespace

} // namespace vorn

#define VORN_DEFINE_UNPACK(w)                                                                                          \
  extern "C" uint32_t vorn_decode_unpack_dict_##w##bit(vorn_cv *res, vorn_cv *src, vorn_aux *aux) {                    \
    static constexpr vorn::unpack_texts texts = {VORN_STREAM_TEXTS("vorn_decode_unpack_dict_" #w "bit"),               \
                                                 "vorn_decode_unpack_dict_" #w "bit: [rle] ones_vec size is zero"};    \
    return vorn::unpack<w>(texts, res, src, aux);                                                                      \
  }
VORN_DICT_DECODE_KERNELS(VORN_DEFINE_UNPACK)
