// Group keys: the dictionary codes of several columns are combined to one dense number per row.
#pragma once

#include "frame/slots.hpp"
#include "frame/vorn.h"
#include "generic/decode/unpackers.hpp"

// Over n elements of 32 bits.
VORN_KERNELS_BEGIN
void vorn_mul_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n);
void vorn_shl_ub4_const(uint32_t *vals, uint32_t factor, uint32_t n);
void vorn_add_ub4(uint32_t *vals, const uint32_t *other, uint32_t n);
VORN_KERNELS_END

namespace vorn::inline VORN_LEVEL::expr {

// The state of a column between batches.
struct key_column {
  uint32_t run_idx; // of a run-length column: the run at which the next batch resumes
  uint32_t run_end;
  uint32_t factor; // of the keys of all columns before it
};
static_assert(sizeof(key_column) == 12);

// The codes of the columns are digits of a number, or bit fields.
class key_space {
public:
  explicit key_space(bool multiplied) : multiplied_(multiplied) {}

  // Adds a column.  The result is false when the largest key does not fit 32 bits.
  bool add(const vorn_enc_ctx &column) {
    const uint64_t symbols = column.vorn_enc_ctx_dict_nsyms;
    size_ = multiplied_ ? size_ * symbols : shifted(size_ - 1, column.vorn_enc_ctx_width) + symbols;
    return size_ <= UINT32_MAX;
  }

  uint32_t factor(const vorn_enc_ctx &column) const {
    return multiplied_ ? column.vorn_enc_ctx_dict_nsyms : column.vorn_enc_ctx_width;
  }
  void fold(uint32_t *keys, uint32_t factor, uint32_t n) const {
    (multiplied_ ? vorn_mul_ub4_const : vorn_shl_ub4_const)(keys, factor, n);
  }
  uint64_t size() const { return size_; }

private:
  static uint64_t shifted(uint64_t value, uint32_t by) { return by < 64 ? value << by : 0; }

  bool multiplied_;
  uint64_t size_ = 1; // the largest key plus one
};

// Unpacks the codes of one column from a position on.  Each column has its own position in its runs.
class column_unpacker {
public:
  column_unpacker(vorn_aux &aux, uint32_t room) : aux_(aux), room_(room) {}

  uint32_t unpack(vorn_cv &column, key_column &state, bool has_runs, uint32_t position, uint32_t *out) const {
    vorn_cv res = {};
    res.vorn_cv_vals = out;
    res.vorn_cv_nrows = room_;
    aux_.vorn_aux_start_slot = position;
    if (has_runs) {
      aux_.vorn_aux_run_idx = state.run_idx;
      aux_.vorn_aux_run_end = state.run_end;
    }
    const vorn_unary_fn kernel = unpacker_of(*column.vorn_cv_encoding_context);
    kernel(&res, &column, &aux_);
    if (has_runs) {
      state.run_idx = aux_.vorn_aux_run_idx;
      state.run_end = aux_.vorn_aux_run_end;
    }
    return res.vorn_cv_popc;
  }

private:
  vorn_aux &aux_;
  uint32_t room_;
};

} // namespace vorn::inline VORN_LEVEL::expr
