// The join hash table: how a hash value is cut, and the four layouts of a bucket.
#pragma once

#ifdef __SSE2__
  #include <immintrin.h>
#endif

#include <array>

#include "frame/bits.hpp"
#include "frame/vorn.h"
#include "generic/native.hpp"

namespace vorn::inline VORN_LEVEL::join {

// A bucket has 64 bytes in every layout: the header at 0, the chain pointer at 56, tags and values between them.
inline constexpr uint32_t bucket_size = 64;

enum bucket_header : uint8_t {
  slot_count = 0x0f,
  distinct = 0x40, // no tag of the bucket occurs a second time, neither in the bucket nor later in the chain
  chained = 0x80   // the bucket is full, and another bucket follows
};

inline uint8_t *next_bucket(const uint8_t *bucket) { return load<uint8_t *>(bucket + 56); }
inline void link_bucket(uint8_t *bucket, const uint8_t *next) { store<const uint8_t *>(bucket + 56, next); }

template <class Tag, class Value, uint32_t Slots, uint32_t ValuesAt>
struct bucket_layout {
  using tag = Tag;
  using value = Value;
  static constexpr uint32_t slots = Slots;
  static constexpr uint32_t tag_bits = 8 * sizeof(Tag);

  static void fill(uint8_t *bucket, uint32_t slot, Tag tag, Value value) {
    store<Tag>(bucket + sizeof(Tag) * (slot + 1), tag);
    store<Value>(bucket + ValuesAt + sizeof(Value) * slot, value);
  }

  // A set of slots is a number with a bit for each byte of the tags.  The lowest bit of a tag stands for its slot.
  static constexpr uint32_t last_slot = 1U << (Slots - 1) * sizeof(Tag);

  // The value of the lowest slot of a set.
  static Value lowest_value(const uint8_t *bucket, uint32_t found) {
    constexpr uint64_t value_bytes = 8 * sizeof(Value) / tag_bits; // for a byte of a tag
    return load<Value>(bucket + ValuesAt + static_cast<uint64_t>(__builtin_ctz(found)) * value_bytes);
  }

  // The slots with the tag among the first `count` slots.  All slots are compared without a branch.  The comparison
  // also reads other bytes of the bucket.
  static uint32_t slots_with(const uint8_t *bucket, uint32_t count, Tag tag) {
    return equal_tags(bucket + sizeof(Tag), tag) & first_slots[count];
  }

private:
  static constexpr uint32_t tags_size = Slots * sizeof(Tag);

  // The first slots, by their number.  A header has 4 bits for the number.
  static constexpr auto first_slots = [] {
    std::array<uint32_t, slot_count + 1> sets = {};
    for (uint32_t count = 1; count < sets.size(); ++count)
      sets[count] = sets[count - 1] | (count <= Slots ? 1U << (count - 1) * sizeof(Tag) : 0);
    return sets;
  }();

  // A bit for each byte of the tags, and more bits.  The bits of equal tags are set.
  static uint32_t equal_tags(const uint8_t *tags, Tag tag) {
#if defined(__AVX2__)
    if constexpr (tags_size > 16)
      return static_cast<uint32_t>(_mm256_movemask_epi8(__m256i(equal_lanes<32>(tags, tag))));
#endif
#if defined(__SSE2__)
    const auto mask = [=](uint32_t at) {
      return static_cast<uint32_t>(_mm_movemask_epi8(__m128i(equal_lanes<16>(tags + at, tag)))) << at;
    };
    if constexpr (tags_size > 16)
      return mask(0) | mask(tags_size - 16);
    return mask(0);
#else
    uint32_t found = 0;
    for (uint32_t at = 0; at < tags_size; at += sizeof(Tag))
      found |= uint32_t{load<Tag>(tags + at) == tag} << at;
    return found;
#endif
  }

