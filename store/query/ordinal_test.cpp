#include "store/query/ordinal_test.hpp"

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace store {

namespace {

using tests = std::vector<ordinal_test>;

// NULL matches nothing, so the comparisons with the smallest value take all values or none.
tests all_of(const column &on) { return {ordinal_comparison{comparison::ge, on.first_ordinal()}}; }
tests none_of(const column &on) { return {ordinal_comparison{comparison::lt, on.first_ordinal()}}; }

comparison opposite(comparison op) {
  switch (op) {
  case comparison::eq:
    return comparison::ne;
  case comparison::ne:
    return comparison::eq;
  case comparison::lt:
    return comparison::ge;
  case comparison::le:
    return comparison::gt;
  case comparison::gt:
    return comparison::le;
  case comparison::ge:
    break;
  }
  return comparison::lt;
}

// Ordinals first to last.
struct range {
  uint64_t first;
  uint64_t last;
};

ordinal_test test_of(const range &r) {
  if (r.first == r.last)
    return ordinal_comparison{comparison::eq, r.first};
  return ordinal_interval{interval::closed, r.first, r.last};
}

tests compare(comparison op, const column::place &found, const column &on) {
  const range equal{found.first, found.last};
  switch (op) {
  case comparison::eq:
    return found.found() ? tests{test_of(equal)} : none_of(on);
  case comparison::ne:
    if (!found.found())
      return all_of(on);
    if (equal.first == equal.last)
      return {ordinal_comparison{comparison::ne, equal.first}};
    return {ordinal_comparison{comparison::lt, equal.first}, ordinal_comparison{comparison::gt, equal.last}};
  case comparison::lt:
    return found.above_all ? all_of(on) : tests{ordinal_comparison{op, found.first}};
  case comparison::ge:
    return found.above_all ? none_of(on) : tests{ordinal_comparison{op, found.first}};
  case comparison::le:
    return found.below_all ? none_of(on) : tests{ordinal_comparison{op, found.last}};
  case comparison::gt:
    return found.below_all ? all_of(on) : tests{ordinal_comparison{op, found.last}};
  }
  return none_of(on);
}

// Ascending ranges; those that touch become one.
std::vector<range> merged(std::vector<range> ranges) {
  std::sort(ranges.begin(), ranges.end(), [](const range &a, const range &b) { return a.first < b.first; });
  std::vector<range> out;
  for (const range &r : ranges)
    if (!out.empty() && (r.first <= out.back().last || r.first == out.back().last + 1))
      out.back().last = std::max(out.back().last, r.last);
    else
      out.push_back(r);
  return out;
}

// The ordinals of values that are in none of some merged ranges.
std::vector<range> others(const std::vector<range> &ranges, const column &on) {
  std::vector<range> out;
  uint64_t first = on.first_ordinal();
  for (const range &r : ranges) {
    if (r.first > first)
      out.push_back({first, r.first - 1});
    if (r.last == on.last_ordinal())
      return out;
    first = r.last + 1;
  }
  out.push_back({first, on.last_ordinal()});
  return out;
}

tests tests_of(const std::vector<range> &ranges, const column &on) {
  if (ranges.empty())
    return none_of(on);
  // The code of NULL lies below those of values, and only a set takes it.
  const bool with_null = ranges.front().first < on.first_ordinal();
  if ((ranges.size() == 1 && !with_null) || !on.is_dictionary()) {
    tests out;
    for (const range &r : ranges)
      out.push_back(test_of(r));
    return out;
  }
  ordinal_set set;
  for (const range &r : ranges)
    for (uint64_t code = r.first; code <= r.last; ++code)
      set.members.push_back(code);
  return {set};
}

bool is_null(const constant &c) { return c.written == constant::form::null; }

// A comparison with NULL is true of nothing, and false of nothing.
tests compare(const comparison_test &test, bool is_false, const column &on) {
  if (is_null(test.value))
    return none_of(on);
  const auto order = orders_of(std::span(&test.value, 1), on.type);
  return compare(is_false ? opposite(test.op) : test.op, on.find(order.front()), on);
}

tests compare(const interval_test &test, bool is_false, const column &on) {
  std::vector<constant> bounds;
  for (const constant *c : {&test.low, &test.high})
    if (!is_null(*c))
      bounds.push_back(*c);
  std::vector<value_order> orders;
  for (size_t i = 0; i < bounds.size(); ++i)
    orders.push_back(
        orders_of(test.one_type ? std::span(bounds) : std::span(&bounds[i], 1), on.type)[test.one_type ? i : 0]);
  std::optional<column::place> low;
  std::optional<column::place> high;
  if (!is_null(test.low))
    low = on.find(orders.front());
  if (!is_null(test.high))
    high = on.find(orders.back());
  const bool with_low = includes_low(test.form);
  const bool with_high = includes_high(test.form);
  if (is_false) {
    tests out;
    if (low)
      out = compare(with_low ? comparison::lt : comparison::le, *low, on);
    if (high)
      for (const ordinal_test &above : compare(with_high ? comparison::gt : comparison::ge, *high, on))
        out.push_back(above);
    return out.empty() ? none_of(on) : out;
  }
  if (!low || !high || low->above_all || high->below_all)
    return none_of(on);
  // A bound that no ordinal is beyond moves to the last one there.
  const bool from_first = low->below_all;
  const bool to_last = high->above_all;
  const uint64_t first = from_first ? on.first_ordinal() : with_low ? low->first : low->last;
  const uint64_t last = to_last ? on.last_ordinal() : with_high ? high->last : high->first;
  return {ordinal_interval{interval_of(from_first || with_low, to_last || with_high), first, last}};
}

tests compare(const set_test &test, bool is_false, const column &on) {
  std::vector<constant> known;
  for (const constant &c : test.values)
    if (!is_null(c))
      known.push_back(c);
  std::vector<range> ranges;
  for (const value_order &order : orders_of(known, on.type))
    if (const column::place place = on.find(order); place.found())
      ranges.push_back({place.first, place.last});
  ranges = merged(std::move(ranges));
  if (!is_false)
    return tests_of(ranges, on);
  // What is not in the list may still be equal to a NULL of it.
  if (known.size() != test.values.size())
    return none_of(on);
  return ranges.empty() ? all_of(on) : tests_of(others(ranges, on), on);
}

// Bytes of the character of UTF-8 that a text begins with.
size_t character_bytes(std::string_view text) {
  size_t bytes = 1;
  while (bytes < text.size() && (static_cast<unsigned char>(text[bytes]) & 0xc0) == 0x80)
    ++bytes;
  return bytes;
}

bool is_like(std::string_view text, std::string_view pattern) {
  // After a mismatch the last % takes a character more.
  std::optional<std::pair<std::string_view, std::string_view>> retry;
  while (!text.empty() || !pattern.empty()) {
    if (pattern.starts_with('%')) {
      pattern.remove_prefix(1);
      retry = {text, pattern};
    } else if (!text.empty() && pattern.starts_with('_')) {
      text.remove_prefix(character_bytes(text));
      pattern.remove_prefix(1);
    } else if (!text.empty() && !pattern.empty() && text.front() == pattern.front()) {
      text.remove_prefix(1);
      pattern.remove_prefix(1);
    } else {
      if (!retry || retry->first.empty())
        return false;
      retry->first.remove_prefix(character_bytes(retry->first));
      std::tie(text, pattern) = *retry;
    }
  }
  return true;
}

tests compare(const like_test &test, bool is_false, const column &on) {
  // Only texts with the letters before the first wild card come into question, and these lie together.
  const std::string prefix = test.pattern.substr(0, test.pattern.find_first_of("%_"));
  const column::place place = on.find([&](const cell &c) { return std::get<std::string_view>(c).compare(prefix); });
  std::vector<range> ranges;
  if (!place.above_all)
    for (uint64_t code = place.first; code <= on.last_ordinal(); ++code) {
      const auto text = std::get<std::string_view>(on.value_of(code));
      if (!text.starts_with(prefix))
        break;
      if (is_like(text, test.pattern))
        ranges.push_back({code, code});
    }
  ranges = merged(std::move(ranges));
  if (is_false)
    return ranges.empty() ? all_of(on) : tests_of(others(ranges, on), on);
  return tests_of(ranges, on);
}

tests compare(const null_test &, bool is_false, const column &on) {
  if (is_false)
    return all_of(on);
  return on.has_nulls() ? tests{ordinal_set{{0}}} : none_of(on);
}

// The ordinals of values that a test takes.
std::vector<range> ranges_of(const ordinal_comparison &test, const column &on) {
  const uint64_t first = on.first_ordinal();
  const uint64_t last = on.last_ordinal();
  const uint64_t ordinal = test.ordinal;
  std::vector<range> out;
  const bool below = test.op == comparison::lt || test.op == comparison::le || test.op == comparison::ne;
  const bool above = test.op == comparison::gt || test.op == comparison::ge || test.op == comparison::ne;
  const bool equal = test.op == comparison::eq || test.op == comparison::le || test.op == comparison::ge;
  if (below && ordinal > first)
    out.push_back({first, ordinal - 1});
  if (equal && ordinal >= first && ordinal <= last)
    out.push_back({ordinal, ordinal});
  if (above && ordinal < last)
    out.push_back({ordinal + 1, last});
  return merged(std::move(out));
}

std::vector<range> ranges_of(const ordinal_interval &test, const column &on) {
  const bool with_low = includes_low(test.form);
  const bool with_high = includes_high(test.form);
  if ((!with_low && test.low == on.last_ordinal()) || (!with_high && test.high == 0))
    return {};
  const range out{test.low + (with_low ? 0 : 1), test.high - (with_high ? 0 : 1)};
  return out.first <= out.last ? std::vector<range>{out} : std::vector<range>{};
}

std::vector<range> ranges_of(const ordinal_set &test, const column &) {
  std::vector<range> out;
  for (uint64_t code : test.members)
    out.push_back({code, code});
  return merged(std::move(out));
}

template <class Test>
coverage coverage_of_values(const Test &test, const column &on, const zone &held) {
  for (const range &r : ranges_of(test, on)) {
    if (r.first <= held.low && held.high <= r.last)
      return coverage::all;
    if (r.first <= held.high && held.low <= r.last)
      return coverage::some;
  }
  return coverage::none;
}

// A set may have many members, of which those of the batch are found soon.
coverage coverage_of_values(const ordinal_set &test, const column &, const zone &held) {
  const auto first = std::lower_bound(test.members.begin(), test.members.end(), held.low);
  const auto last = std::upper_bound(first, test.members.end(), held.high);
  if (first == last)
    return coverage::none;
  return static_cast<uint64_t>(last - first) - 1 == held.high - held.low ? coverage::all : coverage::some;
}

} // namespace

std::vector<ordinal_test> to_ordinals(const predicate &asked, bool is_false, const column &on) {
  return std::visit([&](const auto &test) { return compare(test, is_false != asked.negated, on); }, asked.test);
}

std::vector<ordinal_test> united(const std::vector<ordinal_test> &alternatives, const column &on) {
  if (!on.is_dictionary() || alternatives.size() == 1)
    return alternatives;
  std::vector<range> all;
  for (const ordinal_test &test : alternatives) {
    const auto ranges = std::visit([&](const auto &t) { return ranges_of(t, on); }, test);
    all.insert(all.end(), ranges.begin(), ranges.end());
  }
  return tests_of(merged(std::move(all)), on);
}

coverage coverage_of(const ordinal_test &test, const column &on, const zone &held) {
  const coverage values = !held.has_values()
                              ? coverage::none
                              : std::visit([&](const auto &t) { return coverage_of_values(t, on, held); }, test);
  if (held.nulls == 0)
    return values;
  const auto *set = std::get_if<ordinal_set>(&test);
  const bool takes_null = set != nullptr && on.has_nulls() && !set->members.empty() && set->members.front() == 0;
  const coverage nulls = takes_null ? coverage::all : coverage::none;
  return !held.has_values() || values == nulls ? nulls : coverage::some;
}

} // namespace store
