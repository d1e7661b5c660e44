// How large a join makes what it keeps, and in which layout.
#pragma once

#include <cstdint>
#include <optional>

#include <vorn/encode.h>

namespace store {

// What a caller settles itself.  Without a word the sizes follow from the rows; tests make them tiny, so that every
// step runs out of room.
struct join_settings {
  std::optional<bool> bloom = {};                // nothing: with more rows to probe than were inserted
  std::optional<uint32_t> partition_bits = {};   // nothing: as many as keep a part of the table in the cache
  std::optional<uint32_t> layout = {};           // VORN_HT_K2V4 and so on
  std::optional<uint64_t> overflow_buckets = {}; // granted to a partition at a time
  std::optional<uint64_t> area_records = {};     // of a partition, collected before they are inserted
  uint32_t pairs = 16384;                        // of a probe
  uint32_t gathered_bytes = 16384 * 8;           // of a gather
  uint32_t record_bytes = 1 << 20;               // of a block of records
};

struct table_shape : vornenc_table_size {
  bool has_narrow_values() const { return layout == VORN_HT_K2V4 || layout == VORN_HT_K4V4; }
  uint32_t partitions() const { return 1U << partition_bits; }
  uint64_t buckets() const { return uint64_t{1} << (bucket_bits + partition_bits); }
};

inline constexpr uint32_t bucket_bytes = VORNENC_BUCKET_BYTES;

// "k2v4" and the like.
const char *layout_name(uint32_t layout);

// For at most this many keys.
table_shape shape_of(uint64_t keys, const join_settings &settings);

// Is a map worth its tests after it let this many of the rows through?
bool is_worth_testing(uint64_t passed, uint64_t tested);

} // namespace store
