// The rows of a join's built side by their keys.
//
// Built rows with equal keys are a group.  A table finds the group of each key of the probed side.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "store/operator/join_keys.hpp"
#include <vorn/vorn.h>

namespace store::exec {

class join_table {
public:
  virtual ~join_table() = default;

  // Keys that are found: their rows, ascending, and the groups.
  struct matches {
    std::span<const uint32_t> rows;
    std::span<const uint32_t> groups;
  };
  // What a thread needs to look keys up.
  class finder {
  public:
    virtual ~finder() = default;
    // The memory is the arena's.
    virtual matches find(const key_batch &keys, arena &memory) = 0;
  };
  virtual std::unique_ptr<finder> begin(const vorn_ctx &library) const = 0;

  // Each group is one row, and the number of the group is the number of the row.
  bool groups_are_rows() const { return ends_.empty(); }
  // The rows of a group in ascending order.
  std::span<const uint32_t> rows_of(uint32_t group) const {
    return std::span(rows_).subspan(ends_[group], ends_[group + 1] - ends_[group]);
  }

  virtual uint64_t bytes() const { return (rows_.size() + ends_.size()) * sizeof(uint32_t); }
  // In the words of EXPLAIN.
  virtual std::string description() const = 0;

protected:
  // From the group of each built row, or no_row for a row that is in none.
  void list_rows(std::span<const uint32_t> group_of_row, size_t groups);

  std::vector<uint32_t> rows_; // group by group
  std::vector<uint32_t> ends_; // a group ends where the next one begins: ends_[group + 1]
};

// The keys of the built side, block by block.
class built_keys {
public:
  built_keys(const key_packing &packing, std::span<const vector> columns, size_t rows)
      : packing_(packing), columns_(columns), rows_(rows) {}

  const key_packing &packing() const { return packing_; }
  size_t rows() const { return rows_; }
  // Calls with the number of the first row and with the keys.
  template <class Take>
  void for_each(arena &memory, const Take &take) const {
    std::vector<vector> block(columns_.size());
    for (size_t first = 0; first < rows_; first += chunk_rows) {
      const arena::mark begun = memory.here();
      const size_t rows = std::min<size_t>(chunk_rows, rows_ - first);
      for (size_t c = 0; c < block.size(); ++c)
        block[c] = store::exec::rows_of(columns_[c], first, rows);
      take(first, packing_.of_built(block, static_cast<uint32_t>(rows), memory));
      memory.rewind(begun);
    }
  }

private:
  const key_packing &packing_;
  std::span<const vector> columns_;
  size_t rows_;
};

// The group of each built row, or no_row.
template <class Find>
std::vector<uint32_t> groups_of_rows(const built_keys &keys, arena &memory, const Find &find) {
  std::vector<uint32_t> out(keys.rows(), no_row);
  keys.for_each(memory, [&](size_t first, const key_batch &some) {
    const join_table::matches found = find(usable_words(some, memory), memory);
    for (size_t i = 0; i < found.rows.size(); ++i)
      out[first + found.rows[i]] = found.groups[i];
  });
  return out;
}

// What is asked of the rows of a group.
enum class group_rows {
  all,
  first // it is enough to know one row, and the first one is given
};

// The table that is best for these keys for a number of rows that are looked up.  It may pack the keys in another way.
// The packing outlives the table.
std::unique_ptr<const join_table> make_join_table(const vorn_ctx &library, key_packing &packing,
                                                  std::span<const vector> columns, size_t rows, group_rows asked,
                                                  double probed_rows, arena &memory);

// Keys of one word below a small range: the word is a position in an array.
std::unique_ptr<const join_table> make_array_table(const built_keys &keys, group_rows asked, arena &memory);
// Keys of one word below a range that is larger: a bit for each word, and the number of bits before it.
std::unique_ptr<const join_table> make_bitmap_table(const built_keys &keys, group_rows asked, arena &memory);
// Keys whose first word is a column alone: a bitmap of this column, and for each of its values a short list of keys.
// Nothing where a list would be long.
std::unique_ptr<const join_table> make_list_table(const built_keys &keys, group_rows asked, arena &memory);
// All others: the library's hash table.
std::unique_ptr<const join_table> make_hash_join_table(const vorn_ctx &library, const built_keys &keys,
                                                       group_rows asked, arena &memory);

} // namespace store::exec
