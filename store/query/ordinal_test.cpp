#include "store/query/ordinal_test.hpp"

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
  return out;
}

} // namespace

ordinal_test to_ordinals(const condition &c, const column &on) {
  return std::visit([&](const auto &test) { return compare(test, on); }, c.test);
}

} // namespace store
