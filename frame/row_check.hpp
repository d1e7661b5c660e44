// The self-check of kernels that set the bits of rows and tell the first and the last one: the generic kernel has a
// result of its own, which is compared with that of the kernel in force.
#pragma once

#include <cstring>

#include "frame/raise.hpp"
#include "frame/vorn.h"

namespace vorn {

struct row_check_texts {
  const char *scratch;
  const char *result_differs;
  const char *popcount_differs;
  const char *range_differs;
};

class row_check {
public:
  row_check(const vorn_ctx &ctx, uint32_t nrows, const row_check_texts &texts) : ctx_(ctx), texts_(texts) {
    const uint64_t size = (uint64_t{nrows} + 63) / 64 * sizeof(uint64_t);
    void *scratch =
        vornu_stack_alloc_align(ctx.vorn_ctx_env, size, texts.scratch, vorn_global_ctx.VORN_OUTPUT_BITWVEC_ALIGN,
                                vorn_global_ctx.vorn_global_ctx_pad_output, &token_);
    std::memset(scratch, 0, size);
    vorn_build_vector(&expected_, &rows_, nullptr, nullptr, nullptr, nullptr, static_cast<uint64_t *>(scratch), nrows,
                      0, nullptr, 0);
  }
  row_check(const row_check &) = delete;
  row_check &operator=(const row_check &) = delete;

  // For the generic kernel.
  vorn_cv &expected() { return expected_; }

  // Reports the differences.  Operand and subject are values of the reports.
  template <class... Subject>
  void compare(const vorn_cv &res, const void *operand, Subject... subject) const {
    const uint32_t nrows = expected_.vorn_cv_nrows;
    if (vornt_compare_res(0, expected_.vorn_cv_bv, res.vorn_cv_bv, nrows) == 0)
      raise(ctx_, texts_.result_differs, subject..., nrows, operand);
    if (expected_.vorn_cv_popc != res.vorn_cv_popc)
      raise(ctx_, texts_.popcount_differs, subject..., expected_.vorn_cv_popc, res.vorn_cv_popc);
    row_range rows;
    std::memcpy(&rows, res.vorn_cv_vals, sizeof rows);
    if (rows_.first != rows.first || rows_.last != rows.last)
      raise(ctx_, texts_.range_differs, subject..., rows_.first, rows_.last, rows.first, rows.last);
  }

  void release() { vornu_stack_free_align(ctx_.vorn_ctx_env, expected_.vorn_cv_bv, token_); }

private:
  struct row_range {
    uint32_t first = UINT32_MAX;
    uint32_t last = UINT32_MAX;
  };

  const vorn_ctx &ctx_;
  const row_check_texts &texts_;
  row_range rows_;
  vorn_cv expected_ = {};
  void *token_ = nullptr;
};

} // namespace vorn
