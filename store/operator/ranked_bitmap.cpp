#include "store/operator/ranked_bitmap.hpp"

#include <bit>

#include "store/chunk/fast_loop.hpp"

namespace store::exec {

void ranked_bitmap::finish() {
  size_ = 0;
  for (entry &e : entries_) {
    e.before = size_;
    size_ += static_cast<uint32_t>(std::popcount(e.bits));
  }
}

std::span<const uint32_t> ranked_bitmap::ranks(std::span<const uint64_t> set, arena &memory) const {
  const std::span<uint32_t> out = memory.take<uint32_t>(set.size());
  fast_loop([=, entries = entries_.data()] {
    for (size_t i = 0; i < set.size(); ++i) {
      const entry e = entries[set[i] / 32];
      out[i] = e.before + static_cast<uint32_t>(std::popcount(e.bits & ((uint32_t{1} << (set[i] % 32)) - 1)));
    }
  });
  return out;
}

} // namespace store::exec
