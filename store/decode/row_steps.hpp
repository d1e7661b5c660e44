// The walk over the selected rows of a column or of a table, some thousand at a time.
#pragma once

#include <algorithm>
#include <cstdint>

#include "store/encode/column.hpp"
#include "store/query/selection.hpp"

namespace store {

class row_steps {
public:
  // Column and selection outlive this.  Without a selection all rows are walked over.
  row_steps(const column &walked, const selection *rows) : of(walked), selected(rows), batches_end(of.batches.size()) {}

  // Goes to a batch, with which the walk ends.
  void go_to(size_t batch) {
    batches_opened = batch;
    batches_end = batch + 1;
    left = 0;
  }

  struct step {
    uint32_t rows = 0; // none at the end
    bool opens_batch = false;
  };
  // How many rows a step has depends on the selection alone, so that walks over several columns keep in step.
  step next() {
    step out;
    while (left == 0) {
      if (batches_opened == batches_end)
        return out;
      left = selected != nullptr ? selected->batch_counts[batches_opened] : of.batches[batches_opened].rows;
      ++batches_opened;
      wanted = left;
      out.opens_batch = true;
    }
    constexpr uint32_t most = 4096;
    out.rows = std::min(left, most);
    left -= out.rows;
    return out;
  }

  size_t batch_number() const { return batches_opened - 1; }
  // The batch of the last step, how many of its rows are selected, and which; null for all.
  const batch &rows() const { return of.batches[batches_opened - 1]; }
  uint32_t count() const { return wanted; }
  // The same rows in another column of the table.
  const batch &rows_of(const column &other) const { return other.batches[batches_opened - 1]; }
  const uint64_t *filter() const {
    // All rows are read faster without a filter than with a full one: 144 microseconds against 317 for 65,536 codes of
    // 10 bits.
    return wanted == rows().rows ? nullptr : selected->batch_words(batches_opened - 1);
  }
  uint64_t first_row() const { return (batches_opened - 1) * uint64_t{batch_rows}; }

private:
  const column &of;
  const selection *selected;
  size_t batches_opened = 0;
  size_t batches_end;
  uint32_t wanted = 0; // rows of the batch
  uint32_t left = 0;   // of these
};

} // namespace store
