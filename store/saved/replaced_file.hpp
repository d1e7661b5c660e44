// A file that is written under another name in the same folder and takes its own when it is whole, so that nobody sees
// a part of it and a failure leaves what was there before.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace store::saved {

class replaced_file {
public:
  // Throws store::error, as the others do.
  explicit replaced_file(std::filesystem::path path);
  ~replaced_file();
  replaced_file(const replaced_file &) = delete;
  replaced_file &operator=(const replaced_file &) = delete;

  void write(std::span<const uint8_t> bytes, uint64_t at);

  // The name in the meantime, for others that write the file by its name.
  const std::string &name() const { return written_; }

  // The file is on the disk, and has its name.
  void finish();

  // Removes the files that are not finished, when the process ends.  A signal handler may call it.
  static void remove_unfinished();

private:
  [[noreturn]] void fail() const;

  std::filesystem::path path_;
  std::string written_; // the name in the meantime; empty at the end
  int file_ = -1;
};

} // namespace store::saved
