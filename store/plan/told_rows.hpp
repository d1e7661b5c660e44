// Rows of a step that is explained: its time runs while they are made, and they are counted.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "store/decode/row_source.hpp"
#include "store/run/explanation.hpp"

namespace store {

class told_rows final : public row_source {
public:
  // Step and count outlive this.
  told_rows(std::unique_ptr<row_source> rows, plan_step &of, std::atomic<uint64_t> &counted)
      : source(std::move(rows)), told(of), count(counted) {}

  uint64_t next() override {
    const step_timer timer(&told);
    const uint64_t rows = source->next();
    count += rows;
    return rows;
  }
  row_block rows() const override { return source->rows(); }

private:
  std::unique_ptr<row_source> source;
  plan_step &told;
  std::atomic<uint64_t> &count;
};

} // namespace store
