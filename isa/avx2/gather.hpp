// Look-ups of eight keys or hash values at once, on levels with gather instructions.
#pragma once

#include "generic/expr/translate.hpp"
#include "generic/join/bloom.hpp"
#include "isa/avx2/vector.hpp"

namespace vorn::inline VORN_LEVEL {

#ifdef __AVX2__

// Eight stored numbers of 32 bits in the byte order of the processor.
inline __m256i in_native_order(__m256i stored) {
  return _mm256_shuffle_epi8(
      stored, _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12)));
}

// The 32 bits at each index of a table.
inline __m256i gathered(const void *table, __m256i indices) {
  return _mm256_i32gather_epi32(static_cast<const int *>(table), indices, 4);
}

inline uint64_t top_bit_of_each(__m256i lanes) {
  return static_cast<uint64_t>(_mm256_movemask_ps(_mm256_castsi256_ps(lanes)));
}

// Entries of 8 and 16 bits are faster one by one, and so are pages.
struct gather_keys : expr::single_keys {
  // An entry lies in 32 bits at an address that is a multiple of four.  These bytes are in one page of memory, so a
  // look-up reads nothing after the page of the entry.
  template <class Entries>
  static uint64_t look_up_word(const expr::key_table &table, const uint8_t *keys, typename Entries::number *entries) {
    uint64_t found;
    if constexpr (Entries::bits == 32) {
      if (table.kind != expr::table_kind::ind && gather_word<Entries>(table, keys, entries, found)) [[likely]]
        return found;
      return look_up_singly<Entries>(table, keys, entries);
    } else if constexpr (Entries::bits < 8) {
      uint32_t wide[test_block];
      if (table.kind != expr::table_kind::ind && gather_word<Entries>(table, keys, wide, found)) {
        for (unsigned i = 0; i < test_block; ++i)
          entries[i] = static_cast<typename Entries::number>(wide[i]);
        return found;
      }
    }
    return single_keys::look_up_word<Entries>(table, keys, entries);
  }

private:
  template <class Entries>
  [[gnu::noinline]] static uint64_t look_up_singly(const expr::key_table &table, const uint8_t *keys,
                                                   typename Entries::number *entries) {
    return single_keys::look_up_word<Entries>(table, keys, entries);
  }

  template <class Entries>
  [[gnu::always_inline]] static bool gather_word(const expr::key_table &table, const uint8_t *keys, uint32_t *entries,
                                                 uint64_t &found) {
    constexpr unsigned per_dword = 32 / Entries::bits;
    // Bytes from the first word to the table.
    const uint64_t beyond = Entries::bits == 32 ? 0 : reinterpret_cast<uintptr_t>(table.entries) % 4;
    const uint8_t *words = table.entries - beyond;
    const __m256i first = _mm256_set1_epi32(static_cast<int>(table.base));
    __m256i numbers[8], all = _mm256_setzero_si256();
    for (unsigned v = 0; v < 8; ++v) {
      const __m256i stored = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(keys) + v);
      numbers[v] = _mm256_sub_epi32(in_native_order(stored), first);
      all = _mm256_or_si256(all, numbers[v]);
    }
    if (top_bit_of_each(all) != 0) // indices of gathers are signed
      return false;
    const __m256i skipped = _mm256_set1_epi32(static_cast<int>(beyond * 8 / Entries::bits));
    const __m256i miss = _mm256_set1_epi32(static_cast<int>(uint32_t{Entries::miss}));
    uint64_t missed = 0;
    for (unsigned v = 0; v < 8; ++v) {
      const __m256i at = _mm256_add_epi32(numbers[v], skipped);
      __m256i entry = gathered(words, _mm256_srli_epi32(at, __builtin_ctz(per_dword)));
      if constexpr (per_dword != 1) {
        const __m256i in_word = _mm256_and_si256(at, _mm256_set1_epi32(per_dword - 1));
        entry = _mm256_srlv_epi32(entry, _mm256_slli_epi32(in_word, __builtin_ctz(Entries::bits)));
        entry = _mm256_and_si256(entry, miss);
      }
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(entries) + v, entry);
      missed |= top_bit_of_each(_mm256_cmpeq_epi32(entry, miss)) << 8 * v;
    }
    found = ~missed;
    return true;
  }
};

struct gather_tests : join::single_tests {
  template <class Map>
  static bool test_word(const Map &map, uint64_t first, uint64_t &bits) {
    // Pages are faster one by one.  With another mask the map may end within 32 bits.
    if (Map::two_levels || map.mask % 32 != 31)
      return false;
    const __m256i mask = _mm256_set1_epi32(static_cast<int>(map.mask));
    const uint8_t *values = map.values - (map.step - 4) + first * map.step;
    bits = 0;
    for (unsigned v = 0; v < 8; ++v, values += 8 * map.step) {
      const auto *at = reinterpret_cast<const __m256i *>(values);
      __m256i stored = _mm256_loadu_si256(at);
      if (map.step == 8) { // the second half of each value
        const auto ends =
            _mm256_shuffle_ps(_mm256_castsi256_ps(stored), _mm256_castsi256_ps(_mm256_loadu_si256(at + 1)), 0xdd);
        stored = _mm256_permute4x64_epi64(_mm256_castps_si256(ends), 0xd8);
      }
      const __m256i bit = _mm256_and_si256(in_native_order(stored), mask);
      const __m256i words = gathered(map.map, _mm256_srli_epi32(bit, 5));
      const __m256i to_top = _mm256_andnot_si256(bit, _mm256_set1_epi32(31));
      bits |= top_bit_of_each(_mm256_sllv_epi32(words, to_top)) << 8 * v;
    }
    return true;
  }
};

#else

using gather_keys = expr::single_keys;
using gather_tests = join::single_tests;

#endif

} // namespace vorn::inline VORN_LEVEL
