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
      : source_(std::move(rows)), told_(of), count_(counted) {}

  uint64_t next() override {
    const step_timer timer(&told_);
    const uint64_t rows = source_->next();
    count_ += rows;
    return rows;
  }
  row_block rows() const override { return source_->rows(); }

private:
  std::unique_ptr<row_source> source_;
  plan_step &told_;
  std::atomic<uint64_t> &count_;
};

} // namespace store
