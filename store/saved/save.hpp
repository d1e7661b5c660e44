// Writes columns to a file that saved_table reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "store/encode/column.hpp"

namespace store {

// A column with the name and the SQL type for the file.
struct saved_column {
  const std::string &name;
  const std::string &sql_type;
  const column &stored;
};

// Writes the columns of one table, at least one, and returns the bytes of the file.  Throws store::error.  After an
// error the path is as it was before.
uint64_t save(const std::filesystem::path &path, std::span<const saved_column> columns);

} // namespace store
