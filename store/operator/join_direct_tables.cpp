// Tables of a join for keys that are numbers of a small range.
#include <fmt/format.h>

#include "store/operator/join_table.hpp"
#include "store/operator/ranked_bitmap.hpp"

namespace store::exec {

namespace {

template <class Table>
class direct_finder final : public join_table::finder {
public:
  explicit direct_finder(const Table &of) : of_(of) {}
  join_table::matches find(const key_batch &keys, arena &memory) override {
    return of_.find(usable_words(keys, memory), memory);
  }

private:
  const Table &of_;
};

// The group of each word, and after the last word no_row.
class array_table final : public join_table {
public:
  array_table(const built_keys &keys, group_rows wanted, arena &memory)
      : range_(*keys.packing().range()), groups_(range_ + 1, no_row) {
    bool has_repetitions = false;
    keys.for_each(memory, [&](size_t first, const key_batch &some) {
      const usable_words words(some, memory);
      for (size_t row = 0; row < words.size(); ++row)
        if (words[row] < range_) {
          uint32_t &known = groups_[words[row]];
          has_repetitions |= known != no_row;
          known = std::min(known, static_cast<uint32_t>(first + row));
        }
    });
    if (has_repetitions && wanted == group_rows::all)
      number_groups(keys, memory);
  }

  matches find(const usable_words &words, arena &memory) const {
    const std::span<uint32_t> rows = memory.take<uint32_t>(words.size());
    const std::span<uint32_t> found = memory.take<uint32_t>(words.size());
    const uint64_t range = range_;
    const uint32_t *groups = groups_.data();
    size_t count = 0;
    for (size_t row = 0; row < words.size(); ++row) {
      const uint64_t word = words[row];
      const uint32_t group = groups[word < range ? word : range];
      rows[count] = static_cast<uint32_t>(row);
      found[count] = group;
      count += group != no_row ? 1 : 0;
    }
    return {rows.first(count), found.first(count)};
  }

  std::unique_ptr<finder> begin(const vorn_ctx &) const override {
    return std::make_unique<direct_finder<array_table>>(*this);
  }
  uint64_t bytes() const override { return join_table::bytes() + groups_.size() * sizeof(uint32_t); }
  std::string description() const override { return fmt::format("array of {} keys", range_); }

private:
  void number_groups(const built_keys &keys, arena &memory) {
    uint32_t groups = 0;
    for (uint32_t &group : groups_)
      if (group != no_row)
        group = groups++;
    const auto group_of_row =
        groups_of_rows(keys, memory, [&](const usable_words &words, arena &room) { return find(words, room); });
    list_rows(group_of_row, groups);
  }

  uint64_t range_;
  std::vector<uint32_t> groups_;
};

// Groups are numbered in the order of their words.
class bitmap_table final : public join_table {
public:
  bitmap_table(const built_keys &keys, group_rows wanted, arena &memory) : words_(*keys.packing().range()) {
    bool is_ordered = true; // the words ascend from row to row
    uint64_t least = 0;     // the next word in this case
    keys.for_each(memory, [&](size_t, const key_batch &some) {
      const usable_words words(some, memory);
      for (size_t row = 0; row < words.size(); ++row) {
        const uint64_t word = words[row];
        is_ordered &= word >= least && word < words_.range();
        least = word + 1;
        if (word < words_.range())
          words_.add(word);
      }
    });
    words_.finish();
    if (!is_ordered)
      map_to_rows(keys, wanted, memory);
  }

  matches find(const usable_words &words, arena &memory) const {
    const matches found = find_groups(words, memory);
    if (row_of_group_.empty())
      return found;
    const std::span<uint32_t> rows = memory.take<uint32_t>(found.groups.size());
    for (size_t i = 0; i < rows.size(); ++i)
      rows[i] = row_of_group_[found.groups[i]];
    return {found.rows, rows};
  }

  std::unique_ptr<finder> begin(const vorn_ctx &) const override {
    return std::make_unique<direct_finder<bitmap_table>>(*this);
  }
  uint64_t bytes() const override {
    return join_table::bytes() + words_.bytes() + row_of_group_.size() * sizeof(uint32_t);
  }
  std::string description() const override { return fmt::format("bitmap of {} keys", words_.range()); }

private:
  matches find_groups(const usable_words &words, arena &memory) const {
    const auto [rows, groups] = words_.find(words, memory);
    return {rows, groups};
  }

  void map_to_rows(const built_keys &keys, group_rows wanted, arena &memory) {
    const auto group_of_row =
        groups_of_rows(keys, memory, [&](const usable_words &words, arena &room) { return find_groups(words, room); });
    std::vector<uint32_t> first_rows(words_.size(), no_row);
    bool has_repetitions = false;
    for (size_t row = 0; row < group_of_row.size(); ++row)
      if (group_of_row[row] != no_row) {
        uint32_t &known = first_rows[group_of_row[row]];
        has_repetitions |= known != no_row;
        known = std::min(known, static_cast<uint32_t>(row));
      }
    if (has_repetitions && wanted == group_rows::all)
      list_rows(group_of_row, words_.size());
    else
      row_of_group_ = std::move(first_rows);
  }

  ranked_bitmap words_;
  std::vector<uint32_t> row_of_group_; // empty if each group is its row, or if groups have several rows
};

} // namespace

std::unique_ptr<const join_table> make_array_table(const built_keys &keys, group_rows wanted, arena &memory) {
  return std::make_unique<array_table>(keys, wanted, memory);
}

std::unique_ptr<const join_table> make_bitmap_table(const built_keys &keys, group_rows wanted, arena &memory) {
  return std::make_unique<bitmap_table>(keys, wanted, memory);
}

} // namespace store::exec
