// Hashing by the host's function: which bytes the function gets, and in which order.
#pragma once

#include "generic/join/rows.hpp"

namespace vorn::inline VORN_LEVEL::join {

// Numbers in memory, `step` bytes apart.
struct strided {
  const uint8_t *at;
  uint32_t step;

  template <class T>
  T get(uint64_t index) const {
    return load<T>(at + index * step);
  }
};

// One seed for all rows.
struct single_seed {
  uint64_t seed;

  template <class>
  uint64_t get(uint64_t) const {
    return seed;
  }
};

// Hashes one row after the other.
struct single_hashes {
  // A hash value for each of `count` rows.
  template <class Rows, class Seeds>
  static void hash(uint64_t *out, Rows rows, uint32_t count, vorn_hashfn hashfn, Seeds seeds) {
    for (uint32_t i = 0; i < count; ++i) {
      const value row = rows.next();
      out[i] = hashfn(row.at, row.length, seeds.template get<uint64_t>(i));
    }
  }

  // Hashes without a seed and stores where each row begins: offs[i] bytes after the first row.  offs[count] is the end.
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

// Hashes a whole vector.  A single seed is read once, since the results may overwrite it.
inline uint32_t hash_vector(row_form form, const vorn_cv &res, const vorn_cv &src, const vorn_cv &seed,
                            vorn_hashfn hashfn) {
  if (hashfn == nullptr) // the library has no hash function of its own
    return VORN_RESULT_NO_IMPLEMENTATION;
  const auto *seeds = static_cast<const uint8_t *>(seed.vorn_cv_vals);
  auto *out = static_cast<uint64_t *>(res.vorn_cv_vals);
  const auto hash = [&](auto rows) -> uint32_t {
    if (seed.vorn_cv_nrows == 1)
      single_hashes::hash(out, rows, src.vorn_cv_nrows, hashfn, single_seed{load<uint64_t>(seeds)});
    else
      single_hashes::hash(out, rows, src.vorn_cv_nrows, hashfn, strided{seeds, sizeof(uint64_t)});
    return VORN_RESULT_DONE;
  };
  return form == row_form::dict ? hash(dict_rows(src)) : visit_values(src, form, {}, hash);
}

} // namespace vorn::inline VORN_LEVEL::join
