#include "store/operator/accumulator.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "store/chunk/large_memory.hpp"
#include "store/operator/integer_sum.hpp"

namespace store::exec {

namespace {

class row_count final : public accumulator {
public:
  void grow(size_t groups) override { counts_.resize(groups); }
  bool needs_order() const override { return false; }
  void add(const grouped_rows &rows, const vector &) override {
    fold_unordered(
        rows, std::span(counts_), int64_t{0}, [](size_t) { return 1; },
        [](int64_t &count, int64_t more) { count += more; });
  }
  void merge(const accumulator &other, std::span<const uint32_t> groups) override {
    const auto &from = static_cast<const row_count &>(other);
    for (size_t g = 0; g < groups.size(); ++g)
      counts_[groups[g]] += from.counts_[g];
  }
  vector result(arena &) override { return vector(std::span(counts_)); }

private:
  large_vector<int64_t> counts_;
};

// The sum of doubles in the order of rows, and the least and the greatest value.  A state begins with a neutral value,
// and states are combined like values.
template <class T, class Combine>
class folded final : public accumulator {
public:
  explicit folded(T neutral) : neutral_(neutral) {}

  void grow(size_t groups) override { states_.resize(groups, neutral_); }
  // 0.0 and -0.0 are equal, and the first one is kept.
  bool needs_order() const override { return std::is_same_v<T, double>; }
  void add(const grouped_rows &rows, const vector &values) override {
    const auto value_of = [from = values.values<T>().data()](size_t row) { return from[row]; };
    if constexpr (std::is_same_v<T, double>)
      fold_rows(rows, std::span(states_), value_of, Combine());
    else
      fold_unordered(rows, std::span(states_), neutral_, value_of, Combine());
  }
  void merge(const accumulator &other, std::span<const uint32_t> groups) override {
    const auto &from = static_cast<const folded &>(other);
    for (size_t g = 0; g < groups.size(); ++g)
      Combine()(states_[groups[g]], from.states_[g]);
  }
  vector result(arena &) override {
    // The code of a group without a value must still be a code of the dictionary.
    if constexpr (std::is_same_v<T, uint32_t>)
      std::replace(states_.begin(), states_.end(), std::numeric_limits<T>::max(), T{0});
    return vector(std::span(states_));
  }

private:
  T neutral_;
  large_vector<T> states_;
};

struct added {
  void operator()(double &state, double value) const { state += value; }
};

// NaN equals itself and is above all other values.
template <class T>
bool is_less(const T &a, const T &b) {
  if constexpr (std::is_same_v<T, double>)
    return a < b || (std::isnan(b) && !std::isnan(a));
  else
    return a < b;
}
template <class T>
struct least {
  void operator()(T &state, const T &value) const { state = is_less(value, state) ? value : state; }
};
template <class T>
struct greatest {
  void operator()(T &state, const T &value) const { state = is_less(state, value) ? value : state; }
};

constexpr __int128 greatest_int128 = static_cast<__int128>(~static_cast<unsigned __int128>(0) >> 1);

template <class T>
std::unique_ptr<accumulator> made_extreme(bool is_least) {
  T low = std::numeric_limits<T>::lowest();
  T high = std::numeric_limits<T>::max();
  if constexpr (std::is_same_v<T, double>) {
    low = -std::numeric_limits<double>::infinity();
    high = std::numeric_limits<double>::quiet_NaN();
  } else if constexpr (std::is_same_v<T, __int128>) {
    low = -greatest_int128 - 1;
    high = greatest_int128;
  }
  if (is_least)
    return std::make_unique<folded<T, least<T>>>(high);
  return std::make_unique<folded<T, greatest<T>>>(low);
}

// States that are copies of values, taken one by one: texts, and the first row of a group.
template <class T>
class taken final : public accumulator {
public:
  explicit taken(accumulation what) : what_(what) {}

  void grow(size_t groups) override {
    states_.resize(groups);
    held_.resize(groups, holds::nothing);
  }
  bool needs_order() const override { return false; } // rows always come in their order
  void add(const grouped_rows &rows, const vector &values) override {
    const std::span<const T> from = values.values<T>();
    for (size_t row = 0; row < rows.rows; ++row)
      take(rows.numbers.empty() ? 0 : rows.numbers[row], from[row], values.is_null(row) ? holds::null : holds::value);
  }
  void merge(const accumulator &other, std::span<const uint32_t> groups) override {
    const auto &from = static_cast<const taken &>(other);
    for (size_t g = 0; g < groups.size(); ++g)
      if (from.held_[g] != holds::nothing)
        take(groups[g], from.states_[g], from.held_[g]);
  }
  vector result(arena &memory) override {
    const std::span<T> out = memory.take<T>(states_.size());
    std::copy(states_.begin(), states_.end(), out.begin());
    const std::span<uint64_t> validity = all_valid(memory, states_.size());
    for (size_t g = 0; g < states_.size(); ++g)
      if (held_[g] != holds::value)
        set_null(validity, g);
    return vector(out, validity.data());
  }

private:
  enum class holds : uint8_t { nothing, null, value };
  using state = std::conditional_t<std::is_same_v<T, std::string_view>, std::string, T>;

  void take(uint32_t group, const T &value, holds what) {
    holds &held = held_[group];
    const bool is_first = held == holds::nothing;
    if (!is_first &&
        (what_ == accumulation::first ||
         !(what_ == accumulation::min ? is_less<T>(value, states_[group]) : is_less<T>(states_[group], value))))
      return;
    held = what;
    states_[group] = value;
  }

  accumulation what_;
  std::vector<state> states_;
  std::vector<holds> held_;
};

number_bounds sum_bounds(const number_bounds &values) {
  return {std::min(values.low, values.low * most_rows), std::max(values.high, values.high * most_rows)};
}

} // namespace

std::unique_ptr<accumulator> make_accumulator(accumulation what, const layout &values, const layout &result) {
  switch (what) {
  case accumulation::count:
    return std::make_unique<row_count>();
  case accumulation::sum:
    if (result.form == representation::float64)
      return std::make_unique<folded<double, added>>(0);
    return make_integer_sum(values, result.form);
  default:
    break;
  }
  return with_type(values.form, [&]<class T>(T) -> std::unique_ptr<accumulator> {
    if constexpr (!std::is_same_v<T, std::string_view>)
      if (what != accumulation::first)
        return made_extreme<T>(what == accumulation::min);
    return std::make_unique<taken<T>>(what);
  });
}

layout accumulated_layout(accumulation what, const logical::sql_type &type, const layout &values) {
  layout out;
  out.type = type;
  switch (what) {
  case accumulation::count:
    out.has_nulls = false;
    out.bounds = number_bounds{0, most_rows};
    break;
  case accumulation::sum: {
    out.form = plain_representation(out.held());
    constexpr __int128 largest = greatest_int128 / most_rows;
    if (out.form == representation::float64 || !values.bounds || values.bounds->low < -largest ||
        values.bounds->high > largest)
      break;
    out.bounds = sum_bounds(*values.bounds);
    if (out.bounds->low >= std::numeric_limits<int64_t>::min() &&
        out.bounds->high <= std::numeric_limits<int64_t>::max())
      out.form = representation::int64;
    break;
  }
  default:
    out = values;
    out.type = type;
    break;
  }
  return out;
}

} // namespace store::exec
