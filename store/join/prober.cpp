#include "store/join/prober.hpp"

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store {

prober::prober(const vorn_ctx &context, const hash_table &probed_table, const bloom_map *keys,
               const join_settings &settings)
    : ctx(context), table(probed_table), map(keys), must_test(settings.bloom.value_or(false)), pairs(settings.pairs) {}

void prober::open(std::span<const uint64_t> hashes) {
  probed = hashes;
  numbered = true;
  aux = {};
  at_end = hashes.empty();
  if (map != nullptr && !map_given_up)
    drop_rows_without_match();
}

void prober::drop_rows_without_match() {
  const std::span<const uint32_t> passed = map->test(probed, room);
  rows_tested += probed.size();
  rows_passed += passed.size();
  map_given_up = !must_test && !is_worth_testing(rows_passed, rows_tested);
  passed_hashes.clear();
  for (uint32_t row : passed)
    passed_hashes.push_back(probed[row]);
  // What a pair says of its row is as wide as the values of the table.
  if (table.shape().has_narrow_values())
    narrow_numbers.assign(passed.begin(), passed.end());
  else
    wide_numbers.assign(passed.begin(), passed.end());
  probed = passed_hashes;
  numbered = false;
  at_end = probed.empty();
}

std::span<const candidate> prober::next() {
  if (at_end)
    return {};
  row_vector keys(vorn_build_encoding_type_hash_values, probed.data(), nullptr, probed.size());
  row_vector rows = numbered                            ? row_vector::numbered_from(0)
                    : table.shape().has_narrow_values() ? row_vector::fixed(32, narrow_numbers.data(), probed.size())
                                                        : row_vector::fixed(64, wide_numbers.data(), probed.size());
  for (;;) {
    row_vector result(vorn_build_encoding_type_ridvalue, pairs.data(), nullptr, pairs.size());
    const uint32_t code =
        vorn_ht_probe(&ctx, result.get(), keys.get(), rows.get(), table.record(), vorn_host_hash, &aux);
    at_end = code == VORN_RESULT_DONE;
    if (!at_end)
      expect(code, VORN_RESULT_PROBE_FULL, "probing a hash table");
    const uint32_t found = result.get()->vorn_cv_nrows;
    if (at_end || found != 0)
      return std::span(pairs).first(found);
    // The pairs of a row come in one call, and this one has more than there is room for.
    pairs.resize(2 * pairs.size() + 1);
  }
}

} // namespace store
