// One test over the batches of one column: the records that the library is called with.
#pragma once

#include <cstdint>

#include "store/encode/column.hpp"
#include "store/query/ordinal_test.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

class batch_scan {
public:
  // Column and test outlive this.
  batch_scan(const vorn_ctx &ctx, const column &on, const ordinal_test &test);

  // Selects rows of a batch, of those in a filter if one is given: bits in `out`, and their number as the result.
  uint32_t run(const batch &rows, const uint64_t *filter, uint32_t filter_count, uint64_t *out);

private:
  uint32_t call(vorn_cv &result, vorn_cv &source, vorn_aux &aux, const ordinal_comparison &test);
  uint32_t call(vorn_cv &result, vorn_cv &source, vorn_aux &aux, const ordinal_interval &test);
  uint32_t call(vorn_cv &result, vorn_cv &source, vorn_aux &aux, const ordinal_set &test);

  const vorn_ctx &ctx_;
  const column &on_;
  const ordinal_test &test_;
  vorn_enc_ctx scan_encoding_;
  vorn_host::aligned_vector<uint64_t> members_;  // of a set of codes: one bit per code
  vorn_host::aligned_vector<uint64_t> run_bits_; // one bit per run
};

} // namespace store
