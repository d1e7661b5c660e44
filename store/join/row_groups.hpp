// The rows of a hash table's entries.
//
// The library keeps equal keys in one chain of buckets and walks all of it to add another, so that a key of n rows
// takes n * n / 18 steps.  A dictionary tells equal keys by their code: such a key becomes one entry, and its rows are
// listed here.  Keys that are stored themselves are not told apart before they are looked up, so each of their rows is
// an entry.
#pragma once

#include <cstdint>
#include <numeric>
#include <vector>

namespace store {

class row_groups {
public:
  // Without codes every row is an entry.
  explicit row_groups(uint64_t codes) : entry_of_code(codes, none) {}

  // Adds the next row, by its code if there are codes.  Is it the first of a new entry?  Entries are numbered in the
  // order of their first rows.
  bool add(uint32_t code) {
    uint64_t &entry = entry_of_code[code];
    const bool is_new = entry == none;
    if (is_new)
      entry = entries++;
    entry_of_row.push_back(entry);
    return is_new;
  }
  bool add() {
    ++entries;
    return true;
  }

  // Ends the adding.
  void finish() {
    if (entries < entry_of_row.size()) {
      ends.assign(entries + 1, 0);
      for (uint64_t entry : entry_of_row)
        ++ends[entry + 1];
      std::partial_sum(ends.begin(), ends.end(), ends.begin());
      rows.resize(entry_of_row.size());
      // ends[entry] is where its next row goes, and at last where its rows end.
      for (uint64_t row = 0; row < rows.size(); ++row)
        rows[ends[entry_of_row[row]]++] = row;
    }
    entry_of_row = {};
    entry_of_code = {};
  }

  // The rows of an entry in ascending order.
  uint64_t count(uint64_t entry) const { return rows.empty() ? 1 : ends[entry] - begin(entry); }
  uint64_t row(uint64_t entry, uint64_t index) const { return rows.empty() ? entry : rows[begin(entry) + index]; }

private:
  static constexpr uint64_t none = ~uint64_t{0};

  uint64_t begin(uint64_t entry) const { return entry == 0 ? 0 : ends[entry - 1]; }

  uint64_t entries = 0;
  std::vector<uint64_t> entry_of_code;
  std::vector<uint64_t> entry_of_row;
  std::vector<uint64_t> ends; // of the rows of an entry
  std::vector<uint64_t> rows; // entry by entry; empty where each entry is one row
};

} // namespace store
