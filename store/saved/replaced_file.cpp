#include "store/saved/replaced_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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

} // namespace

replaced_file::replaced_file(std::filesystem::path replaced) : path(std::move(replaced)) {
  std::string name = (path.parent_path() / fmt::format(".{}.XXXXXX", path.filename().string())).string();
  file = mkostemp(name.data(), O_CLOEXEC);
  if (file == -1)
    fail();
  written = std::move(name);
}

replaced_file::~replaced_file() {
  if (file != -1)
    close(file);
  if (!written.empty())
    unlink(written.c_str());
}

void replaced_file::write(std::span<const uint8_t> bytes, uint64_t at) {
  while (!bytes.empty()) {
    const ssize_t done = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
    if (done == -1 && errno == EINTR)
      continue;
    if (done == -1)
      fail();
    bytes = bytes.subspan(static_cast<size_t>(done));
    at += static_cast<uint64_t>(done);
  }
}

void replaced_file::finish() {
  if (fchmod(file, usual_mode()) != 0 || fsync(file) != 0 || close(std::exchange(file, -1)) != 0 ||
      rename(written.c_str(), path.c_str()) != 0)
    fail();
  written.clear();
  // The name is on the disk when the folder is.
  const std::filesystem::path folder = path.parent_path().empty() ? "." : path.parent_path();
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened == -1)
    fail();
  const bool is_kept = fsync(opened) == 0;
  const int reason = errno;
  close(opened);
  errno = reason;
  if (!is_kept)
    fail();
}

void replaced_file::fail() const {
  throw error(fmt::format("cannot write {}: {}", shortened(path.string()), std::strerror(errno)));
}

} // namespace store::saved
