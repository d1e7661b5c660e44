// Hash values of rows of several columns, by the library.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "store/chunk/arena.hpp"
#include <vorn/vorn.h>

namespace store::exec {

// Rows that are equal in each column have equal hash values, in every process.  The words are hashed before the texts.
// Of a text the first 65,535 bytes count.
std::span<const uint64_t> hash_values(const vorn_ctx &library, uint32_t rows,
                                      std::span<const std::span<const uint64_t>> words,
                                      std::span<const std::span<const std::string_view>> texts, arena &memory);

// The hash values of rows with one more column: a seed belongs to each row.
std::span<const uint64_t> hash_values(const vorn_ctx &library, std::span<const uint64_t> words,
                                      std::span<const uint64_t> seeds, arena &memory);

} // namespace store::exec
