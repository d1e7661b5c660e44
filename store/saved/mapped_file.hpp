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
  std::function<bool()> has_changed = [] { return false; }; // whether a file was written to or cut since
};

// The bytes of a file.  They are read from the disk when they are used.  The file may be replaced by another file
// meanwhile, but it must not be written to.  Reading a part that was cut off raises SIGBUS.  Throws store::error.
owned_bytes mapped_file(const std::filesystem::path &path);

} // namespace store::saved
