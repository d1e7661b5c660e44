// Writes answers and whole tables to a file that saved_table reads.
#pragma once

#include <cstdint>
#include <filesystem>

#include "store/operator/answer.hpp"
#include "store/operator/table.hpp"

namespace store {

// Saves rows as a table of the store, and returns the bytes of the file.  Throws store::error as save does.
uint64_t save_rows(const std::filesystem::path &path, const exec::answer &rows);

// Saves the columns of a table that the store encodes, in their present encoding.
uint64_t save_table(const std::filesystem::path &path, exec::table &of);

} // namespace store
