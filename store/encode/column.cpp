#include "store/encode/column.hpp"

namespace store {

namespace {

// Bytes behind a stream that are readable but not part of it.
uint64_t without_slack(const aligned_vector<uint8_t> &stream) {
  return stream.empty() ? 0 : stream.size() - cache_line;
}

} // namespace

std::string_view encoding_name(encoding form) {
  static constexpr std::string_view names[] = {"dict", "rle", "fixed", "dynp", "prefix"};
  return names[static_cast<size_t>(form)];
}

uint64_t column::encoded_bytes() const {
  const auto *entries = std::get_if<dictionary>(&values);
  uint64_t bytes = entries ? entries->bytes() : std::holds_alternative<key_range>(values) ? sizeof(key_range) : 0;
  for (const batch &b : batches)
    bytes += sizeof(zone) + without_slack(b.stream) + without_slack(b.lens) + b.cla.size() * sizeof(uint32_t);
  return bytes;
}

uint64_t column::last_ordinal() const {
  if (const auto *entries = std::get_if<dictionary>(&values))
    return entries->codes() - 1;
  const auto &range = std::get<key_range>(values);
  return static_cast<uint64_t>(range.high) - static_cast<uint64_t>(range.low);
}

column::place column::find(const value &v) const {
  if (const auto *entries = std::get_if<dictionary>(&values)) {
    const auto [code, found] = entries->find(v);
    return {code, found, code == entries->codes()};
  }
  const auto &range = std::get<key_range>(values);
  const int64_t key = std::get<int64_t>(v);
  if (rows == 0 || key > range.high)
    return {0, false, true};
  if (key < range.low)
    return {0, false, false};
  return {static_cast<uint64_t>(key) - static_cast<uint64_t>(range.low), true, false};
}

} // namespace store
