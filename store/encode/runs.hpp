// Runs of equal codes, the form that the run-length kernels read.
#pragma once

#include <cstdint>
#include <span>

#include "store/encode/column.hpp"

namespace store {

// Rows as codes, each with a number of rows.
struct coded_rows {
  std::span<const uint32_t> codes;
  std::span<const uint64_t> counts; // empty: all counts are 1

  uint64_t count(size_t index) const { return counts.empty() ? 1 : counts[index]; }
};

// Are these codes of a width in bits smaller as runs?
bool has_long_runs(const coded_rows &rows, uint32_t width);

// The bits of a run length, 8 or 16: the number that makes the column smaller.  A run that is longer than these bits
// allow is cut.
uint8_t best_run_length_bits(const coded_rows &rows, uint32_t width);

// The CLA of the lengths of some runs, of 8 or 16 bits each.
vorn_host::aligned_vector<uint32_t> run_ends(const uint8_t *lengths, uint32_t runs, uint8_t run_length_bits);

// The runs of a row group.
column_segment run_segment(const coded_rows &rows, uint32_t width, uint8_t run_length_bits);

} // namespace store
