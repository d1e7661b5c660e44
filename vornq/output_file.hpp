// Writes the rows of an answer to a file.
#pragma once

#include <filesystem>

#include "store/operator/answer.hpp"

namespace store {

// Writes rows to a file in the format of its ending: .csv, .json, .jsonl, .parquet or .arrow.  Throws store::error.
// After an error the path is as it was before.
void write_file(const std::filesystem::path &path, const exec::answer &rows);

// Throws store::error for another ending.
void check_ending(const std::filesystem::path &path);

} // namespace store
