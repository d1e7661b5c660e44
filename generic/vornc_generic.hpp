// What every generic kernel is made of: readers of stored forms and the value stream of a vector.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/bits.hpp"
#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn {

// Stored data is big-endian and unaligned.
template <class T>
inline T load_big(const uint8_t *bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else if constexpr (sizeof(T) == 8)
    return __builtin_bswap64(value);
  else
    return value;
}

// A big-endian number of up to 8 bytes.
inline uint64_t read_big(const uint8_t *bytes, unsigned size) {
  uint64_t value = 0;
  for (unsigned i = 0; i < size; ++i)
    value = value << 8 | bytes[i];
  return value;
}

// The narrowest integer of W bits or more.
template <unsigned W>
using lane = std::conditional_t<
    W <= 8, uint8_t,
    std::conditional_t<
        W <= 16, uint16_t,
        std::conditional_t<W <= 32, uint32_t, std::conditional_t<W <= 64, uint64_t, unsigned __int128>>>>;

constexpr uint64_t words_of(uint64_t nbits) { return (nbits + 63) >> 6; }

// The codes of a stream: one per row, or one per run.
inline uint32_t ncodes_of(const vorn_cv &src) {
  const vorn_enc_ctx &enc = *src.vorn_cv_encoding_context;
  return enc.vorn_enc_ctx_flags & VORN_RLE ? enc.vorn_enc_ctx_rle_nruns : src.vorn_cv_nrows;
}

// The two texts of the stream path, which carry the name of a kernel.
struct stream_texts {
  const char *allocation;
  const char *decode_failed;
};

#define VORN_STREAM_TEXTS(kernel)                                                                                      \
  { kernel ": vec1_decomp", kernel ": vorn_qpak_decode failed" }

// The value stream of src: vorn_cv_vals itself or, when it is compressed in blocks, its decompressed form.  That is
// made once and kept in the host's slot; nothing here frees it.
inline const uint8_t *obtain_stream(const vorn_cv &src, const vorn_aux &aux, const stream_texts &texts) {
  if (!(src.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_STREAM))
    return static_cast<const uint8_t *>(src.vorn_cv_vals);
  void **slot = src.vorn_cv_stream_slot;
  if (*slot == nullptr) {
    const vorn_ctx &ctx = *aux.vorn_aux_ctx;
    *slot = ctx.vorn_ctx_alloc(ctx.vorn_ctx_env, ctx.vorn_ctx_heap, src.vorn_cv_stream_len, texts.allocation, 8, 16,
                               src.vorn_cv_stream_tag);
    const bool generic = ctx.vorn_ctx_flags & (VORN_CTX_FORCE_GENERIC | VORN_CTX_SELF_CHECK);
    vorn_qpak_ctx decoder = {ctx.vorn_ctx_env, ctx.vorn_ctx_heap, ctx.vorn_ctx_stack_alloc, ctx.vorn_ctx_stack_free,
                             generic ? 1U : 0U};
    uint32_t outlen = 0;
    if (ctx.vorn_ctx_decompress(&decoder, src.vorn_cv_vals, *slot, &outlen, src.vorn_cv_stream_len) != 0)
      raise(ctx, texts.decode_failed);
  }
  return static_cast<const uint8_t *>(*slot);
}

} // namespace vorn
