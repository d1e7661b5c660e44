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

hash_table::hash_table(const vorn_ctx &ctx, const table_shape &shape, const join_settings &settings)
    : ctx_(ctx), settings_(settings), sizes_(shape), buckets_(std::make_unique<bucket[]>(sizes_.buckets())),
      parts_(sizes_.partitions()), tables_(parts_.size()), overflow_next_(parts_.size()), overflow_end_(parts_.size()),
      area_next_(parts_.size()), area_end_(parts_.size()) {
  for (uint32_t part = 0; part < parts_.size(); ++part) {
    tables_[part] = buckets_.get() + (uint64_t{part} << sizes_.bucket_bits);
    grant(part, sizes_.first_overflow);
    if (sizes_.partition_bits == 0)
      continue;
    auto &area = parts_[part].area = std::make_unique_for_overwrite<row_hash[]>(sizes_.area_records);
    area_next_[part] = area.get();
    area_end_[part] = area.get() + sizes_.area_records;
  }
  vornenc_build_hash_table(&table_, &sizes_, tables_.data(), overflow_next_.data(), overflow_end_.data());
  constexpr uint16_t no_payload = 0;
  vornenc_build_partition_buffer(&splitter_, &sizes_, VORN_PB_RID, no_payload, area_next_.data(), area_end_.data());
}

void hash_table::insert(std::span<const uint64_t> hashes) {
  row_vector keys(vorn_build_encoding_type_hash_values, hashes.data(), nullptr, hashes.size());
  row_vector numbers = row_vector::numbered_from(inserted_);
  inserted_ += hashes.size();
  if (sizes_.partition_bits == 0) {
    insert(keys.get(), numbers.get(), 0);
    return;
  }
  vorn_aux aux{};
  for (;;) {
    const uint32_t code = vorn_partition(&ctx_, &splitter_, keys.get(), numbers.get(), vornenc_hash, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_PARTITION_FULL, "partitioning");
    insert_area(aux.vorn_aux_full_part);
  }
}

void hash_table::finish() {
  if (sizes_.partition_bits == 0)
    return;
  for (uint32_t part = 0; part < parts_.size(); ++part) {
    insert_area(part);
    parts_[part].area.reset();
  }
}

// The rows of an area are those of a partition in their order, and they are inserted while the partition is in the
// cache.
void hash_table::insert_area(uint32_t part) {
  row_hash *begin = parts_[part].area.get();
  row_vector records(vorn_build_encoding_type_hashrid, begin, nullptr,
                     count_between<row_hash>(begin, area_next_[part]));
  insert(records.get(), records.get(), part);
  area_next_[part] = begin;
}

void hash_table::insert(vorn_cv *keys, vorn_cv *values, uint32_t part) {
  vorn_aux aux{};
  for (;;) {
    const uint32_t code = vorn_ht_build(&ctx_, &table_, keys, values, static_cast<int32_t>(part), vornenc_hash, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_NO_OVERFLOW, "building a hash table");
    grant(part, settings_.overflow_buckets.value_or(vornenc_more_overflow(parts_[part].granted)));
  }
}

void hash_table::grant(uint32_t part, uint64_t buckets) {
  // The library fills in what it takes of it.
  const auto &memory = parts_[part].overflow.emplace_back(std::make_unique_for_overwrite<bucket[]>(buckets));
  parts_[part].granted += buckets;
  overflow_next_[part] = memory.get();
  overflow_end_[part] = memory.get() + buckets;
}

uint64_t hash_table::overflow_buckets() const {
  uint64_t out = 0;
  for (size_t part = 0; part < parts_.size(); ++part)
    out += parts_[part].granted - count_between<bucket>(overflow_next_[part], overflow_end_[part]);
  return out;
}

uint64_t hash_table::bytes() const {
  uint64_t out = sizes_.buckets();
  for (const partition &p : parts_)
    out += p.granted;
  return out * bucket_bytes;
}

} // namespace store
