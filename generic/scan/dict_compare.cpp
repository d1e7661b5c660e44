// The predicate kernels over dictionary codes: 460 slots and their 460 selective twins.  The kernels differ only in
// width, operation and form.
#include "generic/engine.hpp"
#include "generic/scan/define_predicates.hpp"

namespace {

template <unsigned W, bool Nulls>
struct row_form {
  using reader = vorn::engine::dict_rows<W>;
  static constexpr bool nulls = Nulls;
};

} // namespace

VORN_KERNELS_BEGIN
VORN_DICT_COMPARE_KERNELS(VORN_DEFINE_COMPARE)
VORN_DICT_RANGE_KERNELS(VORN_DEFINE_RANGE)
VORN_KERNELS_END
