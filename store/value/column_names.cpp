#include "store/value/column_names.hpp"

#include <algorithm>
#include <functional>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"

namespace store {

namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) { return lower(c); });
  return text;
}

std::string qualified(std::string_view table, std::string_view name) { return fmt::format("{}.{}", table, name); }

} // namespace

bool alike(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

void disambiguate(std::vector<column_info> &first, std::string_view first_table, std::vector<column_info> &second,
                  std::string_view second_table) {
  if (alike(first_table, second_table))
    throw error(fmt::format("two tables are called '{}', and a column is named by its table; rename a file",
                            shortened(first_table)));
  std::multiset<std::string> meanings;
  const std::pair<std::vector<column_info> &, std::string_view> tables[] = {{first, first_table},
                                                                            {second, second_table}};
  for (const auto &[columns, table] : tables)
    for (column_info &info : columns) {
      info.name_in_file = info.name;
      meanings.insert(lower(info.name));
      meanings.insert(lower(qualified(table, info.name)));
    }
  std::set<std::string> taken;
  for (const auto &[columns, table] : tables)
    for (column_info &info : columns) {
      if (meanings.count(lower(info.name)) > 1)
        info.name = qualified(table, info.name);
      if (!taken.insert(lower(info.name)).second)
        throw error(fmt::format("both tables have a column '{}'", shortened(info.name)));
    }
}

void column_names::add(const std::vector<column_info> &columns, std::string_view table) {
  for (const column_info &info : columns) {
    all_.push_back(&info);
    std::set<std::string> own = {info.name};
    if (!table.empty())
      own.insert({info.file_name(), qualified(table, info.file_name())});
    for (const std::string &name : own)
      names_.push_back({name, &info});
  }
}

const column_info &column_names::find(std::string_view name) const {
  std::vector<const column_info *> found;
  const auto look = [&](auto equal) {
    for (const known_name &known : names_)
      if (equal(known.name, name))
        found.push_back(known.means);
  };
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
    throw error(fmt::format("no column '{}'; the columns are {}", shortened(name), fmt::join(listed(all_), ", ")));
  if (found.size() > 1)
    throw error(fmt::format("column '{}' may be any of {}", shortened(name), fmt::join(listed(found), ", ")));
  const column_info &info = *found.front();
  if (!info.type)
    throw error(fmt::format("column '{}' has type {}, which the store does not encode", shortened(info.name),
                            shortened(info.sql_type)));
  return info;
}

const column_info &column_names::any() const {
  const auto found =
      std::find_if(all_.begin(), all_.end(), [](const column_info *info) { return info->type.has_value(); });
  if (found == all_.end())
    throw error("there is no column that the store encodes");
  return **found;
}

} // namespace store
