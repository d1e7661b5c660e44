// Memory that catches a read or write outside: buffers end right before memory that nobody may touch, and the bytes in
// front of them are canaries.  Or they begin right behind such memory, for what reads in front of a buffer.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace vorn_test {

class guarded {
public:
  explicit guarded(size_t capacity) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t body = (capacity + canaries + page - 1) / page * page;
    mapped_ = page + body + unreadable;
    void *memory = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
      std::abort();
    base_ = static_cast<uint8_t *>(memory);
    begin_ = base_ + page;
    end_ = begin_ + body;
    if (mprotect(base_, page, PROT_NONE) != 0 || mprotect(end_, unreadable, PROT_NONE) != 0)
      std::abort();
  }
  ~guarded() { munmap(base_, mapped_); }
  guarded(const guarded &) = delete;
  guarded &operator=(const guarded &) = delete;

  // The last `size` bytes before the unreadable page, with fresh canaries in front.
  uint8_t *last(size_t size) {
    std::fill_n(end_ - size - canaries, canaries, canary);
    return end_ - size;
  }
  uint64_t *last_words(size_t count) { return reinterpret_cast<uint64_t *>(last(count * sizeof(uint64_t))); }

  // The first bytes behind the unreadable page in front.
  uint8_t *first() { return begin_; }

  // Are the bytes in front of the last `size` still as they were?
  bool intact(size_t size) const {
    return std::all_of(end_ - size - canaries, end_ - size, [](uint8_t byte) { return byte == canary; });
  }

private:
  static constexpr uint8_t canary = 0xc5;
  static constexpr size_t canaries = 128;
  static constexpr size_t unreadable = 1 << 20; // far reads fault as well: an index of 20 bits too large
  size_t mapped_;
  uint8_t *base_;
  uint8_t *begin_;
  uint8_t *end_;
};

} // namespace vorn_test
