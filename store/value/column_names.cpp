#include "store/value/column_names.hpp"

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"

namespace store {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

} // namespace

bool alike(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

const column_info &find_column(const std::vector<column_info> &columns, std::string_view name) {
  std::vector<const column_info *> all, found;
  const auto look = [&](auto equal) {
    for (const column_info *info : all)
      if (equal(info->name, name))
        found.push_back(info);
  };
  for (const column_info &info : columns)
    all.push_back(&info);
  look(std::equal_to<std::string_view>());
  if (found.empty())
    look(alike);
  const auto listed = [](const auto &infos) {
    std::vector<std::string> out;
    out.reserve(infos.size());
    for (const column_info *info : infos)
      out.push_back(shortened(info->name));
    return out;
  };
  if (found.empty())
    throw error(fmt::format("no column '{}'; the columns are {}", shortened(name), fmt::join(listed(all), ", ")));
  if (found.size() > 1)
    throw error(fmt::format("column '{}' may be any of {}", shortened(name), fmt::join(listed(found), ", ")));
  const column_info &info = *found.front();
  if (!info.type)
    throw error(fmt::format("column '{}' has type {}, which the store does not encode", shortened(info.name),
                            shortened(info.sql_type)));
  return info;
}

std::vector<std::string> distinct_names(const std::vector<std::string> &names) {
  const auto in_lower_case = [](std::string name) {
    std::transform(name.begin(), name.end(), name.begin(), lower);
    return name;
  };
  std::set<std::string> taken; // by columns with names of their own
  for (const std::string &name : names)
    taken.insert(in_lower_case(name));
  std::set<std::string> used;
  std::vector<std::string> out;
  for (const std::string &name : names) {
    std::string chosen = name;
    if (!used.insert(in_lower_case(chosen)).second) {
      size_t number = 1;
      do
        chosen = fmt::format("{}_{}", name, number++);
      while (taken.contains(in_lower_case(chosen)) || !used.insert(in_lower_case(chosen)).second);
    }
    out.push_back(std::move(chosen));
  }
  return out;
}

} // namespace store
