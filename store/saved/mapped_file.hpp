// A file that is mapped into memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>

namespace store::saved {

// Bytes that lie on a cache line, in memory of the owner.
struct owned_bytes {
  std::span<const uint8_t> bytes;
  std::shared_ptr<const void> owner;
  std::function<bool()> has_changed = [] { return false; }; // whether a file was written into or cut meanwhile
};

// The bytes of a file, which are read as they are used.  The file may be replaced by another one meanwhile, but not be
// written into.  Reading what was cut off raises SIGBUS.  Throws store::error.
owned_bytes mapped_file(const std::filesystem::path &path);

} // namespace store::saved
