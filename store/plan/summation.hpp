// Sums by group, in the accumulators of the library.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "store/plan/numbers.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

// Adds `rows` numbers of an encoding to the accumulators of their groups, or to the first one if there are none.
void add_by_group(const vorn_ctx &ctx, vorn_enc_ctx &form, const void *vals, uint32_t rows, const uint32_t *groups,
                  void *accumulators);

// Counts the rows of groups in which a byte is 1.
class group_counts {
public:
  explicit group_counts(const vorn_ctx &ctx);

  void resize(uint32_t groups) { counts_.resize(groups); }
  void add(const uint8_t *bytes, uint32_t rows, const uint32_t *groups);
  uint64_t operator[](uint32_t group) const { return static_cast<uint64_t>(counts_[group]); }

  // Adds the counts of another, whose groups have these numbers here.
  void add(const group_counts &other, std::span<const uint32_t> groups_here);

private:
  const vorn_ctx &ctx_;
  vorn_enc_ctx bytes_form_{};
  vorn_host::aligned_vector<int64_t> counts_;
};

class summation {
public:
  summation(const vorn_ctx &ctx, const number_form &form);

  void resize(uint32_t groups);
  // `groups` is null when all rows are of group 0.
  void add(const numbers &added, const uint32_t *groups);

  // Adds the sums of another, whose groups have these numbers here.  Integers only: sums of reals depend on the order.
  void add(summation &other, std::span<const uint32_t> groups_here);

  double real(uint32_t group) const { return reals_[group]; }
  // Throws store::error when the sum takes more than 128 bits.
  __int128 integer(uint32_t group) const;

  // Rows that are not NULL, unless none can be.
  const group_counts &present() const { return counts_; }
  const number_form &stored_as() const { return form_; }

private:
  void flush();

  const vorn_ctx &ctx_;
  number_form form_;
  vorn_enc_ctx number_encoding_{};
  vorn_host::aligned_vector<double> reals_;
  std::vector<uint32_t> one_group_; // 0 for each row

  // Integers: accumulators for each limb, and what was taken out of them before they could overflow.
  std::array<vorn_host::aligned_vector<int64_t>, 4> sums_;
  std::array<std::vector<__int128>, 4> totals_;
  uint64_t rows_pending_ = 0;

  group_counts counts_;
};

} // namespace store
