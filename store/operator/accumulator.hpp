// States of aggregates, one for each group.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "store/operator/grouped_rows.hpp"

namespace store::exec {

enum class accumulation {
  count, // rows
  sum,
  min,
  max,
  first // row, with NULL or not
};

// An accumulator belongs to one thread.
class accumulator {
public:
  virtual ~accumulator() = default;

  virtual void grow(size_t groups) = 0;
  // Does the result depend on the order of the rows of a group?
  virtual bool needs_order() const = 0;
  // No value is NULL, except for the first row.
  virtual void add(const grouped_rows &rows, const vector &values) = 0;
  // Adds the states of another accumulator of the same class.  Its group g is the group groups[g] here.
  virtual void merge(const accumulator &other, std::span<const uint32_t> groups) = 0;

  // The states of all groups.  The state of a group without a row is undefined.  The memory belongs to the accumulator
  // or to the arena.
  virtual vector result(arena &memory) = 0;
};

// `values` is the layout of what is added, and `result` the layout of the sum.
std::unique_ptr<accumulator> make_accumulator(accumulation what, const layout &values, const layout &result);

// An upper bound of the rows of a query.  The fastest scan would need days for them.
inline constexpr __int128 most_rows = __int128{1} << 48;

// The layout of a result.
layout accumulated_layout(accumulation what, const logical::sql_type &type, const layout &values);

} // namespace store::exec
