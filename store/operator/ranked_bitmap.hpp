// A bitmap with ranks: a set of numbers in a range, and for each number how many numbers of the set are smaller.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "store/chunk/arena.hpp"

namespace store::exec {

class ranked_bitmap {
public:
  // All numbers of the set are below `range`.
  explicit ranked_bitmap(uint64_t range) : range_(range), entries_(range / 32 + 1) {}

  void add(uint64_t number) { entries_[number / 32].bits |= uint32_t{1} << (number % 32); }
  // Computes the ranks.  Called after the last number was added.
  void finish();

  uint64_t range() const { return range_; }
  uint32_t size() const { return size_; }
  uint64_t bytes() const { return entries_.size() * sizeof(entry); }

  // The positions of the numbers that are in the set, in ascending order, and the rank of each number.  `Numbers` has a
  // size, and a number at each position.  A number that is not below the range is not in the set.
  struct found {
    std::span<const uint32_t> positions;
    std::span<const uint32_t> ranks;
  };
  template <class Numbers>
  found find(Numbers numbers, arena &memory) const {
    const std::span<uint32_t> positions = memory.take<uint32_t>(numbers.size());
    const std::span<uint64_t> set = memory.take<uint64_t>(numbers.size());
    const uint64_t range = range_;
    const entry *entries = entries_.data();
    size_t count = 0;
    for (size_t i = 0; i < numbers.size(); ++i) {
      const uint64_t given = numbers[i];
      const uint64_t number = given < range ? given : range;
      positions[count] = static_cast<uint32_t>(i);
      set[count] = number;
      count += entries[number / 32].bits >> (number % 32) & 1;
    }
    return {positions.first(count), ranks(set.first(count), memory)};
  }

private:
  // The bits of 32 numbers, and the number of set bits before them.  A look-up reads one word.
  struct entry {
    uint32_t bits = 0;
    uint32_t before = 0;
  };

  std::span<const uint32_t> ranks(std::span<const uint64_t> set, arena &memory) const;

  uint64_t range_;
  uint32_t size_ = 0;
  std::vector<entry> entries_;
};

} // namespace store::exec
