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
      : run(on), sources(run, std::move(source)), batches(source_batches), blocks(columns) {}

  uint64_t next() override;
  row_block rows() const override { return blocks; }

private:
  struct batch_of_rows {
    kept_rows rows;
    std::vector<uint64_t> steps; // as the source gave them
  };
  void take_batches();

  execution run;
  per_thread<batch_source> sources;
  size_t batches;
  size_t batches_taken = 0;

  // The batches that were taken last, and how far their rows are given.
  std::vector<batch_of_rows> taken;
  size_t next_batch = 0;
  size_t next_step = 0;
  size_t next_row = 0;
  std::vector<std::span<const cell>> blocks;
};

} // namespace store
