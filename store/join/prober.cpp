#include "store/join/prober.hpp"

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"

namespace store {

prober::prober(const vorn_ctx &ctx, const hash_table &table, const bloom_map *map, const join_settings &settings)
    : ctx_(ctx), table_(table), map_(map), must_test_(settings.bloom.value_or(false)), pairs_(settings.pairs) {}

void prober::open(std::span<const uint64_t> hashes) {
  probed_ = hashes;
  numbered_ = true;
  aux_ = {};
  at_end_ = hashes.empty();
  if (map_ != nullptr && !map_given_up_)
    drop_rows_without_match();
}

void prober::drop_rows_without_match() {
  const std::span<const uint32_t> passed = map_->test(probed_, room_);
  rows_tested_ += probed_.size();
  rows_passed_ += passed.size();
  map_given_up_ = !must_test_ && !is_worth_testing(rows_passed_, rows_tested_);
  passed_hashes_.clear();
  for (uint32_t row : passed)
    passed_hashes_.push_back(probed_[row]);
  // What a pair says of its row is as wide as the values of the table.
  if (table_.shape().has_narrow_values())
    narrow_numbers_.assign(passed.begin(), passed.end());
  else
    wide_numbers_.assign(passed.begin(), passed.end());
  probed_ = passed_hashes_;
  numbered_ = false;
  at_end_ = probed_.empty();
}

std::span<const candidate> prober::next() {
  if (at_end_)
    return {};
  row_vector keys(vorn_build_encoding_type_hash_values, probed_.data(), nullptr, probed_.size());
  row_vector rows = numbered_                            ? row_vector::numbered_from(0)
                    : table_.shape().has_narrow_values() ? row_vector::fixed(32, narrow_numbers_.data(), probed_.size())
                                                         : row_vector::fixed(64, wide_numbers_.data(), probed_.size());
  for (;;) {
    row_vector result(vorn_build_encoding_type_ridvalue, pairs_.data(), nullptr, pairs_.size());
    const uint32_t code =
        vorn_ht_probe(&ctx_, result.get(), keys.get(), rows.get(), table_.record(), vornenc_hash, &aux_);
    at_end_ = code == VORN_RESULT_DONE;
    if (!at_end_)
      expect(code, VORN_RESULT_PROBE_FULL, "probing a hash table");
    const uint32_t found = result.get()->vorn_cv_nrows;
    if (at_end_ || found != 0)
      return std::span(pairs_).first(found);
    // The pairs of a row come in one call, and this one has more than there is room for.
    pairs_.resize(2 * pairs_.size() + 1);
  }
}

} // namespace store
