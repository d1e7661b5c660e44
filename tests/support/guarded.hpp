// Memory that catches a read or write outside: a buffer ends directly before unreadable memory or begins directly after
// it, and the bytes on the other side are canaries.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#if __has_include(<sanitizer/msan_interface.h>)
  #include <sanitizer/msan_interface.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace vorn_test {

// What is left unwritten of these bytes is known by its value, and by the memory sanitizer.
inline uint8_t *unwritten(uint8_t *bytes, size_t size) {
  std::fill_n(bytes, size, uint8_t{0xab});
#if defined(__has_feature)
  #if __has_feature(memory_sanitizer)
  __msan_poison(bytes, size);
  #endif
#endif
  return bytes;
}

class guarded {
public:
  explicit guarded(size_t capacity) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t body = (capacity + canaries + page - 1) / page * page;
    mapped_ = unreadable + body + unreadable;
    void *memory = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
      std::abort();
    base_ = static_cast<uint8_t *>(memory);
    begin_ = base_ + unreadable;
    end_ = begin_ + body;
    if (mprotect(base_, unreadable, PROT_NONE) != 0 || mprotect(end_, unreadable, PROT_NONE) != 0)
      std::abort();
  }
  ~guarded() { munmap(base_, mapped_); }
  guarded(const guarded &) = delete;
  guarded &operator=(const guarded &) = delete;

  // The last `size` bytes before the unreadable page, with fresh canaries before them.
  uint8_t *last(size_t size) {
    std::fill_n(end_ - size - canaries, canaries, canary);
    return unwritten(end_ - size, size);
  }
  uint64_t *last_words(size_t count) { return reinterpret_cast<uint64_t *>(last(count * sizeof(uint64_t))); }

  // Whether the bytes before the last `size` are unchanged.
  bool intact(size_t size) const {
    return std::all_of(end_ - size - canaries, end_ - size, [](uint8_t byte) { return byte == canary; });
  }

  // `size` bytes that begin `offset` bytes after the first unreadable page, with fresh canaries on both sides, and
  // whether these are still as they were.
  uint8_t *behind(size_t offset, size_t size) {
    std::fill_n(begin_, offset, canary);
    std::fill_n(begin_ + offset + size, canaries, canary);
    return unwritten(begin_ + offset, size);
  }
  bool intact_around(size_t offset, size_t size) const {
    const auto untouched = [](uint8_t byte) { return byte == canary; };
    return std::all_of(begin_, begin_ + offset, untouched) &&
           std::all_of(begin_ + offset + size, begin_ + offset + size + canaries, untouched);
  }

  // The same bytes with the canaries.
  std::span<uint8_t> with_canaries(size_t size) const { return {end_ - size - canaries, end_}; }
  std::span<uint8_t> with_canaries(size_t offset, size_t size) const { return {begin_, offset + size + canaries}; }

private:
  static constexpr uint8_t canary = 0xc5;
  static constexpr size_t canaries = 128;
  static constexpr size_t unreadable = 1 << 20; // far reads fault as well: an index of 20 bits too large
  size_t mapped_;
  uint8_t *base_;
  uint8_t *begin_;
  uint8_t *end_;
};

using bits = std::vector<bool>;

// Converts to what takes bytes or words.
struct pointer {
  uint8_t *bytes;
  template <class T>
  operator T *() const {
    return static_cast<T *>(static_cast<void *>(bytes));
  }
};

// The place of a vector: some bytes after unreadable memory, or directly before it.
constexpr unsigned at_end = 8;

class placed_vector : public pointer {
public:
  placed_vector() : pointer{} { place(at_end, 0); }

  void place(unsigned where, size_t size) {
    where_ = where;
    size_ = size;
    bytes = where == at_end ? memory_.last(size) : memory_.behind(where, size);
  }
  bool intact() const { return where_ == at_end ? memory_.intact(size_) : memory_.intact_around(where_, size_); }
  std::span<uint8_t> with_canaries() const {
    return where_ == at_end ? memory_.with_canaries(size_) : memory_.with_canaries(where_, size_);
  }
  bool operator[](uint64_t index) const { return bytes[index / 8] >> index % 8 & 1; }
  bits all() const {
    bits all;
    for (uint64_t i = 0; i < 8 * size_; ++i)
      all.push_back((*this)[i]);
    return all;
  }
  uint8_t *begin() const { return bytes; }
  uint8_t *end() const { return bytes + size_; }

private:
  guarded memory_{1 << 19};
  unsigned where_ = at_end;
  size_t size_ = 0;
};

// Bytes that end directly before unreadable memory.
class guarded_bytes {
public:
  explicit guarded_bytes(const std::string &bytes)
      : memory_(bytes.size()), size_(bytes.size()), data_(memory_.last(bytes.size())) {
    std::copy(bytes.begin(), bytes.end(), data_);
  }

  uint8_t *data() { return data_; }
  template <class T>
  T *as() {
    return reinterpret_cast<T *>(data_);
  }
  // As they are now.
  std::string now() const {
    return memory_.intact(size_) ? std::string(data_, data_ + size_) : "written before the start";
  }

private:
  guarded memory_;
  size_t size_;
  uint8_t *data_;
};

} // namespace vorn_test
