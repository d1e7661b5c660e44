// A file that is written under another name in the same folder and takes its own when it is whole, so that nobody sees
// a part of it and a failure leaves what was there before.  A file that is replaced keeps its mode and its owner, and a
// symbolic link its place.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace store::saved {

// A new file that is removed with this, or when a signal ends the process.
class temporary_file {
public:
  // A name with XXXXXX in it, which other characters replace, before an ending of some characters.  It can be read and
  // written by this user only.  -1 as its descriptor where it cannot be made, with errno.
  explicit temporary_file(std::string pattern, int ending = 0);
  ~temporary_file();
  temporary_file(const temporary_file &) = delete;

  int descriptor() const { return file_; }
  const std::string &name() const { return name_; }
  // Whether it could be closed.
  bool close();
  // The file stays.
  void keep();

  // Removes all that are there.  A signal handler may call it.
  static void remove_all();

private:
  std::string name_;
  int file_;
  bool is_there_;
};

class replaced_file {
public:
  // Throws store::error, as the others do.
  explicit replaced_file(std::filesystem::path path);
  replaced_file(const replaced_file &) = delete;

  void write(std::span<const uint8_t> bytes, uint64_t at);

  // The name in the meantime, for others that write the file by its name.
  const std::string &name() const { return written_.name(); }

  // The file is on the disk, and has its name.
  void finish();

private:
  [[noreturn]] void fail() const;

  std::filesystem::path path_;
  temporary_file written_;
};

} // namespace store::saved
