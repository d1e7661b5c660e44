// The decoders of packed codes.  They find the values of a list of rows.
#pragma once

#include "frame/operations.hpp"
#include "generic/decode/code_steps.hpp"
#include "generic/decode/symbols.hpp"
#include "generic/stream.hpp"

namespace vorn::inline VORN_LEVEL {

// The steps for codes of one width.
struct decode_steps {
  decltype(&code_steps<8, uint32_t>::list) list;
  decltype(&code_steps<8, uint32_t>::addresses) addresses;
};

template <template <unsigned, class> class Steps, unsigned W>
inline constexpr decode_steps decode_steps_of = {Steps<W, uint32_t>::list, Steps<W, uint32_t>::addresses};

// The codes of a list of rows.
struct listed_codes {
  const stream_texts &texts;
  const decode_steps &steps;
  const vorn_cv &src;
  const vorn_aux &aux;

  code_stream open() const { return {obtain_stream(src, aux, texts), ncodes_of(src)}; }

  void write(const equal_symbols &symbols, const symbol_arrays &out) const {
    const uint32_t n = aux.vorn_aux_ones_vec_size;
    steps.addresses(open(), aux.vorn_aux_ones_vec, n, symbols, out.vals);
    write_lengths(out, n, static_cast<uint16_t>(symbols.length()), 0);
  }

  void write(const offset_symbols &symbols, const symbol_arrays &out) const {
    const code_stream stream = open();
    constexpr uint32_t batch_size = 256;
    uint32_t batch[batch_size];
    const uint32_t n = aux.vorn_aux_ones_vec_size;
    for (uint32_t first = 0; first < n; first += batch_size) {
      const uint32_t count = std::min(n - first, batch_size);
      steps.list(stream, aux.vorn_aux_ones_vec + first, count, batch);
      write_symbols(out, first, count, symbols, [&](uint32_t i) { return batch[i]; });
    }
  }
};

inline uint32_t decode(const stream_texts &texts, const decode_steps &steps, vorn_cv *res, vorn_cv *src,
                       vorn_aux *aux) {
  const uint32_t n = aux->vorn_aux_ones_vec_size;
  const uint32_t code = decode_symbols(res, *src->vorn_cv_encoding_context, n, listed_codes{texts, steps, *src, *aux});
  if (code != VORN_RESULT_DONE)
    return code;
  if (n != 0)
    aux->vorn_aux_start_slot = aux->vorn_aux_ones_vec[n - 1];
  set(*aux, operations::decode.selective);
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL
