// Dictionary codes of the selected rows of a column, some thousand at a time.
#pragma once

#include <cstdint>
#include <span>

#include "store/decode/code_unpacker.hpp"
#include "store/decode/row_steps.hpp"
#include <vorn/vorn.h>

namespace store {

class code_reader {
public:
  // Context, column and selection outlive this.  Without a selection all rows are read.
  code_reader(const vorn_ctx &ctx, const column &of, const selection *rows)
      : steps_(of, rows), unpacker_(ctx, of, code_unpacker::element::four_bytes) {}

  // The codes of the next rows; none at the end.  Good until the next call.  The readers of several columns keep in
  // step.
  std::span<const uint32_t> next() {
    const row_steps::step step = steps_.next();
    if (step.rows == 0)
      return {};
    if (step.opens_batch)
      unpacker_.open(steps_.rows(), steps_.filter());
    unpacker_.next(step.rows);
    return {unpacker_.codes_of_four_bytes(), step.rows};
  }

  void go_to(size_t batch) { steps_.go_to(batch); }

private:
  row_steps steps_;
  code_unpacker unpacker_;
};

} // namespace store
