// Unpacks blocks of 64 codes into elements of 1, 2 or 4 bytes.
#pragma once

#include <type_traits>
#include <utility>

#include "isa/avx2/code_lanes.hpp"

namespace vorn::inline VORN_LEVEL {

// Stores the lanes of each half one after the other, as wider numbers if an element is wider.  The elements of the
// second half begin 16 elements after the elements of the first half.
template <class Lane, class Element>
[[gnu::always_inline]] inline void store_lanes(vector x, Element *elements) {
  if constexpr (sizeof(Lane) == sizeof(Element)) {
    store_halves(reinterpret_cast<uint8_t *>(elements), 16 * sizeof(Element), x);
  } else {
    using wider = std::conditional_t<sizeof(Lane) == 1, uint16_t, uint32_t>;
    constexpr bool bytes = sizeof(Lane) == 1;
    store_lanes<wider>(bytes ? VORN_VECTOR(unpacklo_epi8)(x, none()) : VORN_VECTOR(unpacklo_epi16)(x, none()),
                       elements);
    store_lanes<wider>(bytes ? VORN_VECTOR(unpackhi_epi8)(x, none()) : VORN_VECTOR(unpackhi_epi16)(x, none()),
                       elements + half_bytes / sizeof(wider));
  }
}

template <class Lanes, class Element>
[[gnu::always_inline]] inline void unpack_block(const Lanes &lanes, const uint8_t *block, Element *elements) {
#pragma GCC unroll 4
  for (unsigned group = 0; group < word_groups; ++group)
    [&]<size_t... V>(std::index_sequence<V...>) __attribute__((always_inline)) {
      (store_lanes<typename Lanes::number>(lanes.exact(block, group, V),
                                           elements + group * group_codes + V * Lanes::per_half),
       ...);
    }
  (std::make_index_sequence<Lanes::vectors>{});
}

} // namespace vorn::inline VORN_LEVEL
