#include "store/operator/join_hash_table.hpp"

#include "store/encode/encoded.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store::exec {

hash_table::hash_table(uint64_t most_entries) {
  constexpr uint64_t one_partition = 0;
  expect_encoded(vornenc_size_table(&sizes_, most_entries, one_partition));
  granted_ = uint64_t{1} << sizes_.bucket_bits;
  buckets_ = std::make_unique<bucket[]>(granted_);
  table_of_[0] = buckets_.get();
  grant(sizes_.first_overflow);
  vornenc_build_hash_table(&table_, &sizes_, table_of_, overflow_next_, overflow_end_);
}

void hash_table::grant(uint64_t buckets) {
  // The memory is not initialised.  The library writes the buckets that it takes.
  bucket *memory = overflow_.emplace_back(std::make_unique_for_overwrite<bucket[]>(buckets)).get();
  granted_ += buckets;
  granted_overflow_ += buckets;
  overflow_next_[0] = memory;
  overflow_end_[0] = memory + buckets;
}

void hash_table::insert(const vorn_ctx &library, std::span<const uint64_t> hashes) {
  row_vector keys(vorn_build_encoding_type_hash_values, hashes.data(), nullptr, hashes.size());
  row_vector numbers = row_vector::numbered_from(inserted_);
  inserted_ += hashes.size();
  vorn_aux aux{};
  for (;;) {
    constexpr int32_t the_only_partition = 0;
    const uint32_t code =
        vorn_ht_build(&library, &table_, keys.get(), numbers.get(), the_only_partition, vornenc_hash, &aux);
    if (code == VORN_RESULT_DONE)
      return;
    expect(code, VORN_RESULT_NO_OVERFLOW, "building a hash table");
    grant(vornenc_more_overflow(granted_overflow_));
  }
}

hash_table::probe::probe(std::span<const uint64_t> hashes, arena &memory)
    : hashes_(hashes), memory_(memory), room_(memory.take<candidate>(hashes.size() + hashes.size() / 8 + 16)),
      is_done_(hashes.empty()) {}

std::span<const hash_table::candidate> hash_table::probe::step(const hash_table &of, const vorn_ctx &library) {
  row_vector keys(vorn_build_encoding_type_hash_values, hashes_.data(), nullptr, hashes_.size());
  row_vector positions = row_vector::numbered_from(0);
  while (!is_done_) {
    row_vector result(vorn_build_encoding_type_ridvalue, room_.data(), nullptr, room_.size());
    const uint32_t code =
        vorn_ht_probe(&library, result.get(), keys.get(), positions.get(), &of.table_, vornenc_hash, &aux_);
    is_done_ = code == VORN_RESULT_DONE;
    if (!is_done_)
      expect(code, VORN_RESULT_PROBE_FULL, "probing a hash table");
    const uint32_t found = result.get()->vorn_cv_nrows;
    if (found != 0)
      return room_.first(found);
    // All candidates of a position come in one call, and there are more candidates than room.
    if (!is_done_)
      room_ = memory_.take<candidate>(2 * room_.size());
  }
  return {};
}

bloom_map::bloom_map(uint64_t keys) : bits_(vornenc_bloom_bits(keys)), map_(vornenc_bloom_bytes(bits_)) {}

void bloom_map::add(std::span<const uint64_t> hashes) {
  expect_encoded(vornenc_bloom_add(map_.data(), map_.size(), hashes.data(), hashes.size(), bits_));
}

std::span<const uint32_t> bloom_map::test(const vorn_ctx &library, std::span<const uint64_t> hashes,
                                          arena &memory) const {
  const std::span<uint32_t> tested = memory.take<uint32_t>(hashes.size());
  expect_encoded(vornenc_bloom_keys(tested.data(), tested.size_bytes(), hashes.data(), hashes.size()));
  const std::span<uint64_t> bits = memory.take<uint64_t>((hashes.size() + 63) / 64);
  std::fill(bits.begin(), bits.end(), 0);
  row_vector source(vorn_build_encoding_type_hash_values, tested.data(), nullptr, tested.size());
  source.context().vorn_enc_ctx_width = 32;
  vorn_enc_ctx encoding{};
  vorn_cv filter{};
  vornenc_build_bloom(&filter, &encoding, map_.data(), bits_);
  uint32_t first_and_last[2];
  vornenc_vector output{};
  output.vals = first_and_last;
  output.bits = bits.data();
  output.nrows = static_cast<uint32_t>(hashes.size());
  vorn_cv result{};
  vornenc_build_vector(&result, &output);
  const uint32_t code = vorn_bloom(&library, &result, source.get(), &filter, nullptr);
  if (code != VORN_RESULT_EMPTY)
    expect(code, VORN_RESULT_DONE, "the test against a bloom map");
  const std::span<uint32_t> passed = memory.take<uint32_t>(result.vorn_cv_popc);
  vorn_lbiwv_ictx iterator{};
  vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator, bits.data(), hashes.size(), 0, 0);
  if (!passed.empty())
    vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, passed.data(), result.vorn_cv_popc);
  return passed;
}

} // namespace store::exec
