// The values of a column on selected rows, had back from its encoded form some thousand at a time.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "store/decode/batch_decoder.hpp"
#include "store/decode/row_steps.hpp"
#include <vorn/vorn.h>

namespace store {

class row_reader {
public:
  // Context, column and selection outlive this.  Without a selection all rows are read.
  row_reader(const vorn_ctx &ctx, const column &of, const selection *rows);

  // The values of the next rows; of none at the end.  Good until the next call.  The readers of several columns keep in
  // step.
  std::span<const cell> next();

  // As the walk over rows does.
  void go_to(size_t batch) { steps_.go_to(batch); }

private:
  row_steps steps_;
  std::unique_ptr<batch_decoder> decoder_;
  std::vector<cell> cells_;
};

} // namespace store
