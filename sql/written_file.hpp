// Files that DuckDB writes.
#pragma once

#include <filesystem>

#include "store/operator/answer.hpp"

namespace store::sql {

// Writes rows to a Parquet file, with their types in DuckDB.  Parquet has no HUGEINT, so HUGEINT becomes a decimal
// number of 38 digits.  Throws store::error.
void write_parquet(const std::filesystem::path &path, const exec::answer &rows);

} // namespace store::sql
