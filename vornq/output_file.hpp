// The rows of an answer in a file.
#pragma once

#include <filesystem>

#include "store/operator/answer.hpp"

namespace store {

// Writes rows to a file, in the form that its ending names: .csv, .json, .jsonl, .parquet or .arrow.  Throws
// store::error, and leaves the file, or that there is none, as it was.
void write_file(const std::filesystem::path &path, const exec::answer &rows);

// Throws store::error for an ending that names no form.
void check_ending(const std::filesystem::path &path);

} // namespace store
