#include "store/encode/column.hpp"

namespace store {

std::string_view encoding_name(encoding form) {
  static constexpr std::string_view names[] = {"dict", "rle", "fixed", "dynp", "prefix"};
  return names[static_cast<size_t>(form)];
}

uint64_t column::encoded_bytes() const {
  const auto *entries = std::get_if<dictionary>(&values);
  uint64_t bytes = entries ? entries->bytes() : std::holds_alternative<key_range>(values) ? sizeof(key_range) : 0;
  for (const batch &b : batches)
    bytes += sizeof(zone) + b.bytes();
  return bytes;
}

uint64_t column::last_ordinal() const {
  if (const auto *entries = std::get_if<dictionary>(&values))
    return entries->codes() - 1;
  const auto &range = std::get<key_range>(values);
  return static_cast<uint64_t>(range.high) - static_cast<uint64_t>(range.low);
}

cell column::value_of(uint64_t ordinal) const {
  if (const auto *entries = std::get_if<dictionary>(&values))
    return entries->value_of(ordinal, type.kind);
  return static_cast<int64_t>(static_cast<uint64_t>(std::get<key_range>(values).low) + ordinal);
}

column::place column::find(const value_order &order) const {
  const uint64_t smallest = first_ordinal();
  const uint64_t largest = last_ordinal();
  if (rows == 0 || smallest > largest)
    return {true, true, 0, 0};
  place out{order(value_of(largest)) < 0, order(value_of(smallest)) > 0, smallest, largest};
  for (uint64_t high = largest; !out.above_all && out.first < high;) {
    const uint64_t middle = out.first + (high - out.first) / 2;
    if (order(value_of(middle)) < 0)
      out.first = middle + 1;
    else
      high = middle;
  }
  for (uint64_t low = smallest; !out.below_all && low < out.last;) {
    const uint64_t middle = out.last - (out.last - low) / 2;
    if (order(value_of(middle)) > 0)
      out.last = middle - 1;
    else
      low = middle;
  }
  return out;
}

uint64_t column::most_distinct() const {
  if (const auto *entries = std::get_if<dictionary>(&values))
    return entries->size();
  if (const auto *range = std::get_if<key_range>(&values))
    return rows == 0 ? 0
                     : 1 + std::min(rows - 1, static_cast<uint64_t>(range->high) - static_cast<uint64_t>(range->low));
  return rows;
}

} // namespace store
