// Memory of many megabytes in large pages, where the system has them: fewer faults when it is first touched.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include <sys/mman.h>

namespace store::exec {

// Call it after memory was taken, before it is touched.  It does nothing for little memory.
inline void prefer_large_pages([[maybe_unused]] void *memory, [[maybe_unused]] size_t bytes) {
#ifdef MADV_HUGEPAGE
  constexpr size_t page = size_t{1} << 21;
  const size_t before = (page - reinterpret_cast<uintptr_t>(memory) % page) % page; // the first whole page
  if (bytes >= before + page) // the memory stays good without large pages
    static_cast<void>(madvise(static_cast<char *>(memory) + before, (bytes - before) / page * page, MADV_HUGEPAGE));
#endif
}

template <class T>
struct large_allocator {
  using value_type = T;

  large_allocator() = default;
  template <class U>
  large_allocator(const large_allocator<U> &) {}

  T *allocate(size_t count) {
    void *const memory = std::malloc(count * sizeof(T));
    if (memory == nullptr)
      throw std::bad_alloc();
    prefer_large_pages(memory, count * sizeof(T));
    return static_cast<T *>(memory);
  }
  void deallocate(T *memory, size_t) { std::free(memory); }

  friend bool operator==(const large_allocator &, const large_allocator &) { return true; }
};

template <class T>
using large_vector = std::vector<T, large_allocator<T>>;

} // namespace store::exec
