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
  explicit row_groups(uint64_t codes) : entry_of_code_(codes, none) {}

  // Adds the next row, by its code if there are codes.  Is it the first of a new entry?  Entries are numbered in the
  // order of their first rows.
  bool add(uint32_t code) {
    uint64_t &entry = entry_of_code_[code];
    const bool is_new = entry == none;
    if (is_new)
      entry = entries_++;
    entry_of_row_.push_back(entry);
    return is_new;
  }
  bool add() {
    ++entries_;
    return true;
  }

  // Ends the adding.
  void finish() {
    if (entries_ < entry_of_row_.size()) {
      ends_.assign(entries_ + 1, 0);
      for (uint64_t entry : entry_of_row_)
        ++ends_[entry + 1];
      std::partial_sum(ends_.begin(), ends_.end(), ends_.begin());
      rows_.resize(entry_of_row_.size());
      // ends[entry] is where its next row goes, and at last where its rows end.
      for (uint64_t row = 0; row < rows_.size(); ++row)
        rows_[ends_[entry_of_row_[row]]++] = row;
    }
    entry_of_row_ = {};
    entry_of_code_ = {};
  }

  // The rows of an entry in ascending order.
  uint64_t count(uint64_t entry) const { return rows_.empty() ? 1 : ends_[entry] - begin(entry); }
  uint64_t row(uint64_t entry, uint64_t index) const { return rows_.empty() ? entry : rows_[begin(entry) + index]; }

private:
  static constexpr uint64_t none = ~uint64_t{0};

  uint64_t begin(uint64_t entry) const { return entry == 0 ? 0 : ends_[entry - 1]; }

  uint64_t entries_ = 0;
  std::vector<uint64_t> entry_of_code_;
  std::vector<uint64_t> entry_of_row_;
  std::vector<uint64_t> ends_; // of the rows of an entry
  std::vector<uint64_t> rows_; // entry by entry; empty where each entry is one row
};

} // namespace store
