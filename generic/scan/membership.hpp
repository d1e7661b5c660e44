// Set membership as a predicate on a code: is its bit set in a map over the dictionary?
#pragma once

#include "frame/operations.hpp"
#include "generic/scan/predicate.hpp"
#include "generic/stream.hpp"

namespace vorn::inline VORN_LEVEL {

// The map has a bit for every code of the column, and no other is read.
struct membership {
  const uint64_t *map;

  bool contains(uint64_t code) const { return map[code >> 6] >> (code & 63) & 1; }

  template <class Lane, class Code>
  uint64_t match64(Code code) const {
    return collect64<false>([&](unsigned i) { return static_cast<unsigned>(contains(code(i))); });
  }

  // Of a dictionary of two codes the map alone may tell.
  constant_result folds_to(uint64_t max) const {
    if (max > 1)
      return constant_result::no;
    const uint64_t members = map[0] & 3;
    return members == 3 ? constant_result::all_match : members == 0 ? constant_result::none_match : constant_result::no;
  }
};

// What a named set kernel hands to the scans.  The set stands where a comparison has its constants.  The entry has
// removed the mask of the source.
struct set_kernel {
  static constexpr operation reported = operations::in_set;
  static constexpr bool masked = false;

  stream_texts texts;
  vorn_binary_fn twin;

  template <class Reader>
  membership predicate(const Reader & /*rows*/, const vorn_cv &set, const vorn_cv & /*same*/) const {
    return {set.vorn_cv_bv};
  }
  template <class Reader>
  membership selective_predicate(const Reader & /*rows*/, const vorn_cv &set, const vorn_cv & /*same*/) const {
    return {set.vorn_cv_bv};
  }

  uint32_t hand_over(vorn_cv *res, vorn_cv *src, const vorn_cv *set, const vorn_cv * /*same*/, vorn_aux *aux) const {
    return twin(res, src, set, aux);
  }
};

} // namespace vorn::inline VORN_LEVEL
