// A file that is mapped into memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace store::saved {

// Bytes that lie on a cache line, in what the keeper keeps.
struct kept_bytes {
  std::span<const uint8_t> bytes;
  std::shared_ptr<const void> keeper;
};

// The bytes of a file, which are read as they are used.  The file may be replaced by another one meanwhile, but not be
// written into.  Throws store::error.
kept_bytes mapped_file(const std::filesystem::path &path);

} // namespace store::saved
