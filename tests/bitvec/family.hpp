// The slots of the two families of bit vectors under common signatures.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "tests/support/guarded.hpp"
#include "tests/support/implementation.hpp"

namespace vorn_test {

// The contexts of both families.  Only the context of the tested family is used.
struct iterator {
  vorn_lbiv_ictx of_bytes;
  vorn_lbiwv_ictx of_words;
  operator vorn_lbiv_ictx *() { return &of_bytes; }
  operator vorn_lbiwv_ictx *() { return &of_words; }
};

// The fields of a context.
struct fields {
  const void *next;
  int64_t nbits, base;
  uint64_t offset, word;
  bool operator==(const fields &) const = default;
};

using sources = std::array<placed_vector, 3>;

// The slot of a combination of one, two or three sources.
struct combination {
  template <class... Arguments>
  combination(void (*slot)(Arguments...)) : nsources(sizeof...(Arguments) - 3) {
    run = [slot](pointer dst, uint32_t *popc, const sources &s, uint64_t nbits) {
      if constexpr (sizeof...(Arguments) == 4)
        slot(dst, popc, s[0], nbits);
      else if constexpr (sizeof...(Arguments) == 5)
        slot(dst, popc, s[0], s[1], nbits);
      else
        slot(dst, popc, s[0], s[1], s[2], nbits);
    };
  }
  size_t nsources;
  std::function<void(pointer, uint32_t *, const sources &, uint64_t)> run;
};

// The slots of a family in their order.
struct family {
  uint64_t unit = 0, end = 0;
  std::function<void(uint32_t *, pointer, uint64_t)> popcnt;
  std::vector<combination> combinations;
  std::function<void(pointer, uint64_t, uint64_t)> set_range, clr_range;
  std::function<void(iterator &, pointer, uint64_t, uint8_t, uint64_t)> start;
  std::function<uint64_t(iterator &)> iter, iter_clr;
  std::function<uint32_t(iterator &, uint32_t *, uint32_t)> ones;
  std::function<uint64_t(uint64_t, uint64_t)> run;
  std::function<uint64_t(uint64_t, uint64_t, uint64_t, uint64_t)> runs;

  size_t size(uint64_t nbits) const { return (nbits + unit - 1) / unit * unit / 8; }
};

// The family in force: the slots of lbiwv or of lbiv.
inline family family_in_force(bool of_words) {
#define SLOT(f, operation) vorn_global_ctx.vorn_##f##operation##_dydi
#define SLOTS(f)                                                                                                       \
  SLOT(f, popcnt), {SLOT(f, not ),   SLOT(f, and),  SLOT(f, or),  SLOT(f, xor),                                        \
                    SLOT(f, andnot), SLOT(f, and3), SLOT(f, or3), SLOT(f, xor3)},                                      \
      SLOT(f, set_range), SLOT(f, clr_range), SLOT(f, _ictx_ini2), SLOT(f, iter), SLOT(f, iter_clr), SLOT(f, ones),    \
      SLOT(f, run), SLOT(f, runs)
  return of_words ? family{64, UINT64_MAX, SLOTS(lbiwv)} : family{8, UINT32_MAX, SLOTS(lbiv)};
#undef SLOTS
#undef SLOT
}

} // namespace vorn_test
