#include "store/plan/summation.hpp"

#include <algorithm>
#include <utility>

#include "store/error.hpp"
#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/library/source_vector.hpp"

namespace store {

void add_by_group(const vorn_ctx &ctx, vorn_enc_ctx &form, const void *vals, uint32_t rows, const uint32_t *groups,
                  void *accumulators) {
  vorn_cv source{};
  vorn_cv keys{};
  vorn_cv result{};
  vorn_build_vector(&source, only_read(vals), nullptr, nullptr, &form, nullptr, nullptr, rows, 0, nullptr, 0);
  vorn_build_vector(&keys, only_read(groups), nullptr, nullptr, nullptr, nullptr, nullptr, rows, 0, nullptr, 0);
  vorn_build_vector(&result, accumulators, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, 0);
  vorn_aux aux{};
  expect(vorn_gby_sum(&ctx, &result, &source, groups == nullptr ? nullptr : &keys, &aux), VORN_RESULT_DONE, "a sum");
}

namespace {

vorn_enc_ctx encoding_of(uint8_t num_type, uint32_t width) {
  vorn_enc_ctx out{};
  out.vorn_enc_ctx_flags = num_type == VORN_NUM_DOUBLE ? VORN_NATIVE : 0;
  out.vorn_enc_ctx_num_type = num_type;
  out.vorn_enc_ctx_width = width;
  return out;
}

} // namespace

group_counts::group_counts(const vorn_ctx &ctx) : ctx_(ctx), bytes_form_(encoding_of(VORN_NUM_DSB, 8)) {}

void group_counts::add(const uint8_t *bytes, uint32_t rows, const uint32_t *groups) {
  add_by_group(ctx_, bytes_form_, bytes, rows, groups, counts_.data());
}

void group_counts::add(const group_counts &other, std::span<const uint32_t> groups_here) {
  for (size_t group = 0; group < other.counts_.size(); ++group)
    counts_[groups_here[group]] += other.counts_[group];
}

summation::summation(const vorn_ctx &ctx, const number_form &form)
    : ctx_(ctx), form_(form), number_encoding_(encoding_of(form_.is_real ? VORN_NUM_DOUBLE : VORN_NUM_DSB, 64)),
      counts_(ctx) {}

void summation::resize(uint32_t groups) {
  if (form_.is_real)
    reals_.resize(groups);
  else
    for (uint32_t limb = 0; limb < form_.limbs; ++limb)
      sums_[limb].resize(groups);
  if (form_.is_nullable)
    counts_.resize(groups);
}

void summation::add(const numbers &added, const uint32_t *groups) {
  const auto rows = static_cast<uint32_t>(added.size());
  if (form_.is_nullable)
    counts_.add(added.present(), rows, groups);
  if (form_.is_real) {
    // Without groups the library would add the sum of these rows to that of those before them, and not row by row.
    one_group_.resize(std::max<size_t>(one_group_.size(), groups == nullptr ? rows : 0));
    add_by_group(ctx_, number_encoding_, added.limb(0), rows, groups == nullptr ? one_group_.data() : groups,
                 reals_.data());
    return;
  }
  constexpr uint64_t largest_sum = uint64_t{1} << 62;
  if ((rows_pending_ + rows) * (form_.largest_limb + 1) > largest_sum)
    flush();
  rows_pending_ += rows;
  for (uint32_t limb = 0; limb < form_.limbs; ++limb)
    add_by_group(ctx_, number_encoding_, added.limb(limb), rows, groups, sums_[limb].data());
}

void summation::flush() {
  for (uint32_t limb = 0; limb < form_.limbs; ++limb) {
    totals_[limb].resize(sums_[limb].size());
    for (size_t group = 0; group < sums_[limb].size(); ++group)
      totals_[limb][group] += std::exchange(sums_[limb][group], 0);
  }
  rows_pending_ = 0;
}

void summation::add(summation &other, std::span<const uint32_t> groups_here) {
  flush();
  other.flush();
  for (uint32_t limb = 0; limb < form_.limbs; ++limb)
    for (size_t group = 0; group < other.totals_[limb].size(); ++group)
      totals_[limb][groups_here[group]] += other.totals_[limb][group];
  if (form_.is_nullable)
    counts_.add(other.counts_, groups_here);
}

__int128 summation::integer(uint32_t group) const {
  __int128 out = 0;
  for (uint32_t limb = form_.limbs; limb-- > 0;) {
    const __int128 sum = sums_[limb][group] + (group < totals_[limb].size() ? totals_[limb][group] : 0);
    if (__builtin_mul_overflow(out, __int128{1} << 32, &out) || __builtin_add_overflow(out, sum, &out))
      throw error("a sum takes more than 128 bits");
  }
  return out;
}

} // namespace store
