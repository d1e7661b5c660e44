// The predicate kernels over fixed values: 80 slots and their 80 selective twins.
#include "generic/engine.hpp"
#include "generic/scan/define_predicates.hpp"

namespace {

template <unsigned W, bool Tz>
struct row_form {
  using reader = vorn::engine::fixed_rows<W, Tz>;
  static constexpr bool nulls = false;
};

} // namespace

VORN_KERNELS_BEGIN
VORN_FIXED_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_FIXED_RANGE_KERNELS(VORN_DEFINE_RANGE)
VORN_KERNELS_END
