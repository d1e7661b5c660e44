// The predicate kernels over dictionary codes: 460 slots and their 460 selective twins, which differ in nothing but
// width, operation and form.
#include "generic/define_predicates.hpp"
#include "generic/dict.hpp"
#include "generic/dict_compare.kernels.hpp"

using namespace vorn;

namespace {

template <unsigned W, bool Nulls>
struct row_form {
  using reader = dict<W>;
  static constexpr bool nulls = Nulls;
};

} // namespace

extern "C" {
VORN_DICT_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_DICT_RANGE_KERNELS(VORN_DEFINE_RANGE)
}
