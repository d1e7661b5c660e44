// The keys of the built side of a join, as a filter for the rows of the probed side.
//
// The join looks up each row that is left.  With the filter, an operator below the join drops most rows without a
// partner before it reads their other columns.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "store/chunk/vector.hpp"
#include "store/operator/ordinal_ranges.hpp"

namespace store::exec {

// A set of values of a column in the form of its chunks: codes, or integers of 64 bits.  There is a bit for each value
// of a range.
class key_filter {
public:
  // The values first to first + values - 1 may be added.
  key_filter(int64_t first, uint64_t values) : first_(first), values_(values), bits_(values / 64 + 1) {}

  // Only before the filter is shared.
  void add(int64_t value) {
    const uint64_t at = place(value);
    bits_[at / 64] |= uint64_t{1} << (at % 64);
  }
  void add_null() { has_null_ = true; }
  // Counts the values.  Called after the last one was added.
  void finish();

  uint64_t size() const { return size_; }
  bool has_null() const { return has_null_; }
  bool contains(int64_t value) const {
    const uint64_t at = std::min(place(value), values_); // the bit after the last value is never set
    return (bits_[at / 64] >> (at % 64) & 1) != 0;
  }
  // Is any of the values low to high in the set?
  bool contains_any(int64_t low, int64_t high) const;

  // A bit for each row of a vector: is its value in the set?  The bits after the last row are 0.
  void test(const vector &of, uint64_t *out) const;
  // The values as ordinals of a dictionary, if they are codes.
  ordinal_ranges ordinals() const;

private:
  uint64_t place(int64_t value) const { return static_cast<uint64_t>(value) - static_cast<uint64_t>(first_); }

  int64_t first_;
  uint64_t values_;
  uint64_t size_ = 0;
  bool has_null_ = false;
  std::vector<uint64_t> bits_;
};

// A filter of a column of a relation.  The relation may leave out rows whose value is not in the set, but need not.
struct column_filter {
  size_t column = 0;
  std::shared_ptr<const key_filter> keys;
};

} // namespace store::exec
