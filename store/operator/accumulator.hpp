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

// Of one thread.
class accumulator {
public:
  virtual ~accumulator() = default;

  virtual void grow(size_t groups) = 0;
  // Does the result depend on the order of the rows of a group?
  virtual bool needs_order() const = 0;
  // No value is NULL, except for the first row.
  virtual void add(const grouped_rows &rows, const vector &values) = 0;
  // The states of another one, of the same class, whose groups have other numbers here: group g is groups[g].
  virtual void merge(const accumulator &other, std::span<const uint32_t> groups) = 0;

  // The states of all groups.  Groups without a row have any value.  The memory is the accumulator's or the arena's.
  virtual vector result(arena &memory) = 0;
};

// `values` is the layout of what is added, and `result` the layout of the sum.
std::unique_ptr<accumulator> make_accumulator(accumulation what, const layout &values, const layout &result);

// No query has more rows than this, which is days of the fastest scan.
inline constexpr __int128 most_rows = __int128{1} << 48;

// The layout of a result.
layout accumulated_layout(accumulation what, const logical::sql_type &type, const layout &values);

} // namespace store::exec
