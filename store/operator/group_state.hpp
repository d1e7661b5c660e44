// The groups of one thread, with their keys and the states of their aggregates.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/aggregation.hpp"
#include "store/operator/group_finder.hpp"

namespace store::exec {

class group_state {
public:
  // `keys` are columns of the rows.  `rows` is an estimate.  A state that will be merged into another state also keeps
  // the distinct values.
  group_state(const aggregation &what, std::span<const size_t> keys, double rows, bool is_merged);

  // Morsels come in ascending order.
  void add(chunk &rows, size_t morsel);

  // Adds the groups of states of all threads.  Groups keep the order of their first rows.
  void merge(std::span<group_state *const> threads);

  size_t groups() const { return finder_.groups(); }
  // The values of all groups, in memory of the state or the arena.
  vector key(size_t index) const { return keys_[index].values(); }
  std::vector<vector> results(arena &memory);

private:
  // The groups that a morsel has added, from `first_group` on.
  struct segment {
    size_t morsel;
    size_t first_group;
  };
  struct distinct_values {
    group_finder finder;
    std::vector<kept_column> pairs; // the group, and the value
  };

  std::span<const uint32_t> numbers_of(std::span<const vector> keys, uint32_t rows, arena &memory);
  grouped_rows grouped(std::span<const uint32_t> numbers, size_t rows, arena &memory) const;
  grouped_rows some_of(const grouped_rows &from, std::span<const uint32_t> rows, arena &memory) const;
  void add_input(size_t input, chunk &rows, const grouped_rows &grouped);
  void add_values(size_t input, grouped_rows rows, vector values, arena &memory);
  void merge_distinct(const group_state &from, std::span<const uint32_t> groups);

  const aggregation &what_;
  std::vector<size_t> key_columns_;
  bool is_merged_;
  bool needs_order_ = false; // of the rows of a group
  group_finder finder_;
  std::vector<kept_column> keys_;
  std::vector<std::unique_ptr<accumulator>> accumulators_;
  std::vector<std::optional<distinct_values>> distinct_; // of the inputs
  std::vector<segment> segments_;
};

} // namespace store::exec
