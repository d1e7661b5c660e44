#include "store/operator/ranked_bitmap.hpp"

#include <bit>

namespace store::exec {

void ranked_bitmap::finish() {
  size_ = 0;
  for (entry &e : entries_) {
    e.before = size_;
    size_ += static_cast<uint32_t>(std::popcount(e.bits));
  }
}

[[gnu::always_inline]] inline void ranked_bitmap::rank(std::span<const uint64_t> set, std::span<uint32_t> out) const {
  const entry *entries = entries_.data();
  for (size_t i = 0; i < set.size(); ++i) {
    const entry e = entries[set[i] / 32];
    out[i] = e.before + static_cast<uint32_t>(std::popcount(e.bits & ((uint32_t{1} << (set[i] % 32)) - 1)));
  }
}

#ifdef __x86_64__
// Twice as fast.  The store is built for processors without the instruction too.
[[gnu::target("popcnt")]] void ranked_bitmap::rank_by_instruction(std::span<const uint64_t> set,
                                                                  std::span<uint32_t> out) const {
  rank(set, out);
}
#endif

std::span<const uint32_t> ranked_bitmap::ranks(std::span<const uint64_t> set, arena &memory) const {
  const std::span<uint32_t> out = memory.take<uint32_t>(set.size());
#ifdef __x86_64__
  static const bool counts_bits = __builtin_cpu_supports("popcnt") != 0;
  if (counts_bits) {
    rank_by_instruction(set, out);
    return out;
  }
#endif
  rank(set, out);
  return out;
}

} // namespace store::exec
