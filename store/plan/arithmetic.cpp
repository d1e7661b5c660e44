#include "store/plan/arithmetic.hpp"

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"

namespace store {

namespace {

class double_vector {
public:
  double_vector(const numbers *column, const std::optional<double> &constant) {
    encoding_.vorn_enc_ctx_num_type = VORN_NUM_DOUBLE;
    encoding_.vorn_enc_ctx_flags = VORN_NATIVE | (column == nullptr ? VORN_CONST : 0);
    const void *vals = column != nullptr ? static_cast<const void *>(column->limb(0)) : &*constant;
    vorn_build_vector(&cv_, only_read(vals), nullptr, nullptr, &encoding_, nullptr, nullptr,
                      column != nullptr ? static_cast<uint32_t>(column->size()) : 1, 0, nullptr, 0);
  }
  double_vector(const double_vector &) = delete;
  vorn_cv *get() { return &cv_; }

private:
  vorn_enc_ctx encoding_{};
  vorn_cv cv_{};
};

} // namespace

number_form computed_numbers::real_form(bool is_nullable) {
  number_form out;
  out.kind = value_kind::real;
  out.is_real = true;
  out.is_nullable = is_nullable;
  return out;
}

const numbers &computed_numbers::compute(const term &asked, const numbers *left, const numbers *right) {
  double_vector left_vector(left, asked.left.constant);
  double_vector right_vector(right, asked.right.constant);
  result_.resize((left != nullptr ? left : right)->size());
  vorn_cv out{};
  out.vorn_cv_vals = result_.reals();
  expect(vorn_arith(&ctx_, &out, left_vector.get(), right_vector.get(), nullptr, asked.opcode), VORN_RESULT_DONE,
         "arithmetic");
  result_.keep_present(left, right);
  return result_;
}

} // namespace store
