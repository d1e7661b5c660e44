// Finds the rows of a row group whose ordinals in one column are in a set, with the kernels of the library.
#pragma once

#include <cstdint>
#include <string>

#include "store/chunk/arena.hpp"
#include "store/encode/column.hpp"
#include "store/operator/ordinal_ranges.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store::exec {

// Several threads may use a scan at once.
class ordinal_scan {
public:
  // The column outlives the scan.  It is not stored as prefix.
  ordinal_scan(const column &on, ordinal_ranges accepted);

  const column &on() const { return *on_; }
  const ordinal_ranges &accepted() const { return accepted_; }

  // Answers from the zone of a segment, without reading its rows.
  ordinal_ranges::coverage covers(const column_segment &rows) const;
  // The share of accepted rows if all values are equally frequent.
  double selectivity() const;
  // Cycles per row, roughly.
  double cost() const;
  // The predicate in words: "= 3", "in 12 ranges".
  std::string description() const;

  // Sets the bits of the accepted rows of a filter, or of all rows if the filter is null.  Returns their number.
  uint32_t run(const vorn_ctx &library, const column_segment &rows, const uint64_t *filter, uint32_t filter_count,
               uint64_t *out, arena &memory) const;

  // The largest number of ranges in a column without a dictionary.  Each range is a call of the library.
  static constexpr size_t most_ranges = 8;

private:
  enum class predicate { equal, not_equal, at_least, at_most, between, set };

  uint32_t run_range(const vorn_ctx &library, const column_segment &rows, const uint64_t *filter, uint32_t filter_count,
                     const ordinal_range &range, uint64_t *out, arena &memory) const;

  const column *on_;
  ordinal_ranges accepted_;
  predicate predicate_ = predicate::set;
  bool knows_nulls_ = false;
  vorn_host::aligned_vector<uint64_t> members_; // of a set: a bit for each code
};

} // namespace store::exec
