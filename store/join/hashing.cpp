#include "store/join/hashing.hpp"
#include "store/library/expect.hpp"

namespace store {

void hash_rows(const vorn_ctx &ctx, row_vector &source, uint64_t *out) {
  constexpr uint64_t seed_of_all = 0;
  row_vector seed(vorn_build_encoding_type_hash_values, &seed_of_all, nullptr, 1);
  vorn_cv result{};
  result.vorn_cv_vals = out;
  vorn_aux aux{};
  expect(vorn_hash(&ctx, &result, source.get(), seed.get(), vornenc_hash, &aux), VORN_RESULT_DONE, "hashing");
}

} // namespace store
