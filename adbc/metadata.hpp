// What a connection says about its driver and its tables, in the schemas of the standard.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "adbc/database.hpp"
#include "adbc/result.hpp"

namespace store::adbc {

// The names that are wanted, as patterns of LIKE: % is any text, _ is any character.  Empty for all names.
struct object_filter {
  std::optional<std::string> catalog;
  std::optional<std::string> schema;
  std::optional<std::string> table;
  std::optional<std::string> column;
  std::optional<std::vector<std::string>> table_types;
};

// Does a text match a pattern of SQL's LIKE?  Case matters.
bool matches(std::string_view text, std::string_view pattern);

std::unique_ptr<result> info(database &of, std::optional<std::span<const uint32_t>> codes);

// `depth` is ADBC_OBJECT_DEPTH_*.
std::unique_ptr<result> objects(database &of, int depth, const object_filter &wanted);
std::unique_ptr<result> table_types();

// Throws failure when there is no such table.  A column of a type that the store does not hold has the type null.
ArrowSchema table_schema(database &of, const std::string &name);

// The number of rows, and for each column the numbers of distinct values and of NULLs.  All numbers are exact.  With
// `only_cheap` only loaded columns have them.  Otherwise the columns are loaded first.
std::unique_ptr<result> statistics(database &of, const object_filter &wanted, bool only_cheap);
std::unique_ptr<result> statistic_names();

} // namespace store::adbc
