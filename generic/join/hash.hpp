// Hashing by the host's function: which bytes it is given, and in which order.
#pragma once

#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL {

// Numbers in memory, `step` bytes apart.
struct strided {
  const uint8_t *at;
  uint32_t step;

  template <class T>
  T get(uint64_t index) const {
    return load<T>(at + index * step);
  }
};

// Rows one after the other.  An engine of a level may replace it, as far as it knows the function.
struct hashed_rows {
  // A hash value for each of `count` rows.
  template <class Rows>
  static void hash(uint64_t *out, Rows rows, uint32_t count, vorn_hashfn hashfn, strided seeds) {
    for (uint32_t i = 0; i < count; ++i) {
      const value row = rows.next();
      out[i] = hashfn(row.at, row.length, seeds.get<uint64_t>(i));
    }
  }

  // The same without a seed, and where each row begins: offs[i] bytes behind the first one, offs[count] is the end.
  template <class Rows>
  static void hash(uint64_t *out, uint64_t *offs, Rows rows, uint32_t count, vorn_hashfn hashfn) {
    const uint8_t *const first = rows.at;
    offs[0] = 0;
    for (uint32_t i = 0; i < count; ++i) {
      const value row = rows.next();
      out[i] = hashfn(row.at, row.length, 0);
      offs[i + 1] = static_cast<uint64_t>(rows.at - first);
    }
  }
};

inline constexpr uint64_t no_seed = 0;
inline strided no_seeds() { return {reinterpret_cast<const uint8_t *>(&no_seed), 0}; }

// The whole of a vector.  One seed is read once, since it may lie where the results go.
template <class Pass>
uint32_t hash_vector(row_form form, bool seed_per_row, vorn_cv *res, vorn_cv *src, vorn_cv *seed, vorn_hashfn hashfn) {
  if (hashfn == nullptr) // there is none of our own
    return VORN_RESULT_NO_IMPLEMENTATION;
  const auto *given = static_cast<const uint8_t *>(seed->vorn_cv_vals);
  const uint64_t one = seed_per_row ? 0 : load<uint64_t>(given);
  const strided seeds = seed_per_row ? strided{given, sizeof one} : strided{reinterpret_cast<const uint8_t *>(&one), 0};
  const auto hash = [&](auto rows) -> uint32_t {
    Pass::hash(static_cast<uint64_t *>(res->vorn_cv_vals), rows, src->vorn_cv_nrows, hashfn, seeds);
    return VORN_RESULT_DONE;
  };
  return form == row_form::dict ? hash(dict_rows(*src)) : visit_values(*src, form, {}, hash);
}

} // namespace vorn::inline VORN_LEVEL
