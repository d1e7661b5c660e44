// Memory of one thread for the vectors of a chunk.
//
// Taking memory moves a pointer.  A rewind to a mark frees all memory after the mark for the next chunk.  So a query
// takes memory from the system only for its first chunk.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <vector>

#include "store/chunk/large_memory.hpp"
#include <vorn/aligned.hpp>

namespace store::exec {

class arena {
public:
  arena() = default;
  arena(const arena &) = delete;

  // Uninitialised elements at the start of a cache line.  Another cache line after the last element can be read and
  // written.
  template <class T>
  std::span<T> take(size_t count) {
    static_assert(std::is_trivially_copyable_v<T>);
    return {reinterpret_cast<T *>(bytes(count * sizeof(T))), count};
  }

  struct mark {
    size_t in_block = 0;
    size_t used = 0;
  };
  mark position() const { return at_; }
  // What was taken after the mark may be taken again.
  void rewind(mark to) { at_ = to; }

private:
  static constexpr size_t block_bytes = size_t{1} << 20;

  // Uninitialised memory.
  struct block {
    struct freed {
      void operator()(std::byte *owned) const { std::free(owned); }
    };

    explicit block(size_t size)
        : memory(static_cast<std::byte *>(std::aligned_alloc(vorn_host::cache_line, size))), bytes(size) {
      if (memory == nullptr)
        throw std::bad_alloc();
      prefer_large_pages(memory.get(), bytes);
    }

    std::unique_ptr<std::byte, freed> memory;
    size_t bytes;
  };

  std::byte *bytes(size_t count) {
    const size_t whole = (count + 2 * vorn_host::cache_line - 1) / vorn_host::cache_line * vorn_host::cache_line;
    for (; at_.in_block < blocks_.size(); at_ = {at_.in_block + 1, 0})
      if (blocks_[at_.in_block].bytes - at_.used >= whole)
        break;
    if (at_.in_block == blocks_.size())
      blocks_.emplace_back(std::max(whole, block_bytes));
    std::byte *out = blocks_[at_.in_block].memory.get() + at_.used;
    at_.used += whole;
    return out;
  }

  std::vector<block> blocks_;
  mark at_;
};

} // namespace store::exec
