// The keys of a join's built side, as a filter for the rows that are looked up among them.
//
// A join looks each row up anyway.  With the filter, an operator below leaves out most rows without a partner before it
// reads their other columns.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "store/chunk/vector.hpp"
#include "store/operator/ordinal_ranges.hpp"

namespace store::exec {

// A set of the values of a column as its chunks hold them: codes, or integers in 64 bits.  A bit for each value of a
// range.
class key_filter {
public:
  // The values first to first + values - 1 may be added.
  key_filter(int64_t first, uint64_t values) : first_(first), values_(values), bits_(values / 64 + 1) {}

  // Before the filter is shared.
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
  // The values as ordinals of a dictionary, where they are codes.
  ordinal_ranges ordinals() const;

private:
  uint64_t place(int64_t value) const { return static_cast<uint64_t>(value) - static_cast<uint64_t>(first_); }

  int64_t first_;
  uint64_t values_;
  uint64_t size_ = 0;
  bool has_null_ = false;
  std::vector<uint64_t> bits_;
};

// Of a column of a relation.  Rows whose value is not in the set may be left out or not.
struct column_filter {
  size_t column = 0;
  std::shared_ptr<const key_filter> keys;
};

} // namespace store::exec
