// Writes columns to a file, or to memory, that saved_table reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "store/encode/column.hpp"
#include <vorn/aligned.hpp>

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

// The same bytes in memory.
vorn_host::aligned_vector<uint8_t> saved_bytes(std::span<const saved_column> columns);

// The same bytes to be sent, which saved_table reads too: compressed, where that makes them fewer.
vorn_host::aligned_vector<uint8_t> packed(vorn_host::aligned_vector<uint8_t> bytes);

} // namespace store
