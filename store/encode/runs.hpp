// Runs of equal codes, the form that the run-length kernels read.
#pragma once

#include <cstdint>
#include <span>

#include "store/encode/column.hpp"

namespace store {

// Do the runs of these codes make them worth to be stored as runs?
bool has_long_runs(std::span<const uint32_t> codes);

// 8 or 16, whichever makes a column of codes of this width smaller.  A longer run than the lengths hold is cut.
uint8_t best_run_length_bits(std::span<const uint32_t> codes, uint32_t width);

// The CLA of the lengths of some runs, of 8 or 16 bits each.
aligned_vector<uint32_t> run_ends(const uint8_t *lengths, uint32_t runs, uint8_t run_length_bits);

// The runs of a batch.
batch run_batch(std::span<const uint32_t> codes, uint32_t width, uint8_t run_length_bits);

} // namespace store
