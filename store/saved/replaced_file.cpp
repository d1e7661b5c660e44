#include "store/saved/replaced_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store::saved {

namespace {

// The permissions that open gives a new file.
mode_t usual_mode() {
  const mode_t withheld = umask(0);
  umask(withheld);
  return 0666 & ~withheld;
}

// The names of temporary files; null for a free entry.
std::array<std::atomic<const char *>, 8> temporaries;

void replace_temporary(const char *known, const char *other) {
  for (std::atomic<const char *> &name : temporaries)
    if (const char *expected = known; name.compare_exchange_strong(expected, other))
      return;
}

// The file that a symbolic link leads to, perhaps through other links.
std::filesystem::path behind_links(std::filesystem::path path) {
  constexpr int most_links = 40; // as many as the system follows
  for (int links = 0; links < most_links && std::filesystem::is_symlink(std::filesystem::symlink_status(path)); ++links)
    path = path.parent_path() / std::filesystem::read_symlink(path);
  return path;
}

std::string name_meanwhile(const std::filesystem::path &path) {
  // A file would replace a device or a pipe of this name.
  std::error_code unknown;
  const std::filesystem::file_status there = std::filesystem::status(path, unknown);
  if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there))
    throw error(fmt::format("cannot write {}: it is not a regular file", shortened(path.string())));
  return (path.parent_path() / fmt::format(".{}.XXXXXX", path.filename().string())).string();
}

} // namespace

// The name is registered before the file is made, so that a signal in between removes the file.
temporary_file::temporary_file(std::string pattern, int ending) : name_(std::move(pattern)) {
  replace_temporary(nullptr, name_.c_str());
  file_ = mkostemps(name_.data(), ending, O_CLOEXEC);
  is_there_ = file_ != -1;
}

temporary_file::~temporary_file() {
  const int reason = errno;
  close();
  if (is_there_)
    unlink(name_.c_str());
  keep();
  errno = reason;
}

bool temporary_file::close() { return file_ == -1 || ::close(std::exchange(file_, -1)) == 0; }

void temporary_file::keep() {
  replace_temporary(name_.c_str(), nullptr);
  is_there_ = false;
}

void temporary_file::remove_all() {
  for (const std::atomic<const char *> &name : temporaries)
    if (const char *known = name)
      unlink(known);
}

replaced_file::replaced_file(std::filesystem::path path)
    : path_(behind_links(std::move(path))), written_(name_meanwhile(path_)) {
  if (written_.descriptor() == -1)
    fail();
}

void replaced_file::write(std::span<const uint8_t> bytes, uint64_t at) {
  while (!bytes.empty()) {
    const ssize_t done = pwrite(written_.descriptor(), bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (done == -1 && errno == EINTR)
      continue;
    if (done == -1)
      fail();
    bytes = bytes.subspan(static_cast<size_t>(done));
    at += static_cast<uint64_t>(done);
  }
}

void replaced_file::finish() {
  struct stat replaced = {};
  const int file = written_.descriptor();
  if (stat(path_.c_str(), &replaced) != 0)
    replaced.st_mode = usual_mode();
  else if (fchown(file, replaced.st_uid, replaced.st_gid) != 0 && errno != EPERM) // only root may change the owner
    fail();
  if (fchmod(file, replaced.st_mode & 07777) != 0 || fsync(file) != 0 || !written_.close() ||
      rename(written_.name().c_str(), path_.c_str()) != 0)
    fail();
  written_.keep();
  // The name is on the disk after the folder is synchronised.
  const std::filesystem::path folder = path_.parent_path().empty() ? "." : path_.parent_path();
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened == -1)
    fail();
  const bool is_durable = fsync(opened) == 0;
  const int reason = errno;
  close(opened);
  errno = reason;
  if (!is_durable)
    fail();
}

void replaced_file::fail() const {
  throw error(fmt::format("cannot write {}: {}", shortened(path_.string()), std::strerror(errno)));
}

} // namespace store::saved
