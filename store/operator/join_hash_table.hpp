// The hash table of the library and its bloom map, for joins.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/chunk/arena.hpp"
#include <vorn/aligned.hpp>
#include <vorn/encode.h>
#include <vorn/vorn.h>

namespace store::exec {

// A map from distinct hash values to the numbers 0, 1, ...
class hash_table {
public:
  explicit hash_table(uint64_t most_entries);
  hash_table(const hash_table &) = delete;

  // The bits of a hash value that select its bucket.  Values in ascending order of these bits are inserted fast.
  uint32_t first_place_bit() const { return sizes_.tag_bits; }
  uint32_t place_bits() const { return sizes_.bucket_bits; }

  // Inserts the next numbers by their hash values.
  void insert(const vorn_ctx &library, std::span<const uint64_t> hashes);

  // A position among the hash values that are looked up, and the number of an entry that may have the same hash value.
  struct candidate { // VORN_RIDVALUE
    uint64_t position;
    uint64_t number;
  };
  // Calls a function with batches of candidates in ascending order of position.
  template <class Take>
  void find(const vorn_ctx &library, std::span<const uint64_t> hashes, arena &memory, const Take &take) const {
    probe next(hashes, memory);
    for (std::span<const candidate> some = next.step(*this, library); !some.empty(); some = next.step(*this, library))
      take(some);
  }

  uint64_t bytes() const { return granted_ * VORNENC_BUCKET_BYTES; }

private:
  struct alignas(VORNENC_BUCKET_BYTES) bucket {
    uint8_t bytes[VORNENC_BUCKET_BYTES];
  };
  class probe {
  public:
    probe(std::span<const uint64_t> hashes, arena &memory);
    std::span<const candidate> step(const hash_table &of, const vorn_ctx &library);

  private:
    std::span<const uint64_t> hashes_;
    arena &memory_;
    std::span<candidate> room_;
    vorn_aux aux_{};
    bool is_done_;
  };

  void grant(uint64_t buckets);

  vornenc_table_size sizes_{};
  uint64_t granted_ = 0;
  uint64_t granted_overflow_ = 0;
  uint64_t inserted_ = 0;
  std::unique_ptr<bucket[]> buckets_;
  std::vector<std::unique_ptr<bucket[]>> overflow_;
  void *table_of_[1] = {};
  void *overflow_next_[1] = {};
  void *overflow_end_[1] = {};
  mutable vorn_hash_table table_{}; // the library does not write to a table that it probes
};

// A bloom map of hash values.  It rejects most hash values that were not added.
class bloom_map {
public:
  explicit bloom_map(uint64_t keys);

  void add(std::span<const uint64_t> hashes);
  // The positions of the hash values that may have been added, in ascending order.
  std::span<const uint32_t> test(const vorn_ctx &library, std::span<const uint64_t> hashes, arena &memory) const;

  uint64_t bytes() const { return map_.size(); }

private:
  uint32_t bits_; // there are 2^bits
  vorn_host::aligned_vector<uint8_t> map_;
};

} // namespace store::exec
