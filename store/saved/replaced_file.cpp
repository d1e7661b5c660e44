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

// The permissions of a new file, as open would give them.
mode_t usual_mode() {
  const mode_t withheld = umask(0);
  umask(withheld);
  return 0666 & ~withheld;
}

// The names of files that are not finished; null where there is none.
std::array<std::atomic<const char *>, 8> unfinished;

void replace_unfinished(const char *known, const char *other) {
  for (std::atomic<const char *> &name : unfinished)
    if (const char *expected = known; name.compare_exchange_strong(expected, other))
      return;
}

} // namespace

replaced_file::replaced_file(std::filesystem::path path) : path_(std::move(path)) {
  // A device or a pipe would be replaced by a file of its name.
  std::error_code unknown;
  const std::filesystem::file_status there = std::filesystem::status(path_, unknown);
  if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there))
    throw error(fmt::format("cannot write {}: it is not a regular file", path_.string()));
  std::string name = (path_.parent_path() / fmt::format(".{}.XXXXXX", path_.filename().string())).string();
  file_ = mkostemp(name.data(), O_CLOEXEC);
  if (file_ == -1)
    fail();
  written_ = std::move(name);
  replace_unfinished(nullptr, written_.c_str());
}

replaced_file::~replaced_file() {
  if (file_ != -1)
    close(file_);
  if (written_.empty())
    return;
  unlink(written_.c_str());
  replace_unfinished(written_.c_str(), nullptr);
}

void replaced_file::write(std::span<const uint8_t> bytes, uint64_t at) {
  while (!bytes.empty()) {
    const ssize_t done = pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (done == -1 && errno == EINTR)
      continue;
    if (done == -1)
      fail();
    bytes = bytes.subspan(static_cast<size_t>(done));
    at += static_cast<uint64_t>(done);
  }
}

void replaced_file::finish() {
  if (fchmod(file_, usual_mode()) != 0 || fsync(file_) != 0 || close(std::exchange(file_, -1)) != 0 ||
      rename(written_.c_str(), path_.c_str()) != 0)
    fail();
  replace_unfinished(written_.c_str(), nullptr);
  written_.clear();
  // The name is on the disk when the folder is.
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

void replaced_file::remove_unfinished() {
  for (const std::atomic<const char *> &name : unfinished)
    if (const char *known = name)
      unlink(known);
}

void replaced_file::fail() const {
  throw error(fmt::format("cannot write {}: {}", shortened(path_.string()), std::strerror(errno)));
}

} // namespace store::saved
