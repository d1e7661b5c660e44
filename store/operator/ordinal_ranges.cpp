#include "store/operator/ordinal_ranges.hpp"

#include <algorithm>
#include <utility>

namespace store::exec {

ordinal_ranges ordinal_ranges::united(std::vector<ordinal_range> ranges) {
  std::sort(ranges.begin(), ranges.end(),
            [](const ordinal_range &a, const ordinal_range &b) { return a.first < b.first; });
  ordinal_ranges out;
  for (const ordinal_range &r : ranges)
    out.add(r.first, r.last);
  return out;
}

void ordinal_ranges::add(uint64_t first, uint64_t last) {
  if (last < first)
    return;
  if (!ranges_.empty() && (first <= ranges_.back().last || first - ranges_.back().last == 1))
    ranges_.back().last = std::max(ranges_.back().last, last);
  else
    ranges_.push_back({first, last});
}

uint64_t ordinal_ranges::size() const {
  uint64_t out = 0;
  for (const ordinal_range &r : ranges_)
    out += r.last - r.first + 1;
  return out;
}

std::vector<ordinal_range>::const_iterator ordinal_ranges::find(uint64_t ordinal) const {
  return std::partition_point(ranges_.begin(), ranges_.end(), [&](const ordinal_range &r) { return r.last < ordinal; });
}

bool ordinal_ranges::contains(uint64_t ordinal) const {
  const auto found = find(ordinal);
  return found != ranges_.end() && found->first <= ordinal;
}

ordinal_ranges::coverage ordinal_ranges::covers(uint64_t low, uint64_t high) const {
  const auto found = find(low);
  if (found == ranges_.end() || found->first > high)
    return coverage::none;
  return found->first <= low && high <= found->last ? coverage::all : coverage::some;
}

ordinal_ranges ordinal_ranges::united_with(const ordinal_ranges &other) const {
  std::vector<ordinal_range> all = ranges_;
  all.insert(all.end(), other.ranges_.begin(), other.ranges_.end());
  return united(std::move(all));
}

ordinal_ranges ordinal_ranges::intersected_with(const ordinal_ranges &other) const {
  ordinal_ranges out;
  for (auto a = ranges_.begin(), b = other.ranges_.begin(); a != ranges_.end() && b != other.ranges_.end();) {
    out.add(std::max(a->first, b->first), std::min(a->last, b->last));
    if (a->last < b->last)
      ++a;
    else
      ++b;
  }
  return out;
}

ordinal_ranges ordinal_ranges::complement(uint64_t first, uint64_t last) const {
  ordinal_ranges out;
  for (const ordinal_range &r : ranges_) {
    if (r.first > first)
      out.add(first, r.first - 1);
    if (r.last >= last)
      return out;
    first = r.last + 1;
  }
  out.add(first, last);
  return out;
}

} // namespace store::exec
