#include "store/operator/hash_values.hpp"

#include <algorithm>

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include <vorn/encode.h>

namespace store::exec {

namespace {

// One seed is the seed of all rows.
std::span<const uint64_t> hashed(const vorn_ctx &library, row_vector source, std::span<const uint64_t> seeds,
                                 size_t rows, arena &memory) {
  const std::span<uint64_t> out = memory.take<uint64_t>(rows);
  row_vector seed(vorn_build_encoding_type_hash_values, seeds.data(), nullptr, seeds.size());
  vorn_cv result{};
  result.vorn_cv_vals = out.data();
  vorn_aux aux{};
  expect(vorn_hash(&library, &result, source.get(), seed.get(), vornenc_hash, &aux), VORN_RESULT_DONE, "hashing");
  return out;
}

} // namespace

std::span<const uint64_t> hash_values(const vorn_ctx &library, uint32_t rows,
                                      std::span<const std::span<const uint64_t>> words,
                                      std::span<const std::span<const std::string_view>> texts, arena &memory) {
  constexpr uint64_t first_seed = 0;
  std::span<const uint64_t> out(&first_seed, 1);
  for (const std::span<const uint64_t> some : words)
    out = hashed(library, row_vector::fixed(64, some.data(), rows), out, rows, memory);
  for (const std::span<const std::string_view> some : texts) {
    const std::span<const char *> starts = memory.take<const char *>(rows);
    const std::span<uint16_t> lengths = memory.take<uint16_t>(rows);
    constexpr size_t most_hashed = 65535;
    for (size_t row = 0; row < rows; ++row) {
      starts[row] = some[row].data();
      lengths[row] = static_cast<uint16_t>(std::min(some[row].size(), most_hashed));
    }
    out = hashed(library, {vorn_build_encoding_type_lp_sep, starts.data(), lengths.data(), rows}, out, rows, memory);
  }
  return out;
}

std::span<const uint64_t> hash_values(const vorn_ctx &library, std::span<const uint64_t> words,
                                      std::span<const uint64_t> seeds, arena &memory) {
  return hashed(library, row_vector::fixed(64, words.data(), words.size()), seeds, words.size(), memory);
}

} // namespace store::exec
