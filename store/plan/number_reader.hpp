// The numbers of a column on selected rows, some thousand at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_reader.hpp"
#include "store/decode/row_steps.hpp"
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
  const numbers &current() const { return rows; }
  void go_to(size_t batch) {
    steps.go_to(batch);
    if (values)
      values->go_to(batch);
  }

private:
  numbers rows;

  // By code.
  row_steps steps;
  std::optional<code_unpacker> unpacker;
  numbers of_codes;

  std::optional<row_reader> values; // not by code
};

} // namespace store
