// Writes columns to a file, or to memory, that saved_table reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

#include "store/encode/column.hpp"
#include <vorn/aligned.hpp>

namespace store {

// A column under the name and with the SQL type that it shall have.
struct saved_column {
  const std::string &name;
  const std::string &sql_type;
  const column &stored;
};

// Columns of one table, of which there is at least one.  The bytes of the file.  Throws store::error, and leaves the
// file, or that there is none, as it was.
uint64_t save(const std::filesystem::path &path, std::span<const saved_column> columns);

// The same bytes in memory.
vorn_host::aligned_vector<uint8_t> saved_bytes(std::span<const saved_column> columns);

// The same bytes to be sent, which saved_table reads too: compressed, where that makes them fewer.
vorn_host::aligned_vector<uint8_t> packed(vorn_host::aligned_vector<uint8_t> bytes);

} // namespace store
