// The predicate kernels over dynamic-packed values: 60 slots and their 60 selective twins.
#include "generic/define_predicates.hpp"
#include "generic/dynp.hpp"
#include "generic/dynp_compare.kernels.hpp"

using namespace vorn;

namespace {

template <unsigned W, bool Tz>
struct row_form {
  using reader = dynp<W, Tz>;
  static constexpr bool nulls = false;
};

} // namespace

extern "C" {
VORN_DYNP_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_DYNP_RANGE_KERNELS(VORN_DEFINE_RANGE)
}
