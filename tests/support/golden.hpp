// Recorded output of the library.  A test writes lines, which have to be those of a file beside it.
// VORN_REWRITE_GOLDEN=1 writes the files instead, and the change of a file shows what a change of the library does.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

namespace vorn_test {

using lines = std::vector<std::string>;

inline void expect_golden(const std::string &path, const lines &found) {
  if (std::getenv("VORN_REWRITE_GOLDEN") != nullptr) {
    std::ofstream out(path);
    for (const std::string &line : found)
      out << line << '\n';
    return;
  }
  std::ifstream in(path);
  lines expected;
  for (std::string line; std::getline(in, line);)
    expected.push_back(line);
  EXPECT_EQ(found, expected) << path;
}

// A line with the value of each number: "width code: 1 0, 2 1".  Neighbours with one value share it: "1-4 0".
template <class Numbers, class Value>
std::string table_of(const std::string &name, const Numbers &numbers, Value value) {
  std::ostringstream line;
  line << name << ':';
  const auto text = [&](auto number) {
    std::ostringstream out;
    if constexpr (std::is_same_v<decltype(value(number)), const char *>)
      out << (value(number) == nullptr ? "none" : value(number));
    else
      out << +value(number);
    return out.str();
  };
  auto first = std::begin(numbers), end = std::end(numbers);
  for (auto at = first; at != end; ++at) {
    const auto next = std::next(at);
    if (next != end && text(*next) == text(*at))
      continue;
    line << (first == std::begin(numbers) ? " " : ", ") << *first;
    if (first != at)
      line << '-' << *at;
    line << ' ' << text(*at);
    first = next;
  }
  return line.str();
}

// The numbers from 0 to a last one, and then others.
inline std::vector<uint32_t> numbers_to(size_t last, std::initializer_list<uint32_t> others = {}) {
  std::vector<uint32_t> all(last + 1);
  std::iota(all.begin(), all.end(), 0U);
  all.insert(all.end(), others);
  return all;
}

} // namespace vorn_test
