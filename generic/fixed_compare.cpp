// The predicate kernels over fixed values: 80 slots and their 80 selective twins.
#include "generic/define_predicates.hpp"
#include "generic/fixed.hpp"
#include "generic/fixed_compare.kernels.hpp"

using namespace vorn;

namespace {

template <unsigned W, bool Tz>
struct row_form {
  using reader = fixed<W, Tz>;
  static constexpr bool nulls = false;
};

} // namespace

extern "C" {
VORN_FIXED_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_FIXED_RANGE_KERNELS(VORN_DEFINE_RANGE)
}
