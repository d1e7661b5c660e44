// Runs of equal codes, the form that the run-length kernels read.
#pragma once

#include <cstdint>
#include <span>

#include "store/encode/column.hpp"

namespace store {

// Rows one after the other that hold the same code.
struct code_run {
  uint32_t code = 0;
  uint64_t rows = 0;
};
constexpr code_run as_run(uint32_t code) { return {code, 1}; }
constexpr code_run as_run(const code_run &run) { return run; }

// Rows are given by their codes, one by one, or by the runs of these, no two neighbours of which are equal: Row is
// uint32_t or code_run.

// Do the runs of these codes make them worth to be stored as runs?
template <class Row>
bool has_long_runs(std::span<const Row> rows);

// 8 or 16, whichever makes a column of codes of this width smaller.  A longer run than the lengths hold is cut.
template <class Row>
uint8_t best_run_length_bits(std::span<const Row> rows, uint32_t width);

// The CLA of the lengths of some runs, of 8 or 16 bits each.
vorn_host::aligned_vector<uint32_t> run_ends(const uint8_t *lengths, uint32_t runs, uint8_t run_length_bits);

// The runs of a batch.
template <class Row>
batch run_batch(std::span<const Row> rows, uint32_t width, uint8_t run_length_bits);

} // namespace store