  // Lanes of ones where the numbers in `Size` bytes are equal to the tag.
  template <uint32_t Size>
  static auto equal_lanes(const uint8_t *numbers, Tag tag) {
    typedef Tag vector [[gnu::vector_size(Size)]];
    return load<vector>(numbers) == tag;
  }
};

struct k2v4_bucket : bucket_layout<uint16_t, uint32_t, 9, 20> {};
struct k2v8_bucket : bucket_layout<uint16_t, uint64_t, 5, 16> {};
struct k4v4_bucket : bucket_layout<uint32_t, uint32_t, 6, 32> {};
struct k4v8_bucket : bucket_layout<uint32_t, uint64_t, 4, 24> {};

// The tags of such a table are codes of a global dictionary.
inline bool has_codes(const vorn_hash_table &ht) { return ht.vorn_ht_type & VORN_HT_GD; }

// Calls visit with the layout of a table.  A type with VORN_HT_GD is known by single bits.  Any other type has to be
// exact.
template <class Visit>
inline uint32_t visit_layout(const vorn_hash_table &ht, Visit visit) {
  const uint32_t type = ht.vorn_ht_type;
  if (type == VORN_HT_K2V4)
    return visit(k2v4_bucket());
  if (type == VORN_HT_K2V8)
    return visit(k2v8_bucket());
  if (has_codes(ht) ? type & VORN_HT_K4V8 : type == VORN_HT_K4V8)
    return visit(k4v8_bucket());
  if (has_codes(ht) ? type & VORN_HT_K4V4 : type == VORN_HT_K4V4)
    return visit(k4v4_bucket());
  return VORN_RESULT_REFUSED;
}

// The partition and the bucket that a hash value selects.
struct hash_bits {
  // one_partition: all rows of the call belong to one partition, since the caller names it.
  hash_bits(const vorn_hash_table &ht, uint32_t tag_width, bool one_partition)
      : bucket_mask(low_bits(uint64_t{ht.vorn_ht_bucket_hi_bit} + 1)), tag_bits(tag_width) {
    if (one_partition || (ht.vorn_ht_part_hi_bit == ht.vorn_ht_bucket_hi_bit && ht.vorn_ht_part_low_bits == 0))
      return;
    part_mask = low_bits(uint64_t{ht.vorn_ht_part_hi_bit} + 1);
    low_mask = low_bits(ht.vorn_ht_part_low_bits);
    if (ht.vorn_ht_part_shift < 64 && ht.vorn_ht_part_low_bits < 64) {
      high_mask = part_mask;
      shift = ht.vorn_ht_part_shift;
      low_width = ht.vorn_ht_part_low_bits;
    }
  }

  uint64_t partition(uint64_t hash) const { return (hash & high_mask) >> shift << low_width | (hash & low_mask); }
  uint64_t bucket(uint64_t hash) const { return (hash & bucket_mask) >> tag_bits; }

  // The first bucket of the chain.
  uint8_t *find(void *const *tables, uint64_t hash) const {
    return static_cast<uint8_t *>(tables[partition(hash)]) + bucket(hash) * bucket_size;
  }

  bool one_partition() const { return high_mask == 0 && low_mask == 0; }

  uint64_t bucket_mask;
  uint32_t tag_bits;
  uint8_t shift = 0;
  uint8_t low_width = 0;
  uint64_t part_mask = 0; // all bits of the partition number; none without partitions
  uint64_t high_mask = 0; // the bits that are shifted
  uint64_t low_mask = 0;  // the bits that are not
};

// Finds buckets.  A table without partitions has a simpler way, which makes a probe in a cache 20 % faster.
struct bucket_finder {
  uint8_t *operator()(uint64_t hash) const { return bits.find(tables, hash); }

  hash_bits bits;
  void *const *tables;
};
template <class Layout>
struct single_table_finder {
  uint8_t *operator()(uint64_t hash) const { return table + (hash >> shift & mask); }

  // The number of a bucket is taken from a hash value together with the factor bucket_size.
  static constexpr uint32_t shift = Layout::tag_bits - std::countr_zero(bucket_size);
  uint8_t *table;
  uint64_t mask; // of the distance from the first bucket
};

// Calls call(finder).
template <class Layout, class Call>
inline auto with_finder(const hash_bits &bits, void *const *tables, Call call) {
  if (bits.one_partition())
    return call(single_table_finder<Layout>{static_cast<uint8_t *>(tables[0]),
                                            bits.bucket_mask >> Layout::tag_bits << std::countr_zero(bucket_size)});
  return call(bucket_finder{bits, tables});
}

} // namespace vorn::inline VORN_LEVEL::join
