// Random rows, bits and numbers that hit the borders of what is tested; and what decides for a fuzzer.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <random>
#include <span>
#include <string_view>
#include <vector>

namespace vorn_test {

// While a fuzzer runs a test its input makes the choices: generators take its bytes, a loop over each() takes one turn.
// Behind the end of the input come numbers that follow from all of it.
class choices {
public:
  bool made_by_input() const { return by_input_; }
  void make_by(std::span<const uint8_t> input) {
    by_input_ = true;
    input_ = input;
    behind_.seed(std::hash<std::string_view>()({reinterpret_cast<const char *>(input.data()), input.size()}));
  }
  // A number below a limit, which takes no more bytes than it needs; 0 for any number.
  uint64_t next(uint64_t limit) {
    const size_t bytes = static_cast<size_t>(std::bit_width(limit - 1) + 7) / 8;
    uint64_t number = bytes > input_.size() ? behind_() : 0;
    if (bytes <= input_.size() && bytes != 0)
      std::memcpy(&number, input_.data(), bytes);
    input_ = input_.subspan(std::min(bytes, input_.size()));
    return limit == 0 ? number : number % limit;
  }

private:
  bool by_input_ = false;
  std::span<const uint8_t> input_;
  std::mt19937_64 behind_;
};
inline choices chosen;

// The cases of a loop.
template <class Cases>
auto each(const Cases &cases) {
  std::vector all(std::begin(cases), std::end(cases));
  if (chosen.made_by_input() && !all.empty())
    all = {all[chosen.next(all.size())]};
  return all;
}
template <class Case>
std::vector<Case> each(std::initializer_list<Case> cases) {
  return each(std::span(cases.begin(), cases.size()));
}
template <class Number>
std::vector<Number> each_from(Number first, Number last) {
  std::vector<Number> all;
  for (Number number = first; number <= last; ++number)
    all.push_back(number);
  return each(all);
}

class random_source {
public:
  using result_type = uint64_t;
  static constexpr uint64_t min() { return 0; }
  static constexpr uint64_t max() { return UINT64_MAX; }

  explicit random_source(uint64_t seed) : generator_(seed) {}

  uint64_t operator()() { return below(0); }
  uint64_t below(uint64_t limit) {
    return chosen.made_by_input() ? chosen.next(limit) : limit == 0 ? generator_() : generator_() % limit;
  }
  uint64_t up_to(uint64_t top) { return top == UINT64_MAX ? (*this)() : below(top + 1); }
  bool once_in(uint64_t times) { return below(times) == 0; }
  // Whether a long test runs its next case: always, or one time in N if the environment has VORN_TEST_ONE_IN=N.
  bool takes_case() {
    static const char *const one_in = std::getenv("VORN_TEST_ONE_IN");
    return one_in == nullptr || once_in(std::strtoul(one_in, nullptr, 10));
  }
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

private:
  std::mt19937_64 generator_;
};

} // namespace vorn_test
