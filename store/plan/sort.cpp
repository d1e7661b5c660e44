#include "store/plan/sort.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "store/encode/big_endian.hpp"

namespace store {

namespace {

// What a cell begins with: whole where it has 64 bits, and as SQL compares it, which has -0 equal 0.  NULL is the last.
uint64_t beginning(const cell &c, value_kind kind) {
  constexpr uint64_t last = UINT64_MAX;
  if (const auto *key = std::get_if<int64_t>(&c)) {
    static const int64_t negative_zero = real_key(-0.0);
    const bool is_real = kind == value_kind::single || kind == value_kind::real;
    const int64_t stored = is_real && *key == negative_zero ? real_key(0.0) : *key;
    return static_cast<uint64_t>(stored) ^ uint64_t { 1 } << 63;
  }
  if (std::holds_alternative<std::monostate>(c))
    return last;
  const auto *wide = std::get_if<wide_key>(&c);
  const std::string_view bytes = wide != nullptr ? wide->view() : std::get<std::string_view>(c);
  uint64_t out = 0;
  std::memcpy(&out, bytes.data(), std::min(bytes.size(), sizeof out));
  return big_endian(out);
}

bool is_null(const cell &c) { return std::holds_alternative<std::monostate>(c); }

// Do cells that begin alike differ, and is the first one before the other?
bool is_before(const cell &a, const cell &b, bool descending) {
  if (is_null(a) || is_null(b))
    return !is_null(a) && is_null(b);
  if (std::holds_alternative<int64_t>(a))
    return false;
  return descending ? b < a : a < b;
}

} // namespace

sorted_rows::sorted_rows(std::unique_ptr<row_source> sorted, std::vector<sort_key> by, size_t columns, size_t shown)
    : source(std::move(sorted)), keys(std::move(by)), kept(columns), cells(shown), blocks(shown) {}

void sorted_rows::sort() {
  while (source->next() != 0)
    kept.add(source->rows());
  source = nullptr;
  order.resize(kept.count());
  for (uint64_t row = 0; row < order.size(); ++row)
    order[row].row = row;
  sort(order, 0);
}

// Sorts by one key, and then each part that it does not tell apart by the next.
void sorted_rows::sort(std::span<item> items, size_t key) {
  if (key == keys.size() || items.size() < 2)
    return;
  const auto &[index, kind, descending] = keys[key];
  const std::vector<cell> &column = kept.column(index);
  for (item &i : items) {
    const uint64_t begin = beginning(column[i.row], kind);
    i.begin = descending && !is_null(column[i.row]) ? ~begin : begin;
  }
  const auto precedes = [&, is_descending = descending](const item &a, const item &b) {
    return a.begin != b.begin ? a.begin < b.begin : is_before(column[a.row], column[b.row], is_descending);
  };
  std::sort(items.begin(), items.end(),
            [&](const item &a, const item &b) { return precedes(a, b) || (!precedes(b, a) && a.row < b.row); });
  for (auto begin = items.begin(); begin != items.end();) {
    const auto end = std::find_if(begin, items.end(), [&](const item &i) { return precedes(*begin, i); });
    sort({begin, end}, key + 1);
    begin = end;
  }
}

uint64_t sorted_rows::next() {
  if (source != nullptr)
    sort();
  constexpr size_t most = 4096;
  const size_t count = std::min(order.size() - given, most);
  for (size_t c = 0; c < cells.size(); ++c) {
    cells[c].resize(count);
    for (size_t i = 0; i < count; ++i)
      cells[c][i] = kept.column(c)[order[given + i].row];
    blocks[c] = cells[c];
  }
  given += count;
  return count;
}

} // namespace store
