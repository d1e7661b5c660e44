// The table of a join for keys of several columns.  One column has numbers of a small range.
#include <algorithm>
#include <numeric>

#include <fmt/format.h>

#include "store/operator/join_table.hpp"
#include "store/operator/ranked_bitmap.hpp"

namespace store::exec {

namespace {

// A bitmap numbers the values of the first column.  Each value has a list of keys.  A look-up compares the keys of a
// list one by one.
class list_table final : public join_table {
public:
  list_table(const built_keys &keys, arena &memory)
      : words_(keys.packing().words() - 1), texts_(keys.packing().texts()), firsts_(keys.packing().first_range()) {
    keys.for_each(memory, [&](size_t, const key_batch &some) {
      const usable_words words(some, memory);
      for (size_t row = 0; row < words.size(); ++row)
        if (words[row] < firsts_.range())
          firsts_.add(words[row]);
    });
    firsts_.finish();
    const auto first_of_row = groups_of_rows(keys, memory, [&](const usable_words &words, arena &room) -> matches {
      const auto [rows, ranks] = firsts_.find(words, room);
      return {rows, ranks};
    });
    list_rows(first_of_row, firsts_.size());
  }

  // A look-up compares at most as many keys as a list has rows.
  bool has_short_lists() const {
    constexpr double short_list = 64;
    double met = 0;
    for (size_t first = 0; first < firsts_.size(); ++first) {
      const double rows = ends_[first + 1] - ends_[first];
      met += rows * rows;
    }
    return met <= short_list * static_cast<double>(rows_.size());
  }

  void make_lists(const built_keys &keys, group_rows wanted, arena &memory) {
    keys.for_each(memory, [&](size_t, const key_batch &some) {
      for (size_t w = 0; w < words_.size(); ++w)
        words_[w].insert(words_[w].end(), some.words[w + 1].begin(), some.words[w + 1].end());
      for (size_t t = 0; t < texts_.size(); ++t)
        texts_[t].insert(texts_[t].end(), some.texts[t].begin(), some.texts[t].end());
    });
    for (size_t first = 0; first < firsts_.size(); ++first)
      sort_list(std::span(rows_).subspan(ends_[first], ends_[first + 1] - ends_[first]));
    make_groups(wanted);
  }

  std::unique_ptr<finder> begin(const vorn_ctx &) const override { return std::make_unique<list_finder>(*this); }
  uint64_t bytes() const override {
    return join_table::bytes() + firsts_.bytes() + list_ends_.size() * sizeof(uint32_t) +
           records_.size() * sizeof(uint64_t) + record_texts_.size() * sizeof(std::string_view);
  }
  std::string description() const override {
    return fmt::format("bitmap of {} keys of a column, lists of {} keys", firsts_.range(), list_ends_.back());
  }

private:
  class list_finder final : public finder {
  public:
    explicit list_finder(const list_table &of) : of_(of) {}
    matches find(const key_batch &keys, arena &memory) override {
      const auto [rows, firsts] = of_.firsts_.find(usable_words(keys, memory), memory);
      const std::span<uint32_t> found = memory.take<uint32_t>(rows.size());
      const std::span<uint32_t> groups = memory.take<uint32_t>(rows.size());
      size_t count = 0;
      for (size_t i = 0; i < rows.size(); ++i)
        for (size_t entry = of_.list_ends_[firsts[i]]; entry < of_.list_ends_[firsts[i] + 1]; ++entry)
          if (of_.is_equal(entry, keys, rows[i])) {
            found[count] = rows[i];
            groups[count++] = of_.group(entry);
            break;
          }
      return {found.first(count), groups.first(count)};
    }

  private:
    const list_table &of_;
  };

  size_t record_words() const { return words_.size() + 1; }
  uint32_t group(size_t entry) const { return static_cast<uint32_t>(records_[(entry + 1) * record_words() - 1]); }
  bool is_equal(size_t entry, const key_batch &keys, size_t row) const {
    const uint64_t *record = &records_[entry * record_words()];
    for (size_t w = 0; w < words_.size(); ++w)
      if (record[w] != keys.words[w + 1][row])
        return false;
    for (size_t t = 0; t < texts_.size(); ++t)
      if (record_texts_[entry * texts_.size() + t] != keys.texts[t][row])
        return false;
    return true;
  }

  bool are_equal(uint32_t a, uint32_t b) const {
    const auto same = [&](const auto &column) { return column[a] == column[b]; };
    return std::all_of(words_.begin(), words_.end(), same) && std::all_of(texts_.begin(), texts_.end(), same);
  }

  // Sorts by key.  Rows with equal keys keep their order.
  void sort_list(std::span<uint32_t> rows) const {
    if (rows.size() < 2)
      return;
    std::sort(rows.begin(), rows.end(), [&](uint32_t a, uint32_t b) {
      for (const std::vector<uint64_t> &word : words_)
        if (word[a] != word[b])
          return word[a] < word[b];
      for (const std::vector<std::string_view> &text : texts_)
        if (text[a] != text[b])
          return text[a] < text[b];
      return a < b;
    });
  }

  // Makes the lists of keys, each with its group, from the sorted lists of rows.
  void make_groups(group_rows wanted) {
    std::vector<uint32_t> group_ends = {0};
    std::vector<uint32_t> rows;
    list_ends_ = {0};
    for (size_t first = 0; first < firsts_.size(); ++first) {
      for (size_t i = ends_[first]; i < ends_[first + 1];) {
        const uint32_t of_group = rows_[i];
        add_record(of_group);
        rows.push_back(of_group);
        for (++i; i < ends_[first + 1] && are_equal(rows_[i], of_group); ++i)
          if (wanted == group_rows::all)
            rows.push_back(rows_[i]);
        group_ends.push_back(static_cast<uint32_t>(rows.size()));
      }
      list_ends_.push_back(static_cast<uint32_t>(group_ends.size() - 1));
    }
    rows_.swap(rows);
    ends_.swap(group_ends);
    // The number of a group of one row is the number of the row.
    const bool are_rows = rows_.size() + 1 == ends_.size();
    for (size_t entry = 0; entry + 1 < ends_.size(); ++entry)
      records_[(entry + 1) * record_words() - 1] = are_rows ? rows_[entry] : entry;
    if (are_rows) {
      rows_.clear();
      ends_.clear();
    }
    for (std::vector<uint64_t> &word : words_)
      word = {};
    for (std::vector<std::string_view> &text : texts_)
      text = {};
  }

  void add_record(uint32_t row) {
    for (const std::vector<uint64_t> &word : words_)
      records_.push_back(word[row]);
    records_.push_back(0); // the group
    for (const std::vector<std::string_view> &text : texts_)
      record_texts_.push_back(text[row]);
  }

  // The keys of the rows without their first column, while the table is made.
  std::vector<std::vector<uint64_t>> words_;
  std::vector<std::vector<std::string_view>> texts_;

  ranked_bitmap firsts_;
  std::vector<uint32_t> list_ends_; // a list begins where the one before it ends
  // A record for each key of the lists: its words, and the group.  The texts are stored separately.
  std::vector<uint64_t> records_;
  std::vector<std::string_view> record_texts_;
};

} // namespace

std::unique_ptr<const join_table> make_list_table(const built_keys &keys, group_rows wanted, arena &memory) {
  auto made = std::make_unique<list_table>(keys, memory);
  if (!made->has_short_lists())
    return nullptr;
  made->make_lists(keys, wanted, memory);
  return made;
}

} // namespace store::exec
