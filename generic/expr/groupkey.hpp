// Group keys: the dictionary codes of several columns are combined to one dense number per row.
#pragma once

#ifdef __SSE4_1__
  #include <immintrin.h>
#endif

#include "frame/slots.hpp"
#include "frame/vorn.h"
#include "generic/decode/unpackers.hpp"
#include "generic/native.hpp"

// Over n elements of 32 bits.
VORN_KERNELS_BEGIN
void vorn_mul_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n);
void vorn_shl_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n);
void vorn_add_ub4(uint32_t *vals, const uint32_t *other, uint32_t n);
VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL::expr {

// The state of a column between batches.
struct key_column {
  uint32_t run_idx; // of a run-length column: the run at which the next batch resumes
  uint32_t run_end;
  uint32_t factor; // of the keys of all columns before it
};
static_assert(sizeof(key_column) == 12);

// Keys and codes in vector lanes of 32 bits.
#if defined(__AVX2__)
using key_lanes = __m256i;
inline key_lanes load_lanes(const uint8_t *codes) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(codes)));
}
inline key_lanes load_lanes(const uint16_t *codes) {
  return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(codes)));
}
inline key_lanes load_lanes(const uint32_t *codes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(codes));
}
inline key_lanes times(key_lanes keys, uint32_t factor) {
  return _mm256_mullo_epi32(keys, _mm256_set1_epi32(static_cast<int>(factor)));
}
inline key_lanes shifted_left(key_lanes keys, uint32_t bits) {
  return _mm256_sll_epi32(keys, _mm_cvtsi32_si128(static_cast<int>(bits)));
}
inline void store_sum(uint32_t *out, key_lanes a, key_lanes b) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), _mm256_add_epi32(a, b));
}
#elif defined(__SSE4_1__)
using key_lanes = __m128i;
inline key_lanes load_lanes(const uint8_t *codes) {
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(static_cast<int>(load<uint32_t>(codes))));
}
inline key_lanes load_lanes(const uint16_t *codes) {
  return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(codes)));
}
inline key_lanes load_lanes(const uint32_t *codes) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(codes)); }
inline key_lanes times(key_lanes keys, uint32_t factor) {
  return _mm_mullo_epi32(keys, _mm_set1_epi32(static_cast<int>(factor)));
}
inline key_lanes shifted_left(key_lanes keys, uint32_t bits) {
  return _mm_sll_epi32(keys, _mm_cvtsi32_si128(static_cast<int>(bits)));
}
inline void store_sum(uint32_t *out, key_lanes a, key_lanes b) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_add_epi32(a, b));
}
#endif

// The codes of the columns are digits of a number, or bit fields.
class key_space {
public:
  explicit key_space(bool multiplied) : multiplied_(multiplied) {}

  // Adds a column.  The result is false when the largest key does not fit 32 bits.
  bool add(const vorn_enc_ctx &column) {
    const uint64_t symbols = column.vorn_enc_ctx_dict_nsyms;
    size_ = multiplied_ ? size_ * symbols : shifted(size_ - 1, column.vorn_enc_ctx_width) + symbols;
    return size_ <= UINT32_MAX;
  }

  uint32_t factor(const vorn_enc_ctx &column) const {
    return multiplied_ ? column.vorn_enc_ctx_dict_nsyms : column.vorn_enc_ctx_width;
  }
  // Adds the codes of a column to keys.
  void fold(uint32_t *keys, const uint32_t *codes, uint32_t factor, uint32_t n) const {
    (multiplied_ ? vorn_mul_ub4_const : vorn_shl_ub4_const)(keys, factor, n);
    vorn_add_ub4(keys, codes, n);
  }
  // The same for codes of less than 32 bits.  The keys that are folded may be other narrow numbers.
  template <class Key, class Code>
  void fold(uint32_t *out, const Key *keys, const Code *codes, uint32_t factor, uint32_t n) const {
    if (multiplied_)
      combine(out, keys, codes, n, multiplication{factor});
    else
      combine(out, keys, codes, n, shift{factor % 32});
  }
  uint64_t size() const { return size_; }

private:
  struct multiplication {
    uint32_t factor;

    uint32_t operator()(uint32_t key) const { return key * factor; }
#ifdef __SSE4_1__
    key_lanes operator()(key_lanes keys) const { return times(keys, factor); }
#endif
  };
  struct shift {
    uint32_t bits;

    uint32_t operator()(uint32_t key) const { return key << bits; }
#ifdef __SSE4_1__
    key_lanes operator()(key_lanes keys) const { return shifted_left(keys, bits); }
#endif
  };

  template <class Key, class Code, class Raise>
  [[gnu::noinline]] static void combine(uint32_t *out, const Key *keys, const Code *codes, uint32_t n, Raise raise) {
    uint32_t i = 0;
#ifdef __SSE4_1__ // gcc would widen more codes at a time, with moves between the halves of vectors
    constexpr uint32_t at_once = sizeof(key_lanes) / sizeof(uint32_t);
  #pragma GCC unroll 4
    for (; i + at_once <= n; i += at_once)
      store_sum(out + i, raise(load_lanes(keys + i)), load_lanes(codes + i));
#endif
    for (; i < n; ++i)
      out[i] = raise(keys[i]) + codes[i];
  }

  static uint64_t shifted(uint64_t value, uint32_t by) { return by < 64 ? value << by : 0; }

  bool multiplied_;
  uint64_t size_ = 1; // the largest key plus one
};

// Calls call(codes) with codes of 1 or 2 bytes.
template <class Call>
inline void with_codes(const uint8_t *codes, uint32_t size, Call call) {
  if (size == 1)
    call(codes);
  else
    call(reinterpret_cast<const uint16_t *>(codes));
}

// Unpacks the codes of one column from a position on.  Each column has its own position in its runs.
class column_unpacker {
public:
  column_unpacker(vorn_aux &aux, uint32_t room) : aux_(aux), room_(room) {}

  // A code takes 4 bytes, or the least size that holds it.
  uint32_t unpack(vorn_cv &column, key_column &state, bool has_runs, uint32_t position, bool narrow, void *out) const {
    aux_.vorn_aux_flags = static_cast<uint8_t>(narrow ? aux_.vorn_aux_flags & ~VORN_AUX_UNPACK_UB4
                                                      : aux_.vorn_aux_flags | VORN_AUX_UNPACK_UB4);
    vorn_cv res = {};
    res.vorn_cv_vals = out;
    res.vorn_cv_nrows = room_;
    aux_.vorn_aux_start_slot = position;
    if (has_runs) {
      aux_.vorn_aux_run_idx = state.run_idx;
      aux_.vorn_aux_run_end = state.run_end;
    }
    unpacker_of(*column.vorn_cv_encoding_context).run(&res, &column, &aux_);
    if (has_runs) {
      state.run_idx = aux_.vorn_aux_run_idx;
      state.run_end = aux_.vorn_aux_run_end;
    }
    return res.vorn_cv_popc;
  }

private:
  vorn_aux &aux_;
  uint32_t room_;
};

} // namespace vorn::inline VORN_LEVEL::expr
