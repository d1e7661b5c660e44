// The hash table of a join: its memory, and the way rows go into it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/join/sizing.hpp"
#include <vorn/vorn.h>

namespace store {

class hash_table {
public:
  // The context outlives this.
  hash_table(const vorn_ctx &ctx, const table_shape &shape, const join_settings &settings);
  hash_table(const hash_table &) = delete;

  // Inserts rows by their hash values, numbered on from the row behind the last one.
  void insert(std::span<const uint64_t> hashes);

  // Ends the build.
  void finish();

  const table_shape &shape() const { return sizes_; }
  uint64_t rows() const { return inserted_; }
  uint64_t overflow_buckets() const; // used
  uint64_t bytes() const;

  // For the library, which does not write to a table that it probes.
  vorn_hash_table *record() const { return &table_; }

private:
  struct alignas(bucket_bytes) bucket {
    uint8_t bytes[bucket_bytes];
  };
  struct row_hash { // VORN_HASHRID
    uint64_t row;
    uint64_t hash;
  };
  struct partition {
    std::vector<std::unique_ptr<bucket[]>> overflow;
    uint64_t granted = 0;             // buckets of these
    std::unique_ptr<row_hash[]> area; // what is not yet inserted
  };

  void grant(uint32_t part, uint64_t buckets);
  void insert(vorn_cv *keys, vorn_cv *values, uint32_t part);
  void insert_area(uint32_t part);

  const vorn_ctx &ctx_;
  join_settings settings_;
  table_shape sizes_;
  uint64_t inserted_ = 0;
  std::unique_ptr<bucket[]> buckets_;
  std::vector<partition> parts_;
  // An entry for each partition.
  std::vector<void *> tables_;
  std::vector<void *> overflow_next_;
  std::vector<void *> overflow_end_;
  std::vector<void *> area_next_;
  std::vector<void *> area_end_;
  mutable vorn_hash_table table_{};
  vorn_partition_buffer splitter_{};
};

} // namespace store
