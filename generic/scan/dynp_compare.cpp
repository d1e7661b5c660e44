// The predicate kernels over dynamic-packed values: 60 slots and their 60 selective twins.
#include "generic/engine.hpp"
#include "generic/scan/define_predicates.hpp"

namespace {

template <unsigned W, bool Tz>
struct row_form {
  using reader = vorn::engine::dynp_rows<W, Tz>;
  static constexpr bool nulls = false;
};

} // namespace

VORN_KERNELS_BEGIN
VORN_DYNP_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_DYNP_RANGE_KERNELS(VORN_DEFINE_RANGE)
VORN_KERNELS_END
