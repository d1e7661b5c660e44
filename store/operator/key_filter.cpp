#include "store/operator/key_filter.hpp"

#include <bit>

#include "store/chunk/fast_loop.hpp"

namespace store::exec {

void key_filter::finish() {
  size_ = 0;
  for (const uint64_t word : bits_)
    size_ += static_cast<uint64_t>(std::popcount(word));
}

bool key_filter::contains_any(int64_t low, int64_t high) const {
  const int64_t last = static_cast<int64_t>(static_cast<uint64_t>(first_) + values_ - 1);
  low = std::max(low, first_);
  high = std::min(high, last);
  if (values_ == 0 || low > high)
    return false;
  const uint64_t begin = place(low);
  const uint64_t end = place(high);
  uint64_t mask = ~uint64_t{0} << (begin % 64);
  for (uint64_t word = begin / 64; word <= end / 64; ++word, mask = ~uint64_t{0}) {
    if (word == end / 64)
      mask &= ~uint64_t{0} >> (63 - end % 64);
    if ((bits_[word] & mask) != 0)
      return true;
  }
  return false;
}

void key_filter::test(const vector &of, uint64_t *out) const {
  const auto tested = [&](const auto &values) {
    fast_loop([=, at = values.data(), rows = values.size(), bits = bits_.data(), first = first_, last = values_] {
      const auto contained = [=](size_t row) {
        const uint64_t place = std::min(static_cast<uint64_t>(at[row]) - static_cast<uint64_t>(first), last);
        return bits[place / 64] >> (place % 64) & 1;
      };
      for (size_t word = 0; word < rows / 64; ++word) {
        uint64_t found = 0;
        for (size_t row = 0; row < 64; row += 8) { // a shift by a constant costs least
          uint64_t byte = 0;
#pragma GCC unroll 8
          for (size_t i = 0; i < 8; ++i)
            byte |= contained(word * 64 + row + i) << i;
          found |= byte << row;
        }
        out[word] = found;
      }
      if (rows % 64 != 0)
        out[rows / 64] = 0;
      for (size_t row = rows / 64 * 64; row < rows; ++row)
        out[rows / 64] |= contained(row) << (row % 64);
    });
  };
  if (of.form == representation::codes)
    tested(of.codes());
  else
    tested(of.int64s());
  if (of.validity == nullptr)
    return;
  for (size_t word = 0; word < words_of(of.rows); ++word) {
    const uint64_t rows = ~uint64_t{0} >> (word < of.rows / 64 ? 0 : 64 - of.rows % 64);
    out[word] = (out[word] & of.validity[word]) | (has_null_ ? ~of.validity[word] & rows : 0);
  }
}

ordinal_ranges key_filter::ordinals() const {
  ordinal_ranges out;
  for (size_t word = 0; word < bits_.size(); ++word)
    for (uint64_t left = bits_[word]; left != 0; left &= left - 1) {
      const uint64_t code = static_cast<uint64_t>(first_) + word * 64 + static_cast<uint64_t>(std::countr_zero(left));
      out.add(code, code);
    }
  return out;
}

} // namespace store::exec
