// Rows of a source whose batches threads take by turns, in the order of the batches.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/kept_rows.hpp"
#include "store/run/execution.hpp"

namespace store {

class spread_rows final : public row_source {
public:
  spread_rows(const execution &on, std::unique_ptr<batch_source> source, size_t source_batches, size_t columns)
      : run_(on), sources_(run_, std::move(source)), batches_(source_batches), blocks_(columns) {}

  uint64_t next() override;
  row_block rows() const override { return blocks_; }

private:
  struct batch_of_rows {
    kept_rows rows;
    std::vector<uint64_t> steps; // as the source gave them
  };
  void take_batches();

  execution run_;
  per_thread<batch_source> sources_;
  size_t batches_;
  size_t batches_taken_ = 0;

  // The batches that were taken last, and how far their rows are given.
  std::vector<batch_of_rows> taken_;
  size_t next_batch_ = 0;
  size_t next_step_ = 0;
  size_t next_row_ = 0;
  std::vector<std::span<const cell>> blocks_;
};

} // namespace store
