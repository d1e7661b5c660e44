// The rows of an answer in partitions, by the hash values of some of their columns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "store/operator/answer.hpp"

namespace store::exec {

// The row numbers of each partition, in ascending order.  Rows with equal values in the columns `by` are in the
// partition of one number, in every process and whatever the representation of the columns: NULL equals NULL, 0.0
// equals -0.0, and a number that fits into 64 bits equals the same number of 128 bits.  Without columns all rows are in
// partition 0.
std::vector<std::vector<uint32_t>> row_partitions(const vorn_ctx &library, const answer &rows,
                                                  std::span<const size_t> by, uint32_t partitions);

} // namespace store::exec
