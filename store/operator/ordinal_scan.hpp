// The rows of a row group whose ordinals in one column are in a set, by the kernels of the library.
#pragma once

#include <cstdint>
#include <string>

#include "store/chunk/arena.hpp"
#include "store/encode/column.hpp"
#include "store/operator/ordinal_ranges.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store::exec {

// Threads may use it at once.
class ordinal_scan {
public:
  // The column, which is not stored as prefix, outlives this.
  ordinal_scan(const column &on, ordinal_ranges accepted);

  const column &on() const { return *on_; }
  const ordinal_ranges &accepted() const { return accepted_; }

  // What the zone of a row group tells without a look at the rows.
  ordinal_ranges::coverage covers(const batch &rows) const;
  // The share of rows that are accepted, if all values were equally frequent.
  double selectivity() const;
  // Cycles per row, roughly.
  double cost() const;
  // The question in words: "= 3", "in 12 ranges".
  std::string description() const;

  // Sets the bits of the accepted rows among those of a filter, or among all rows where it is null.  Returns how many
  // they are.
  uint32_t run(const vorn_ctx &library, const batch &rows, const uint64_t *filter, uint32_t filter_count, uint64_t *out,
               arena &memory) const;

  // More ranges of a column without a dictionary take more calls of the library than they are worth.
  static constexpr size_t most_ranges = 8;

private:
  enum class question { equal, not_equal, at_least, at_most, between, set };

  uint32_t ask(const vorn_ctx &library, const batch &rows, const uint64_t *filter, uint32_t filter_count,
               const ordinal_range &range, uint64_t *out, arena &memory) const;

  const column *on_;
  ordinal_ranges accepted_;
  question asked_ = question::set;
  bool knows_nulls_ = false;
  vorn_host::aligned_vector<uint64_t> members_; // of a set: a bit for each code
};

} // namespace store::exec
