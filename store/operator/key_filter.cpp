#include "store/operator/key_filter.hpp"

#include <bit>

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
    for (size_t first = 0; first < values.size(); first += 64, ++out) {
      const size_t rows = std::min<size_t>(64, values.size() - first);
      uint64_t word = 0;
      if (rows == 64)
        for (size_t row = 0; row < 64; row += 8) { // a shift by a constant costs least
          uint64_t byte = 0;
#pragma GCC unroll 8
          for (size_t i = 0; i < 8; ++i)
            byte |= uint64_t{contains(values[first + row + i])} << i;
          word |= byte << row;
        }
      else
        for (size_t row = 0; row < rows; ++row)
          word |= uint64_t{contains(values[first + row])} << row;
      if (of.validity != nullptr) {
        const uint64_t valid = of.validity[first / 64];
        word = (word & valid) | (has_null_ ? ~valid & (~uint64_t{0} >> (64 - rows)) : 0);
      }
      *out = word;
    }
  };
  if (of.form == representation::codes)
    tested(of.codes());
  else
    tested(of.int64s());
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
