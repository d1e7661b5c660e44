// Writes a file under a temporary name in the same folder, and renames it when it is complete.  So nobody sees an
// incomplete file, and a failure leaves the old file.  The new file keeps the mode and the owner of the old file.  A
// symbolic link stays a link.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace store::saved {

// A new file.  The destructor removes it, and so does a signal that ends the process.
class temporary_file {
public:
  // The name contains XXXXXX before an ending of some characters.  Other characters replace XXXXXX.  Only this user can
  // read and write the file.  If the file cannot be made, the descriptor is -1 and errno is set.
  explicit temporary_file(std::string pattern, int ending = 0);
  ~temporary_file();
  temporary_file(const temporary_file &) = delete;

  int descriptor() const { return file_; }
  const std::string &name() const { return name_; }
  // Closes the file.  Returns false on an error.
  bool close();
  // Keeps the file.
  void keep();

  // Removes all temporary files.  A signal handler may call it.
  static void remove_all();

private:
  std::string name_;
  int file_;
  bool is_there_;
};

class replaced_file {
public:
  // All functions of this class throw store::error.
  explicit replaced_file(std::filesystem::path path);
  replaced_file(const replaced_file &) = delete;

  void write(std::span<const uint8_t> bytes, uint64_t at);

  // The temporary name, for code that writes the file by its name.
  const std::string &name() const { return written_.name(); }

  // Writes the file to the disk and gives it its name.
  void finish();

private:
  [[noreturn]] void fail() const;

  std::filesystem::path path_;
  temporary_file written_;
};

} // namespace store::saved
