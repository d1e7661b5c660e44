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
    filtered = filter != nullptr;
    next_row = 0;
    if (filtered)
      vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator, filter, rows.rows, 0, 0);
  }

  // The next `count` rows, ascending; there are as many left.  Good until the next call.
  std::span<uint32_t> next(size_t count) {
    numbers.resize(count);
    if (filtered)
      vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, numbers.data(), static_cast<uint32_t>(count));
    else
      std::iota(numbers.begin(), numbers.end(), next_row);
    next_row += static_cast<uint32_t>(count);
    return numbers;
  }

private:
  bool filtered = false;
  uint32_t next_row = 0; // without a filter
  vorn_lbiwv_ictx iterator{};
  std::vector<uint32_t> numbers;
};

} // namespace store
