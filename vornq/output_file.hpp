// The rows of an answer in a file.
#pragma once

#include <filesystem>

#include "store/operator/answer.hpp"
#include "store/operator/table.hpp"

namespace store {

// Writes rows to a file, in the form that its ending names: .csv, .json, .jsonl, .parquet or .arrow.  Throws
// store::error, and leaves the file, or that there is none, as it was.
void write_file(const std::filesystem::path &path, const exec::answer &rows);

// Throws store::error for an ending that names no form.
void check_ending(const std::filesystem::path &path);

// Saves rows as a table of the store.  The bytes of the file.
uint64_t save_rows(const std::filesystem::path &path, const exec::answer &rows);

// Saves the columns of a table that the store encodes, as they are encoded.
uint64_t save_table(const std::filesystem::path &path, exec::table &of);

} // namespace store
