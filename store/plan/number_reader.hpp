// The numbers of a column on selected rows, some thousand at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "store/decode/code_reader.hpp"
#include "store/decode/row_reader.hpp"
#include "store/plan/numbers.hpp"
#include <vorn/vorn.h>

namespace store {

// The number of a dictionary's code is made once, and rows look theirs up by their codes.
class number_reader {
public:
  // Context, column and selection outlive this.  Without a selection all rows are read.
  number_reader(const vorn_ctx &ctx, const number_column &read, const selection *rows);

  // Goes on to the next rows, in step with the readers of other columns; there are some left.
  void next();
  const numbers &current() const { return rows_; }
  void go_to(size_t batch) {
    if (codes_)
      codes_->go_to(batch);
    else
      values_->go_to(batch);
  }

private:
  numbers rows_;

  // By code.
  std::optional<code_reader> codes_;
  numbers of_codes_;

  std::optional<row_reader> values_; // not by code
};

} // namespace store
