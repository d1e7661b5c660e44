#include "store/join/hash_table.hpp"

#include <algorithm>

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store {

namespace {

template <class T>
uint64_t count_between(const void *begin, const void *end) {
  return static_cast<uint64_t>(static_cast<const T *>(end) - static_cast<const T *>(begin));
}

} // namespace

hash_table::hash_table(const vorn_ctx &context, const table_shape &shape, const join_settings &chosen)
    : ctx(context), settings(chosen), sizes(shape), buckets(std::make_unique<bucket[]>(sizes.buckets())),
      parts(sizes.partitions()), tables(parts.size()), overflow_next(parts.size()), overflow_end(parts.size()),
      area_next(parts.size()), area_end(parts.size()) {
  for (uint32_t part = 0; part < parts.size(); ++part) {
    tables[part] = buckets.get() + (uint64_t{part} << sizes.bucket_bits);
    grant(part, sizes.first_overflow);
    if (sizes.partition_bits == 0)
      continue;
    auto &area = parts[part].area = std::make_unique_for_overwrite<row_hash[]>(sizes.area_records);
    area_next[part] = area.get();
    area_end[part] = area.get() + sizes.area_records;
  }
  // The tag has the lowest bits of a hash value, the bucket those above, and the partition the next ones.
  const auto bucket_hi_bit = static_cast<uint8_t>(sizes.tag_bits() + sizes.bucket_bits - 1);
  const auto partition_shift = static_cast<uint8_t>(bucket_hi_bit + 1);
  const auto partition_hi_bit = static_cast<uint8_t>(bucket_hi_bit + sizes.partition_bits);
  vorn_build_hash_table(&table, tables.data(), nullptr, overflow_next.data(), overflow_end.data(), partition_hi_bit,
                        partition_shift, bucket_hi_bit, sizes.layout);
  vorn_build_partition_buffer(&splitter, nullptr, area_next.data(), area_end.data(), partition_hi_bit, partition_shift,
                              VORN_PB_RID);
}

void hash_table::insert(std::span<const uint64_t> hashes) {
  row_vector keys(vorn_build_encoding_type_hash_values, hashes.data(), nullptr, hashes.size());
  row_vector numbers = row_vector::numbered_from(inserted);
  inserted += hashes.size();
  if (sizes.partition_bits == 0) {
    insert(keys.get(), numbers.get(), 0);
    return;
  }
  vorn_aux aux{};
  for (;;) {
    const uint32_t code = vorn_partition(&ctx, &splitter, keys.get(), numbers.get(), vorn_host_hash, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_PARTITION_FULL, "partitioning");
    insert_area(aux.vorn_aux_full_part);
  }
}

void hash_table::finish() {
  if (sizes.partition_bits == 0)
    return;
  for (uint32_t part = 0; part < parts.size(); ++part) {
    insert_area(part);
    parts[part].area.reset();
  }
}

// The rows of an area are those of a partition in their order, and they are inserted while the partition is in the
// cache.
void hash_table::insert_area(uint32_t part) {
  row_hash *begin = parts[part].area.get();
  row_vector records(vorn_build_encoding_type_hashrid, begin, nullptr, count_between<row_hash>(begin, area_next[part]));
  insert(records.get(), records.get(), part);
  area_next[part] = begin;
}

void hash_table::insert(vorn_cv *keys, vorn_cv *values, uint32_t part) {
  vorn_aux aux{};
  for (;;) {
    const uint32_t code = vorn_ht_build(&ctx, &table, keys, values, static_cast<int32_t>(part), vorn_host_hash, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_NO_OVERFLOW, "building a hash table");
    grant(part, settings.overflow_buckets.value_or(more_overflow(parts[part].granted)));
  }
}

void hash_table::grant(uint32_t part, uint64_t count) {
  // The library fills in what it takes of it.
  const auto &memory = parts[part].overflow.emplace_back(std::make_unique_for_overwrite<bucket[]>(count));
  parts[part].granted += count;
  overflow_next[part] = memory.get();
  overflow_end[part] = memory.get() + count;
}

uint64_t hash_table::overflow_buckets() const {
  uint64_t out = 0;
  for (size_t part = 0; part < parts.size(); ++part)
    out += parts[part].granted - count_between<bucket>(overflow_next[part], overflow_end[part]);
  return out;
}

uint64_t hash_table::bytes() const {
  uint64_t out = sizes.buckets();
  for (const partition &p : parts)
    out += p.granted;
  return out * bucket_bytes;
}

} // namespace store
