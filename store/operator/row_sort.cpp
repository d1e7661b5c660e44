#include "store/operator/row_sort.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>

namespace store::exec {

namespace {

constexpr uint32_t digit_bits = 11;
constexpr size_t digits = size_t{1} << digit_bits;
// With fewer items the counts of digits take longer than comparisons.
constexpr size_t least_radix_items = 1024;

// A word and the position of its row.
struct word_item {
  uint64_t word;
  uint32_t place;

  uint64_t key() const { return word; }
  friend bool operator<(const word_item &a, const word_item &b) {
    return a.word < b.word || (a.word == b.word && a.place < b.place);
  }
};

// Both in one number, if they fit.
struct packed_item {
  uint64_t number;

  uint64_t key() const { return number; }
  friend bool operator<(const packed_item &a, const packed_item &b) { return a.number < b.number; }
};

// A radix sort from the least significant digit, by `bits` bits of the key from bit `shift` on.  Digits that are the
// same in all items are skipped.
template <class Item>
void radix_sort(large_vector<Item> &items, uint32_t shift, uint32_t bits) {
  const uint32_t passes = (bits + digit_bits - 1) / digit_bits;
  const auto digit_of = [&](const Item &item, uint32_t pass) {
    return item.key() >> (shift + pass * digit_bits) & (digits - 1);
  };
  std::vector<std::array<uint32_t, digits>> counts(passes);
  for (const Item &item : items)
    for (uint32_t pass = 0; pass < passes; ++pass)
      ++counts[pass][digit_of(item, pass)];
  large_vector<Item> other(items.size());
  for (uint32_t pass = 0; pass < passes; ++pass) {
    std::array<uint32_t, digits> &places = counts[pass];
    if (places[digit_of(items.front(), pass)] == items.size())
      continue;
    std::exclusive_scan(places.begin(), places.end(), places.begin(), 0U);
    for (const Item &item : items)
      other[places[digit_of(item, pass)]++] = item;
    items.swap(other);
  }
}

template <class Item>
void sort_items(large_vector<Item> &items, uint32_t shift, uint32_t bits) {
  if (items.size() < least_radix_items)
    std::sort(items.begin(), items.end());
  else
    radix_sort(items, shift, bits);
}

class row_sorter {
public:
  row_sorter(std::span<const sort_level> levels, const sort_values &values) : levels_(levels), values_(values) {}

  // Rows that are equal in all levels before this one, in ascending order of their numbers.
  void sort(std::span<uint32_t> rows, size_t level) const {
    if (level == levels_.size() || rows.size() < 2)
      return;
    const sort_level &by = levels_[level];
    if (by.is_text)
      sort_texts(rows, by, level);
    else if (by.bits + std::bit_width(rows.size()) <= 64)
      sort_packed(rows, by, level);
    else
      sort_words(rows, by, level);
  }

private:
  // Sorts each run of rows that are equal in a level by the next level.  `differs` compares the rows at two
  // neighbouring positions.
  template <class Differs>
  void sort_equal(std::span<uint32_t> rows, size_t level, const Differs &differs) const {
    if (level + 1 == levels_.size())
      return;
    for (size_t first = 0, place = 1; place <= rows.size(); ++place)
      if (place == rows.size() || differs(place - 1, place)) {
        if (place - first > 1)
          sort(rows.subspan(first, place - first), level + 1);
        first = place;
      }
  }

  void sort_packed(std::span<uint32_t> rows, const sort_level &by, size_t level) const {
    const std::span<const uint64_t> words = values_.words[by.index];
    const auto place_bits = static_cast<uint32_t>(std::bit_width(rows.size()));
    large_vector<packed_item> items(rows.size());
    for (size_t place = 0; place < rows.size(); ++place)
      items[place] = {words[rows[place]] << place_bits | place};
    sort_items(items, place_bits, by.bits);
    move_rows(rows, [&](size_t i) { return items[i].number & ((uint64_t{1} << place_bits) - 1); });
    sort_equal(rows, level,
               [&](size_t a, size_t b) { return items[a].number >> place_bits != items[b].number >> place_bits; });
  }

  void sort_words(std::span<uint32_t> rows, const sort_level &by, size_t level) const {
    const std::span<const uint64_t> words = values_.words[by.index];
    large_vector<word_item> items(rows.size());
    for (size_t place = 0; place < rows.size(); ++place)
      items[place] = {words[rows[place]], static_cast<uint32_t>(place)};
    sort_items(items, 0, by.bits);
    move_rows(rows, [&](size_t i) { return items[i].place; });
    sort_equal(rows, level, [&](size_t a, size_t b) { return items[a].word != items[b].word; });
  }

  void sort_texts(std::span<uint32_t> rows, const sort_level &by, size_t level) const {
    const vector &column = values_.texts[by.index];
    const std::span<const std::string_view> texts = column.texts();
    if (column.is_null(rows.front())) // then all of them are NULL
      return sort(rows, level + 1);
    std::stable_sort(rows.begin(), rows.end(), [&](uint32_t a, uint32_t b) {
      return by.is_descending ? texts[b] < texts[a] : texts[a] < texts[b];
    });
    sort_equal(rows, level, [&](size_t a, size_t b) { return texts[rows[a]] != texts[rows[b]]; });
  }

  template <class PlaceOf>
  static void move_rows(std::span<uint32_t> rows, const PlaceOf &place_of) {
    const large_vector<uint32_t> before(rows.begin(), rows.end());
    for (size_t i = 0; i < rows.size(); ++i)
      rows[i] = before[place_of(i)];
  }

  std::span<const sort_level> levels_;
  const sort_values &values_;
};

} // namespace

large_vector<uint32_t> sorted_rows(std::span<const sort_level> levels, const sort_values &values, size_t rows) {
  large_vector<uint32_t> out(rows);
  std::iota(out.begin(), out.end(), 0U);
  row_sorter(levels, values).sort(out, 0);
  return out;
}

} // namespace store::exec
