#include "store/join/bloom_map.hpp"

#include <algorithm>

#include "store/encode/big_endian.hpp"
#include "store/join/sizing.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"

namespace store {

namespace {

// The lower half of a hash value has the tag.  If the map asked it too, a row that passes by chance would find its tag
// in the table as well.
uint32_t asked_of(uint64_t hash) { return static_cast<uint32_t>(hash >> 32); }

} // namespace

bloom_map::bloom_map(const vorn_ctx &ctx, uint64_t keys)
    : ctx_(ctx), mask_(static_cast<uint32_t>((uint64_t{1} << bloom_bits(keys)) - 1)),
      map_((uint64_t{1} << bloom_bits(keys)) / 8) {}

void bloom_map::add(std::span<const uint64_t> hashes) {
  for (uint64_t hash : hashes) {
    const uint32_t bit = asked_of(hash) & mask_;
    map_[bit / 8] = static_cast<uint8_t>(map_[bit / 8] | 1 << (bit % 8));
  }
}

std::span<const uint32_t> bloom_map::test(std::span<const uint64_t> hashes, room &used) const {
  auto &[tested, bits, passed] = used;
  tested.resize(hashes.size());
  std::transform(hashes.begin(), hashes.end(), tested.begin(),
                 [](uint64_t hash) { return big_endian(asked_of(hash)); });
  bits.assign((hashes.size() + 63) / 64, 0);
  row_vector source(vorn_build_encoding_type_hash_values, tested.data(), nullptr, tested.size());
  source.context().vorn_enc_ctx_width = 32;
  vorn_enc_ctx encoding{};
  vorn_add_encoding_type_bloom(&encoding, 0, mask_, 0, 0);
  vorn_cv filter{};
  auto *words = reinterpret_cast<uint64_t *>(only_read(map_.data()));
  vorn_build_vector(&filter, nullptr, nullptr, nullptr, &encoding, nullptr, words, 0, 0, nullptr, 0);
  uint32_t first_and_last[2];
  vorn_cv result{};
  vorn_build_vector(&result, first_and_last, nullptr, nullptr, nullptr, nullptr, bits.data(),
                    static_cast<uint32_t>(hashes.size()), 0, nullptr, 0);
  const uint32_t code = vorn_bloom(&ctx_, &result, source.get(), &filter, nullptr);
  if (code != VORN_RESULT_EMPTY)
    expect(code, VORN_RESULT_DONE, "the test against a bloom map");
  passed.resize(result.vorn_cv_popc);
  vorn_lbiwv_ictx iterator{};
  vorn_global_ctx.vorn_lbiwv_ictx_ini2_dydi(&iterator, bits.data(), hashes.size(), 0, 0);
  if (!passed.empty())
    vorn_global_ctx.vorn_lbiwvones_dydi(&iterator, passed.data(), result.vorn_cv_popc);
  return passed;
}

} // namespace store
