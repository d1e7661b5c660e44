// The first rows of a source, which is asked for no more.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "store/decode/row_source.hpp"

namespace store {

class limited_rows final : public row_source {
public:
  limited_rows(std::unique_ptr<row_source> limited, uint64_t limit) : source_(std::move(limited)), left_(limit) {}

  uint64_t next() override {
    const uint64_t count = left_ == 0 ? 0 : std::min(source_->next(), left_);
    left_ -= count;
    blocks_.clear();
    if (count != 0)
      for (const std::span<const cell> cells : source_->rows())
        blocks_.push_back(cells.first(count));
    return count;
  }
  row_block rows() const override { return blocks_; }

private:
  std::unique_ptr<row_source> source_;
  uint64_t left_;
  std::vector<std::span<const cell>> blocks_;
};

} // namespace store
