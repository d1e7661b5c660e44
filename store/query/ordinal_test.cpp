#include "store/query/ordinal_test.hpp"

#include <algorithm>
#include <limits>

namespace store {

namespace {

// NULL matches nothing, so the comparisons with the smallest value take all values or none.
ordinal_comparison all_of(const column &on) { return {comparison::ge, on.first_ordinal()}; }
ordinal_comparison none_of(const column &on) { return {comparison::lt, on.first_ordinal()}; }

ordinal_test compare(const comparison_test &test, const column &on) {
  const auto [ordinal, found, above_all] = on.find(parse_value(on.kind, test.value));
  if (found)
    return ordinal_comparison{test.op, ordinal};
  switch (test.op) {
  case comparison::eq:
    return none_of(on);
  case comparison::ne:
    return all_of(on);
  case comparison::lt:
  case comparison::le:
    return above_all ? all_of(on) : ordinal_comparison{comparison::lt, ordinal};
  case comparison::gt:
  case comparison::ge:
    return above_all ? none_of(on) : ordinal_comparison{comparison::ge, ordinal};
  }
  return none_of(on);
}

ordinal_test compare(const interval_test &test, const column &on) {
  const column::place low = on.find(parse_value(on.kind, test.low));
  const column::place high = on.find(parse_value(on.kind, test.high));
  if (low.above_all)
    return none_of(on);
  // A missing bound moves to the next larger value: from there on above, short of it below.
  const bool with_low = !low.found || includes_low(test.form);
  if (high.above_all)
    return ordinal_interval{interval_of(with_low, true), low.ordinal, on.last_ordinal()};
  return ordinal_interval{interval_of(with_low, high.found && includes_high(test.form)), low.ordinal, high.ordinal};
}

ordinal_test compare(const set_test &test, const column &on) {
  ordinal_set out;
  for (const std::string &value : test.values)
    if (const column::place place = on.find(parse_value(on.kind, value)); place.found)
      out.members.push_back(place.ordinal);
  std::sort(out.members.begin(), out.members.end());
  out.members.erase(std::unique(out.members.begin(), out.members.end()), out.members.end());
  return out;
}

// Ordinals first to last; none when first is the larger one.
coverage coverage_of_range(uint64_t first, uint64_t last, const zone &held) {
  if (first > last || first > held.high || last < held.low)
    return coverage::none;
  return first <= held.low && held.high <= last ? coverage::all : coverage::some;
}

constexpr uint64_t largest = std::numeric_limits<uint64_t>::max();

coverage coverage_of_values(const ordinal_comparison &test, const zone &held) {
  const uint64_t ordinal = test.ordinal;
  switch (test.op) {
  case comparison::eq:
    return coverage_of_range(ordinal, ordinal, held);
  case comparison::ne: {
    const coverage equal = coverage_of_range(ordinal, ordinal, held);
    return equal == coverage::none ? coverage::all : equal == coverage::all ? coverage::none : coverage::some;
  }
  case comparison::lt:
    return ordinal == 0 ? coverage::none : coverage_of_range(0, ordinal - 1, held);
  case comparison::le:
    return coverage_of_range(0, ordinal, held);
  case comparison::gt:
    return ordinal == largest ? coverage::none : coverage_of_range(ordinal + 1, largest, held);
  case comparison::ge:
    break;
  }
  return coverage_of_range(ordinal, largest, held);
}

coverage coverage_of_values(const ordinal_interval &test, const zone &held) {
  const bool with_low = includes_low(test.form);
  const bool with_high = includes_high(test.form);
  if ((!with_low && test.low == largest) || (!with_high && test.high == 0))
    return coverage::none;
  return coverage_of_range(test.low + (with_low ? 0 : 1), test.high - (with_high ? 0 : 1), held);
}

coverage coverage_of_values(const ordinal_set &test, const zone &held) {
  const auto first = std::lower_bound(test.members.begin(), test.members.end(), held.low);
  const auto last = std::upper_bound(first, test.members.end(), held.high);
  if (first == last)
    return coverage::none;
  return static_cast<uint64_t>(last - first) - 1 == held.high - held.low ? coverage::all : coverage::some;
}

} // namespace

ordinal_test to_ordinals(const condition &c, const column &on) {
  return std::visit([&](const auto &test) { return compare(test, on); }, c.test);
}

coverage coverage_of(const ordinal_test &test, const zone &held) {
  if (!held.has_values())
    return coverage::none;
  const coverage values = std::visit([&](const auto &t) { return coverage_of_values(t, held); }, test);
  return values == coverage::all && held.nulls != 0 ? coverage::some : values;
}

} // namespace store
