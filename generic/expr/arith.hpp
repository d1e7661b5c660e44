// Arithmetic: the sum, difference or product of two operands for each row, stored or summed up.  A loop decodes its
// operands while it computes.
#pragma once

#include <algorithm>
#include <functional>

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
  operand(const vorn_cv &cv, number_form form, bool is_constant, const uint8_t *out)
      : vals_(static_cast<const uint8_t *>(cv.vorn_cv_vals)), form_(form), constant_(is_constant),
        decoded_first_(form == number_form::c && vals_ == out) {
    if (!is_constant)
      return;
    const Float value =
        form == number_form::c ? canonical_numbers<Float>::at(vals_, 0) : native_numbers<Float>::at(vals_, 0);
    std::fill_n(block_, arith_block, value);
  }

  bool uses_block() const { return constant_ || decoded_first_; }

  // The form of rows().
  number_form form() const { return uses_block() ? number_form::n : form_; }

  // A column that the result overwrites is decoded to the block: where loops read and write the same array, a compiler
  // does not use vectors.
  const uint8_t *rows(uint64_t first, uint32_t count) {
    if (constant_)
      return reinterpret_cast<const uint8_t *>(block_);
    const uint8_t *rows = vals_ + first * sizeof(Float);
    if (!decoded_first_)
      return rows;
    single_numbers::decode<canonical_numbers<Float>>(reinterpret_cast<uint8_t *>(block_), rows, count);
    return reinterpret_cast<const uint8_t *>(block_);
  }

private:
  const uint8_t *vals_;
  number_form form_;
  bool constant_;
  bool decoded_first_;
  Float block_[arith_block];
};

// Computes one row after the other.
template <class Float>
struct single_operations {
  using loop = void (*)(uint8_t *out, const uint8_t *left, const uint8_t *right, uint32_t count);

  static loop loop_of(arith_op op, number_form left, number_form right) {
    switch (op) {
    case arith_op::add:
      return loop_of<std::plus<Float>>(left, right);
    case arith_op::sub:
      return loop_of<std::minus<Float>>(left, right);
    default: // mul
      return loop_of<std::multiplies<Float>>(left, right);
    }
  }

private:
  using native = native_numbers<Float>;
  using canonical = canonical_numbers<Float>;

  template <class Operation>
  static loop loop_of(number_form left, number_form right) {
    if (left == number_form::n)
      return right == number_form::n ? each<Operation, native, native> : each<Operation, native, canonical>;
    return right == number_form::n ? each<Operation, canonical, native> : each<Operation, canonical, canonical>;
  }

  template <class Operation, class Left, class Right>
  static void each(uint8_t *out, const uint8_t *left, const uint8_t *right, uint32_t count) {
    for (uint64_t i = 0; i < count; ++i)
      store<Float>(out + i * sizeof(Float), Operation()(Left::at(left, i), Right::at(right, i)));
  }
};

// The result may overwrite the rows of an operand: each block is read before it is written.
template <class Float>
[[gnu::noinline]] uint32_t arith(arith_op op, number_form left_form, number_form right_form, bool to_sum,
                                 const vorn_cv &res, const vorn_cv &left, const vorn_cv &right) {
  const bool left_constant = left.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_CONST;
  const bool right_constant = !left_constant && (right.vorn_cv_encoding_context->vorn_enc_ctx_flags & VORN_CONST);
  const uint32_t nrows = std::max(left.vorn_cv_nrows, right.vorn_cv_nrows);
  auto *out = static_cast<uint8_t *>(res.vorn_cv_vals);
  const uint8_t *overwritten = to_sum ? nullptr : out;
  operand<Float> a(left, left_form, left_constant, overwritten), b(right, right_form, right_constant, overwritten);
  const auto run = single_operations<Float>::loop_of(op, a.form(), b.form());
  // The additions of a short block overlap with the operations of the next block.
  constexpr uint32_t summed_block = 512 / sizeof(Float);
  const uint32_t block = to_sum ? summed_block : a.uses_block() || b.uses_block() ? arith_block : nrows;
  Float sum = 0;
  for (uint64_t first = 0; first < nrows; first += block) {
    const auto count = static_cast<uint32_t>(std::min<uint64_t>(block, nrows - first));
    const uint8_t *left_rows = a.rows(first, count);
    const uint8_t *right_rows = b.rows(first, count);
    if (to_sum) {
      Float results[summed_block];
      run(reinterpret_cast<uint8_t *>(results), left_rows, right_rows, count);
      for (uint32_t i = 0; i < count; ++i)
        sum += results[i];
    } else {
      run(out + first * sizeof(Float), left_rows, right_rows, count);
    }
  }
  if (to_sum)
    store<Float>(out, sum + load<Float>(out));
  return VORN_RESULT_DONE;
}

} // namespace vorn::inline VORN_LEVEL::expr
