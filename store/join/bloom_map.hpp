// A bit map of the keys of one side of a join, which tells most of the other side's rows that have no match.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

class bloom_map {
public:
  // The context outlives this.
  bloom_map(const vorn_ctx &ctx, uint64_t keys);

  void add(std::span<const uint64_t> hashes);

  // What a test needs, of each thread its own.
  struct room {
    std::vector<uint32_t> tested;
    vorn_host::aligned_vector<uint64_t> bits;
    std::vector<uint32_t> passed;
  };
  // The numbers of those that may be in the map, in ascending order.  Good until the room is used again.
  std::span<const uint32_t> test(std::span<const uint64_t> hashes, room &used) const;

  uint64_t bytes() const { return map_.size(); }

private:
  const vorn_ctx &ctx_;
  uint32_t bits_; // there are 2^bits
  vorn_host::aligned_vector<uint8_t> map_;
};

} // namespace store
