// Arrays that begin on a cache line, for everything that kernels read or write in bulk.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace vorn_host {

inline constexpr std::size_t cache_line = 64;

template <class T>
struct cache_line_allocator {
  using value_type = T;

  cache_line_allocator() = default;
  template <class U>
  cache_line_allocator(const cache_line_allocator<U> &) {}

  T *allocate(std::size_t count) {
    return static_cast<T *>(::operator new (count * sizeof(T), std::align_val_t{cache_line}));
  }
  void deallocate(T *memory, std::size_t) { ::operator delete (memory, std::align_val_t{cache_line}); }

  friend bool operator==(const cache_line_allocator &, const cache_line_allocator &) { return true; }
};

template <class T>
using aligned_vector = std::vector<T, cache_line_allocator<T>>;

} // namespace vorn_host
