// A stamp that shows whether a file changed after it was opened.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <filesystem>

namespace store::saved {

struct file_stamp {
  uint64_t device = 0;
  uint64_t number = 0;
  uint64_t bytes = 0;
  int64_t seconds = 0; // of its last change
  int64_t nanoseconds = 0;

  static file_stamp of(const struct stat &status) {
    return {status.st_dev, status.st_ino, static_cast<uint64_t>(status.st_size), status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec};
  }
  // All zeros if there is no such file.
  static file_stamp of(const std::filesystem::path &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 ? of(status) : file_stamp{};
  }
  bool operator==(const file_stamp &) const = default;
};

} // namespace store::saved
