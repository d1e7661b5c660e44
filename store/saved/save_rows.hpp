// Writes answers and whole tables to a file that saved_table reads.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>

#include "store/operator/answer.hpp"
#include "store/operator/table.hpp"
#include <vorn/aligned.hpp>

namespace store {

// Saves rows as a table of the store, and returns the bytes of the file.  Throws store::error as save does.
uint64_t save_rows(const std::filesystem::path &path, const exec::answer &rows);

// The bytes of such a file in memory, of the rows of an answer with these numbers, in this order.
vorn_host::aligned_vector<uint8_t> saved_row_bytes(const exec::answer &rows, std::span<const uint32_t> numbers);
// The same, for another process: in small forms, and compressed if that saves bytes.  A file must not have these bytes.
vorn_host::aligned_vector<uint8_t> sent_row_bytes(const exec::answer &rows, std::span<const uint32_t> numbers);

// Saves the columns of a table that the store encodes, in their present encoding.
uint64_t save_table(const std::filesystem::path &path, exec::table &of);
vorn_host::aligned_vector<uint8_t> saved_table_bytes(exec::table &of);

} // namespace store
