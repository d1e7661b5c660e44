// Exact sums of integers and decimal numbers.
#pragma once

#include <memory>

#include "store/operator/accumulator.hpp"

namespace store::exec {

// Can a sum take codes of integers, without their values?
bool can_sum_codes(const layout &values);

// Takes int64 or int128 values or codes, and gives sums in `result`, which is int64 where 64 bits hold every sum.
std::unique_ptr<accumulator> make_integer_sum(const layout &values, representation result);

} // namespace store::exec
