// Random rows, bits and numbers that hit the borders of what is tested.
#pragma once

#include <algorithm>
#include <cstring>
#include <random>
#include <span>
#include <vector>

namespace vorn_test {

class random_source : public std::mt19937_64 {
public:
  using std::mt19937_64::mt19937_64;

  uint64_t below(uint64_t limit) { return (*this)() % limit; }
  uint64_t up_to(uint64_t top) { return top == UINT64_MAX ? (*this)() : below(top + 1); }
  bool once_in(uint64_t times) { return below(times) == 0; }
  template <class T, size_t N>
  T one_of(const T (&choices)[N]) {
    return choices[below(N)];
  }

  // No bits, few, half of them, most or all; or so by turns.
  void fill(std::span<uint8_t> bytes) {
    const auto density = below(6);
    for (size_t i = 0; i < bytes.size(); i += 8) {
      const uint64_t a = (*this)(), b = (*this)();
      const uint64_t words[] = {0, a & b & a >> 7 & b >> 9, a, a | b | a >> 7, UINT64_MAX};
      std::memcpy(&bytes[i], &words[density == 5 ? below(5) : density], std::min<size_t>(8, bytes.size() - i));
    }
  }

  // Numbers of any size, few different ones, ascending ones or all alike.
  void draw(std::vector<uint64_t> &numbers, size_t n, uint64_t top) {
    const uint64_t few[] = {0, 1, top, top - 1, up_to(top), up_to(top)}, same = one_of(few);
    const auto shape = below(4);
    numbers.resize(n);
    for (uint64_t &x : numbers)
      x = shape == 0 ? same : shape == 1 ? one_of(few) : up_to(top);
    if (shape == 2)
      std::ranges::sort(numbers);
  }

  // What to compare such numbers with; it may be wider than they are.
  uint64_t bound(const std::vector<uint64_t> &numbers, uint64_t top) {
    const uint64_t row = numbers.empty() ? 0 : numbers[below(numbers.size())];
    return one_of({uint64_t{0}, uint64_t{1}, top, top - 1, row, row, row + 1, row - 1, (*this)()});
  }
};

} // namespace vorn_test
