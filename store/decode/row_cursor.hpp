// The numbers of the selected rows of a batch.
#pragma once

#include <cstdint>
#include <numeric>
#include <span>
#include <vector>

#include "store/encode/column.hpp"
#include <vorn/vorn.h>

namespace store {

class row_cursor {
public:
  // Without a filter all rows are selected.
  void open(const batch &rows, const uint64_t *filter) {
    filtered_ = filter != nullptr;
    next_row_ = 0;
    if (filtered_)
      vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator_, filter, rows.rows, 0, 0);
  }

  // The next `count` rows, ascending; there are as many left.  Good until the next call.
  std::span<uint32_t> next(size_t count) {
    numbers_.resize(count);
    if (filtered_)
      vorn_global_ctx.vorn_lbiwvones_dydi(&iterator_, numbers_.data(), static_cast<uint32_t>(count));
    else
      std::iota(numbers_.begin(), numbers_.end(), next_row_);
    next_row_ += static_cast<uint32_t>(count);
    return numbers_;
  }

private:
  bool filtered_ = false;
  uint32_t next_row_ = 0; // without a filter
  vorn_lbiwv_ictx iterator_{};
  std::vector<uint32_t> numbers_;
};

} // namespace store
