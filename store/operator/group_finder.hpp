// Numbers for the groups of rows: 0, 1, ... in the order in which groups first appear.
//
// The values of a row's key columns are packed into one key of up to 128 bits.  Codes and integers with bounds take as
// little room as their range needs.  Texts, and integers of 128 bits without bounds, are replaced by numbers of their
// own first.  If 128 bits are not enough, the first columns are packed into a key of their own.  The number of this key
// is packed with the next columns.
//
// If the range of keys is small, an array indexed by the key gives the number, otherwise a hash table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/chunk/vector.hpp"

namespace store::exec {

struct found_groups {
  std::span<const uint32_t> numbers;  // the group of each row; empty when all rows are in group 0
  std::span<const uint32_t> new_rows; // the first row of each new group
};

// A finder belongs to one thread.
class group_finder {
public:
  // `rows` is an estimate.
  group_finder(std::span<const layout> columns, double rows);
  ~group_finder();
  group_finder(group_finder &&) noexcept;

  // The memory of the result belongs to the arena.
  found_groups find(std::span<const vector> columns, uint32_t rows, arena &memory);

  // Without columns there is one group, with or without rows.
  size_t groups() const { return groups_; }

  // "by key", "hash table", ... for EXPLAIN.
  std::string method() const;

private:
  class step;
  std::vector<std::unique_ptr<step>> steps_;
  size_t groups_ = 0;
};

// The largest possible number of groups; `unknown` when there is no limit.
double most_groups(std::span<const layout> columns, double unknown);

} // namespace store::exec
