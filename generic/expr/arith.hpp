// Arithmetic: the sum, difference or product of two operands for each row, stored or summed up.  Operands are read in
// blocks of native values, so that an operation does not depend on their stored form.
#pragma once

#include <algorithm>

#include "generic/expr/convert.hpp"

namespace vorn::inline VORN_LEVEL::expr {

enum class arith_op : uint8_t { add, sub, mul };
enum class number_form : uint8_t { n, c }; // native, canonical

inline constexpr uint32_t arith_block = 256;

// An operand: a constant or a column.  The block of a constant is filled once.
template <class Float>
class operand {
public:
  // The block is written before it is read.  Clearing it would cost more than a small call.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init)
  operand(const vorn_cv &cv, number_form form, bool is_constant)
      : vals_(static_cast<const uint8_t *>(cv.vorn_cv_vals)), form_(form), constant_(is_constant) {
    if (!is_constant)
      return;
    const Float value =
        form == number_form::c ? canonical_numbers<Float>::at(vals_, 0) : native_numbers<Float>::at(vals_, 0);
    std::fill_n(block_, arith_block, value);
  }

  // The native values of rows.  A native column is not copied.
  const uint8_t *native(uint64_t first, uint32_t count) {
    if (constant_)
      return reinterpret_cast<const uint8_t *>(block_);
    const uint8_t *rows = vals_ + first * sizeof(Float);
    if (form_ == number_form::n)
      return rows;
    single_numbers::decode<canonical_numbers<Float>>(reinterpret_cast<uint8_t *>(block_), rows, count);
    return reinterpret_cast<const uint8_t *>(block_);
  }

private:
  const uint8_t *vals_;
  number_form form_;
  bool constant_;
  Float block_[arith_block];
};

// Computes one row after the other.  An engine of a level may replace it.
struct single_operations {
  template <class Float>
  static void run(arith_op op, uint8_t *out, const uint8_t *left, const uint8_t *right, uint32_t count) {
    switch (op) {
    case arith_op::add:
      return each<Float>(out, left, right, count, [](Float a, Float b) { return a + b; });
    case arith_op::sub:
      return each<Float>(out, left, right, count, [](Float a, Float b) { return a - b; });
    case arith_op::mul:
      return each<Float>(out, left, right, count, [](Float a, Float b) { return a * b; });
    }
  }

private:
  template <class Float, class Operation>
  static void each(uint8_t *out, const uint8_t *left, const uint8_t *right, uint32_t count, Operation operation) {
    for (uint64_t i = 0; i < count; ++i)
      store<Float>(out + i * sizeof(Float), operation(load<Float>(left, i), load<Float>(right, i)));
  }
};

// The result may overwrite the rows of an operand: each block is read before it is written.
template <class Loop, class Float>
[[gnu::noinline]] uint32_t arith(arith_op op, number_form left_form, number_form right_form, bool to_sum,
                                 const vorn_cv &res, const vorn_cv &left, const vorn_cv &right) {
  const bool left_constant = left.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_CONST;
  const bool right_constant = !left_constant && (right.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_CONST);
  const uint32_t nrows = std::max(left.vorn_cv_nrows, right.vorn_cv_nrows);
  operand<Float> a(left, left_form, left_constant), b(right, right_form, right_constant);
  auto *out = static_cast<uint8_t *>(res.vorn_cv_vals);
  Float sum = 0;
  for (uint64_t first = 0; first < nrows; first += arith_block) {
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(arith_block, nrows - first));
    const uint8_t *left_rows = a.native(first, count);
    const uint8_t *right_rows = b.native(first, count);
    if (to_sum) {
      Float results[arith_block];
      Loop::template run<Float>(op, reinterpret_cast<uint8_t *>(results), left_rows, right_rows, count);
      for (uint32_t i = 0; i < count; ++i)
        sum += results[i];
    } else {
      Loop::template run<Float>(op, out + first * sizeof(Float), left_rows, right_rows, count);
    }
  }
  if (to_sum)
    store<Float>(out, sum + load<Float>(out));
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL::expr
