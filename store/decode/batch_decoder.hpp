// How the values of a column are had back from its batches.
#pragma once

#include <cstdint>
#include <span>

#include "store/encode/column.hpp"
#include "store/value/value.hpp"

namespace store {

class batch_decoder {
public:
  virtual ~batch_decoder() = default;

  // Begins a batch: `count` of its rows are wanted, those of the filter, or all without one.  Both outlive the calls of
  // next for this batch.
  virtual void open(const batch &rows, const uint64_t *filter, uint32_t count) = 0;

  // Decodes the next rows that are wanted, as many as there are cells; there are as many left.  The cells are good
  // until the next call.
  virtual void next(std::span<cell> out) = 0;
};

} // namespace store
