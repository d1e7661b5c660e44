// Sets of ordinals of a stored column, as ranges.
//
// A condition over one column selects a set of its ordinals: codes of a dictionary, or keys minus the smallest key.
// Code 0 of a dictionary with NULL is NULL.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace store::exec {

struct ordinal_range {
  uint64_t first;
  uint64_t last;

  friend bool operator==(const ordinal_range &, const ordinal_range &) = default;
};

// Ascending ranges with a gap between any two.
class ordinal_ranges {
public:
  ordinal_ranges() = default;
  ordinal_ranges(uint64_t first, uint64_t last) { add(first, last); }
  // The ranges may have any order and may overlap.
  static ordinal_ranges united(std::vector<ordinal_range> ranges);

  // Appends a range after all ranges.  Appends nothing when `last` is below `first`.
  void add(uint64_t first, uint64_t last);

  bool empty() const { return ranges_.empty(); }
  std::span<const ordinal_range> ranges() const { return ranges_; }
  uint64_t size() const; // ordinals
  bool contains(uint64_t ordinal) const;
  // The number of ordinals from low to high in the set.
  enum class coverage { none, some, all };
  coverage covers(uint64_t low, uint64_t high) const;

  ordinal_ranges united_with(const ordinal_ranges &other) const;
  ordinal_ranges intersected_with(const ordinal_ranges &other) const;
  // The ordinals from first to last that are not in the set.  The set has only ordinals from first to last.
  ordinal_ranges complement(uint64_t first, uint64_t last) const;

  friend bool operator==(const ordinal_ranges &, const ordinal_ranges &) = default;

private:
  // The first range that does not end before an ordinal.
  std::vector<ordinal_range>::const_iterator find(uint64_t ordinal) const;

  std::vector<ordinal_range> ranges_;
};

} // namespace store::exec
