// Hash values of keys.
#pragma once

#include <cstdint>

#include "store/library/row_vector.hpp"
#include <vorn/vorn.h>

namespace store {

// Writes the hash value of each row of a vector: one function and one seed for both sides of every join.
void hash_rows(const vorn_ctx &ctx, row_vector &source, uint64_t *out);

} // namespace store
