// Tables in files.  The program vornq takes files whose names end in .vorn.
#pragma once

#include <vorn/store/table.hpp>

#include <cstdint>
#include <filesystem>

namespace vorn::store {

// Writes a table and returns the bytes of the file.  The file appears whole or not at all: after an error the path is
// as it was.  Throws error when the table has no column or the file cannot be written.
VORN_STORE_API uint64_t save(const table &saved, const std::filesystem::path &path);

// Maps a file and checks all of it, by the kernels of the context.  The table keeps the file mapped, so the file may be
// replaced or removed, but not changed in place.  Throws error for a file that save did not write, and for a file that
// was changed.
VORN_STORE_API table open(const vorn_ctx &ctx, const std::filesystem::path &path);

} // namespace vorn::store
