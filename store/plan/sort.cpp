#include "store/plan/sort.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/encode/big_endian.hpp"

namespace store {

namespace {

bool is_null(const cell &c) { return std::holds_alternative<std::monostate>(c); }

// What a cell begins with, as a number that orders as it does, and whether that is all of it.
struct beginning {
  uint64_t number;
  bool is_whole;
};

beginning beginning_of(std::string_view bytes) {
  // Seven bytes and the length, since bytes that are not there are told from zeros by it.
  constexpr size_t room = 7;
  uint64_t number = 0;
  if (!bytes.empty())
    std::memcpy(&number, bytes.data(), std::min(bytes.size(), room));
  return {big_endian(number) | std::min(bytes.size(), room + 1), bytes.size() <= room};
}

beginning beginning_of(const cell &c, const sort_key &key) {
  // NULL is the last, in whatever direction; another cell that begins so is told from it by a look at it.
  constexpr uint64_t last = UINT64_MAX;
  if (is_null(c))
    return {last, true};
  beginning out{};
  if (const auto *number = std::get_if<int64_t>(&c)) {
    static const int64_t negative_zero = real_key(-0.0); // equals 0
    const bool is_real = key.kind == value_kind::single || key.kind == value_kind::real;
    const int64_t stored = is_real && *number == negative_zero ? real_key(0.0) : *number;
    out = {static_cast<uint64_t>(stored) ^ uint64_t{1} << 63, true};
  } else {
    const auto *wide = std::get_if<wide_key>(&c);
    out = beginning_of(wide != nullptr ? wide->view() : std::get<std::string_view>(c));
  }
  if (key.descending)
    out.number = ~out.number;
  return {out.number, out.is_whole && out.number != last};
}

// Of cells that begin alike: is one before the other?
bool is_before(const cell &a, const cell &b, bool descending) {
  if (is_null(a) || is_null(b))
    return !is_null(a);
  if (std::holds_alternative<int64_t>(a))
    return false;
  return descending ? b < a : a < b;
}

} // namespace

sorted_rows::sorted_rows(std::unique_ptr<row_source> source, std::vector<sort_key> keys, size_t columns, size_t shown)
    : source_(std::move(source)), keys_(std::move(keys)), kept_(columns), cells_(shown), blocks_(shown) {}

void sorted_rows::sort() {
  while (source_->next() != 0)
    kept_.add(source_->rows());
  source_ = nullptr;
  order_.resize(kept_.count());
  for (uint64_t row = 0; row < order_.size(); ++row)
    order_[row].row = row;
  sort(order_, 0);
}

// Sorts by one key, and then each part that it does not tell apart by the next.
void sorted_rows::sort(std::span<item> items, size_t index) {
  if (index == keys_.size() || items.size() < 2)
    return;
  const sort_key &key = keys_[index];
  const std::vector<cell> &column = kept_.column(key.column);
  bool are_whole = true;
  for (item &i : items) {
    const beginning begin = beginning_of(column[i.row], key);
    i.begin = begin.number;
    are_whole = are_whole && begin.is_whole;
  }
  const auto precedes = [&](const item &a, const item &b) {
    if (a.begin != b.begin || are_whole)
      return a.begin < b.begin;
    return is_before(column[a.row], column[b.row], key.descending);
  };
  // Rows of a part are in their order, which is kept.
  if (are_whole)
    std::sort(items.begin(), items.end(),
              [](const item &a, const item &b) { return a.begin != b.begin ? a.begin < b.begin : a.row < b.row; });
  else
    std::stable_sort(items.begin(), items.end(), precedes);
  for (auto begin = items.begin(); begin != items.end();) {
    const auto end = std::find_if(begin, items.end(), [&](const item &i) { return precedes(*begin, i); });
    sort({begin, end}, index + 1);
    begin = end;
  }
}

uint64_t sorted_rows::next() {
  if (source_ != nullptr)
    sort();
  constexpr size_t most = 4096;
  const size_t count = std::min(order_.size() - given_, most);
  for (size_t c = 0; c < cells_.size(); ++c) {
    cells_[c].resize(count);
    for (size_t i = 0; i < count; ++i)
      cells_[c][i] = kept_.column(c)[order_[given_ + i].row];
    blocks_[c] = cells_[c];
  }
  given_ += count;
  return count;
}

} // namespace store
