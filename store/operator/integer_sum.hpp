// Exact sums of integers and decimal numbers.
#pragma once

#include <memory>

#include "store/operator/accumulator.hpp"

namespace store::exec {

// Can a sum add codes of integers without decoding them?
bool can_sum_codes(const layout &values);

// Adds int64 values, int128 values or codes.  The sums have the layout `result`: int64 if 64 bits hold every sum.
std::unique_ptr<accumulator> make_integer_sum(const layout &values, representation result);

} // namespace store::exec
