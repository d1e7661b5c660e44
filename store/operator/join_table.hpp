// Tables of the rows of a join's built side, by key.
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

  // The keys that were found: their rows in ascending order, and their groups.
  struct matches {
    std::span<const uint32_t> rows;
    std::span<const uint32_t> groups;
  };
  // The working memory of a thread that looks keys up.
  class finder {
  public:
    virtual ~finder() = default;
    // The memory belongs to the arena.
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
  // A text for EXPLAIN.
  virtual std::string description() const = 0;

protected:
  // Makes the lists from the group of each built row.  A row without a group has no_row.
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
  // Calls a function with the number of the first row and with the keys.
  template <class Take>
  void for_each(arena &memory, const Take &take) const {
    std::vector<vector> block(columns_.size());
    for (size_t first = 0; first < rows_; first += chunk_rows) {
      const arena::mark begun = memory.position();
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

// The rows of a group that a look-up needs.
enum class group_rows {
  all,
  first // only the first row
};

// The best table for these keys and for this number of look-ups.  The function may pack the keys in another way.  The
// packing outlives the table.
std::unique_ptr<const join_table> make_join_table(const vorn_ctx &library, key_packing &packing,
                                                  std::span<const vector> columns, size_t rows, group_rows wanted,
                                                  double probed_rows, arena &memory);

// For keys of one word in a small range.  The word is a position in an array.
std::unique_ptr<const join_table> make_array_table(const built_keys &keys, group_rows wanted, arena &memory);
// For keys of one word in a larger range.  There is a bit for each word, and the number of set bits before it.
std::unique_ptr<const join_table> make_bitmap_table(const built_keys &keys, group_rows wanted, arena &memory);
// For keys whose first word holds one column alone.  There is a bitmap of this column, and for each of its values a
// short list of keys.  Returns null if a list would be long.
std::unique_ptr<const join_table> make_list_table(const built_keys &keys, group_rows wanted, arena &memory);
// For all other keys: the hash table of the library.
std::unique_ptr<const join_table> make_hash_join_table(const vorn_ctx &library, const built_keys &keys,
                                                       group_rows wanted, arena &memory);

} // namespace store::exec
