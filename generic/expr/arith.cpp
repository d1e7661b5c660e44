// The arithmetic kernels.
#include "generic/expr/arith.hpp"
#include "generic/families.hpp"

VORN_KERNELS_BEGIN

#define VORN_DEFINE_ARITH(name, OP, ENC, code, flag, op, type, left_form, right_form)                                  \
  uint32_t name(vorn_cv *res, vorn_cv *left, const vorn_cv *right, vorn_aux *) {                                       \
    using namespace vorn::expr;                                                                                        \
    return arith<type>(arith_op::op, number_form::left_form, number_form::right_form, flag, *res, *left, *right);      \
  }
VORN_ARITH_KERNELS(VORN_DEFINE_ARITH)

VORN_KERNELS_END
