// The values of a column on selected rows, had back from its encoded form some thousand at a time.
#pragma once

#include <memory>
#include <span>
#include <vector>

#include "store/decode/batch_decoder.hpp"
#include "store/encode/column.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

class row_reader {
public:
  // Context, column and selection outlive this.  Without a selection all rows are read.
  row_reader(const vorn_ctx &ctx, const column &of, const selection *rows);

  // The values of the next rows; of none at the end.  Good until the next call.  How many they are depends on the
  // selection alone, so that the readers of several columns keep in step.
  std::span<const cell> next();

private:
  bool open_next_batch();

  const column &of;
  const selection *selected;
  std::unique_ptr<batch_decoder> decoder;
  size_t batches_opened = 0;
  uint32_t left = 0; // rows of the batch
  std::vector<cell> cells;
};

} // namespace store
