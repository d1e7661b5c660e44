// Tables of a join for keys that are numbers of a small range.
#include <bit>

#include <fmt/format.h>

#include "store/operator/join_table.hpp"

namespace store::exec {

namespace {

// Words of keys, counted from `first`.  NULL is a word that is not below the range.
struct usable_words {
  std::span<const uint64_t> words;
  uint64_t first;

  usable_words(const key_batch &keys, arena &memory) : words(keys.words[0]), first(keys.first) {
    if (keys.usable == nullptr)
      return;
    const std::span<uint64_t> out = memory.take<uint64_t>(keys.rows);
    for (size_t row = 0; row < keys.rows; ++row)
      out[row] = (words[row] - first) | ((keys.usable[row / 64] >> (row % 64) & 1) - 1);
    words = out;
    first = 0;
  }
  size_t size() const { return words.size(); }
  uint64_t operator[](size_t row) const { return words[row] - first; }
};

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

// The group of each word, and after the last word no_row.
class array_table final : public join_table {
public:
  array_table(const built_keys &keys, group_rows asked, arena &memory)
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
    if (has_repetitions && asked == group_rows::all)
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

// Groups are numbered in the order of their words.  An entry has the bits of 32 words and the number of groups before
// them, so that a word is looked up in one place.
class bitmap_table final : public join_table {
public:
  bitmap_table(const built_keys &keys, group_rows asked, arena &memory)
      : range_(*keys.packing().range()), entries_(range_ / 32 + 1) {
    bool is_ordered = true; // row by row the words ascend
    uint64_t last = 0;
    uint32_t set = 0;
    keys.for_each(memory, [&](size_t first, const key_batch &some) {
      const usable_words words(some, memory);
      for (size_t row = 0; row < words.size(); ++row) {
        const uint64_t word = words[row];
        is_ordered &= word < range_ && (word > last || first + row == 0);
        last = word;
        if (word < range_)
          entries_[word / 32].bits |= uint32_t{1} << (word % 32);
      }
    });
    for (entry &e : entries_) {
      e.before = set;
      set += ones(e.bits);
    }
    if (!is_ordered)
      map_to_rows(keys, asked, set, memory);
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
    return join_table::bytes() + entries_.size() * sizeof(entry) + row_of_group_.size() * sizeof(uint32_t);
  }
  std::string description() const override { return fmt::format("bitmap of {} keys", range_); }

private:
  struct entry {
    uint32_t bits = 0;
    uint32_t before = 0;
  };

  matches find_groups(const usable_words &words, arena &memory) const {
    const std::span<uint32_t> rows = memory.take<uint32_t>(words.size());
    const std::span<uint64_t> found = memory.take<uint64_t>(words.size());
    const uint64_t range = range_;
    const entry *entries = entries_.data();
    size_t count = 0;
    for (size_t row = 0; row < words.size(); ++row) {
      const uint64_t word = words[row] < range ? words[row] : range;
      rows[count] = static_cast<uint32_t>(row);
      found[count] = word;
      count += entries[word / 32].bits >> (word % 32) & 1;
    }
    const std::span<uint32_t> groups = memory.take<uint32_t>(count);
#ifdef __x86_64__
    if (counts_bits)
      number_groups_by_instruction(found, groups);
    else
#endif
      number_groups(found, groups);
    return {rows.first(count), groups};
  }

  [[gnu::always_inline]] void number_groups(std::span<const uint64_t> words, std::span<uint32_t> groups) const {
    const entry *entries = entries_.data();
    for (size_t i = 0; i < groups.size(); ++i) {
      const entry e = entries[words[i] / 32];
      groups[i] = e.before + ones(e.bits & ((uint32_t{1} << (words[i] % 32)) - 1));
    }
  }
  [[gnu::always_inline]] static uint32_t ones(uint32_t bits) { return static_cast<uint32_t>(std::popcount(bits)); }

#ifdef __x86_64__
  // Twice as fast.  The store is built for processors without the instruction too.
  static inline const bool counts_bits = __builtin_cpu_supports("popcnt") != 0;
  [[gnu::target("popcnt")]] void number_groups_by_instruction(std::span<const uint64_t> words,
                                                              std::span<uint32_t> groups) const {
    number_groups(words, groups);
  }
#endif

  void map_to_rows(const built_keys &keys, group_rows asked, uint32_t groups, arena &memory) {
    const auto group_of_row =
        groups_of_rows(keys, memory, [&](const usable_words &words, arena &room) { return find_groups(words, room); });
    std::vector<uint32_t> first_rows(groups, no_row);
    bool has_repetitions = false;
    for (size_t row = 0; row < group_of_row.size(); ++row)
      if (group_of_row[row] != no_row) {
        uint32_t &known = first_rows[group_of_row[row]];
        has_repetitions |= known != no_row;
        known = std::min(known, static_cast<uint32_t>(row));
      }
    if (has_repetitions && asked == group_rows::all)
      list_rows(group_of_row, groups);
    else
      row_of_group_ = std::move(first_rows);
  }

  uint64_t range_;
  std::vector<entry> entries_;
  std::vector<uint32_t> row_of_group_; // empty where the groups are the rows, or where they have several
};

} // namespace

std::unique_ptr<const join_table> make_array_table(const built_keys &keys, group_rows asked, arena &memory) {
  return std::make_unique<array_table>(keys, asked, memory);
}

std::unique_ptr<const join_table> make_bitmap_table(const built_keys &keys, group_rows asked, arena &memory) {
  return std::make_unique<bitmap_table>(keys, asked, memory);
}

} // namespace store::exec
