#include "store/join/bloom_map.hpp"

#include "store/encode/encoded.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store {

bloom_map::bloom_map(const vorn_ctx &ctx, uint64_t keys)
    : ctx_(ctx), bits_(vornenc_bloom_bits(keys)), map_(vornenc_bloom_bytes(bits_)) {}

void bloom_map::add(std::span<const uint64_t> hashes) {
  expect_encoded(vornenc_bloom_add(map_.data(), map_.size(), hashes.data(), hashes.size(), bits_));
}

std::span<const uint32_t> bloom_map::test(std::span<const uint64_t> hashes, room &used) const {
  auto &[tested, bits, passed] = used;
  tested.resize(hashes.size());
  expect_encoded(vornenc_bloom_keys(tested.data(), tested.size() * sizeof(uint32_t), hashes.data(), hashes.size()));
  bits.assign((hashes.size() + 63) / 64, 0);
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
