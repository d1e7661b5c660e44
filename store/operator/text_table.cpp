#include "store/operator/text_table.hpp"

#include <algorithm>

#include <vorn/encode.h>

namespace store::exec {

void text_table::find(const vector &texts, std::span<uint32_t> numbers) {
  const std::span<const std::string_view> from = texts.texts();
  for (size_t row = 0; row < numbers.size(); ++row)
    numbers[row] = texts.is_null(row) ? 0 : number_of(from[row]);
}

uint32_t text_table::number_of(std::string_view text) {
  const uint64_t hash = vornenc_hash(text.data(), text.size(), 0);
  const size_t mask = slots_.size() - 1;
  size_t at = hash & mask;
  for (; slots_[at].number != 0; at = (at + 1) & mask)
    if (slots_[at].hash == hash && texts_[slots_[at].number - 1] == text)
      return slots_[at].number - 1;
  texts_.push_back(kept(text));
  slots_[at] = {hash, static_cast<uint32_t>(texts_.size())};
  if (texts_.size() * 2 > slots_.size())
    grow();
  return static_cast<uint32_t>(texts_.size() - 1);
}

std::string_view text_table::kept(std::string_view text) {
  constexpr size_t block_bytes = size_t{1} << 16;
  if (text.size() > left_) {
    left_ = std::max(block_bytes, text.size());
    free_ = blocks_.emplace_back(std::make_unique_for_overwrite<char[]>(left_)).get();
  }
  char *const copy = free_;
  std::copy(text.begin(), text.end(), copy);
  free_ += text.size();
  left_ -= text.size();
  return {copy, text.size()};
}

void text_table::grow() {
  zeroed_array<slot> old(slots_.size() * 4);
  std::swap(old, slots_);
  const size_t mask = slots_.size() - 1;
  for (const slot &s : old)
    if (s.number != 0) {
      size_t at = s.hash & mask;
      while (slots_[at].number != 0)
        at = (at + 1) & mask;
      slots_[at] = s;
    }
}

} // namespace store::exec
