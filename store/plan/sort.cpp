#include "store/plan/sort.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

namespace store {

namespace {

template <class Value>
int compared(const Value &a, const Value &b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

} // namespace

int order_of(const cell &a, const cell &b, value_kind kind) {
  if (kind == value_kind::single || kind == value_kind::real) {
    static const int64_t negative_zero = real_key(-0.0);
    const auto key = [](const cell &c) {
      const int64_t stored = std::get<int64_t>(c);
      return stored == negative_zero ? real_key(0.0) : stored;
    };
    return compared(key(a), key(b));
  }
  return compared(a, b);
}

sorted_rows::sorted_rows(std::unique_ptr<row_source> sorted, std::vector<sort_key> by, size_t columns, size_t shown)
    : source(std::move(sorted)), keys(std::move(by)), kept(columns), cells(shown), blocks(shown) {}

void sorted_rows::sort() {
  while (source->next() != 0)
    kept.add(source->rows());
  source = nullptr;
  order.resize(kept.count());
  std::iota(order.begin(), order.end(), uint64_t{0});
  std::stable_sort(order.begin(), order.end(), [this](uint64_t a, uint64_t b) { return is_before(a, b); });
}

bool sorted_rows::is_before(uint64_t a, uint64_t b) const {
  for (const sort_key &key : keys) {
    const std::vector<cell> &column = kept.column(key.column);
    const bool a_is_null = std::holds_alternative<std::monostate>(column[a]);
    const bool b_is_null = std::holds_alternative<std::monostate>(column[b]);
    if (a_is_null != b_is_null)
      return b_is_null;
    const int compared = a_is_null ? 0 : order_of(column[a], column[b], key.kind);
    if (compared != 0)
      return (compared < 0) != key.descending;
  }
  return false;
}

uint64_t sorted_rows::next() {
  if (source != nullptr)
    sort();
  constexpr size_t most = 4096;
  const size_t count = std::min(order.size() - given, most);
  for (size_t c = 0; c < cells.size(); ++c) {
    cells[c].resize(count);
    for (size_t i = 0; i < count; ++i)
      cells[c][i] = kept.column(c)[order[given + i]];
    blocks[c] = cells[c];
  }
  given += count;
  return count;
}

} // namespace store
