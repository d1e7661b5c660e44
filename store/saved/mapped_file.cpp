#include "store/saved/mapped_file.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/saved/file_stamp.hpp"

namespace store::saved {

owned_bytes mapped_file(const std::filesystem::path &path) {
  const auto fail = [&] {
    throw error(fmt::format("cannot read {}: {}", shortened(path.string()), std::strerror(errno)));
  };
  // The call does not wait for a pipe.
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file == -1)
    fail();
  const std::shared_ptr<const void> closer(nullptr, [file](const void *) { close(file); });
  struct stat status = {};
  if (fstat(file, &status) != 0)
    fail();
  if (!S_ISREG(status.st_mode))
    throw error(fmt::format("not a file: {}", shortened(path.string())));
  const auto size = static_cast<size_t>(status.st_size);
  if (size == 0)
    return {};
  void *memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
  if (memory == MAP_FAILED)
    fail();
  return {{static_cast<const uint8_t *>(memory), size},
          {memory, [size](const void *mapped) { munmap(const_cast<void *>(mapped), size); }},
          [file, closer, opened = file_stamp::of(status)] {
            struct stat now = {};
            return fstat(file, &now) != 0 || file_stamp::of(now) != opened;
          }};
}

} // namespace store::saved
