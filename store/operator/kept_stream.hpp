// Gives the rows that an operator keeps as chunks.
#pragma once

#include <cstddef>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/relation.hpp"

namespace store::exec {

// Gives all kept rows in morsels of some chunks each.  The vectors refer to the kept rows.  Nothing is copied.
class kept_stream final : public stream {
public:
  // The rows outlive this object.
  kept_stream(const kept_rows &rows, operator_metrics *counted, arena &memory)
      : stream(counted), rows_(rows), memory_(memory) {}

  static size_t morsels(size_t rows) { return (rows + morsel_rows - 1) / morsel_rows; }

private:
  static constexpr size_t morsel_rows = size_t{16} * chunk_rows;

  void produce(size_t morsel, const chunk_taker &take) override;

  const kept_rows &rows_;
  arena &memory_;
};

} // namespace store::exec
