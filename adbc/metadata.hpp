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

// Which names are wanted: patterns of LIKE, where % is any text and _ any character.  Nothing for all.
struct object_filter {
  std::optional<std::string> catalog;
  std::optional<std::string> schema;
  std::optional<std::string> table;
  std::optional<std::string> column;
  std::optional<std::vector<std::string>> table_types;
};

// Whether SQL's LIKE takes a text for a pattern.  Case makes a difference.
bool matches(std::string_view text, std::string_view pattern);

std::unique_ptr<result> info(database &of, std::optional<std::span<const uint32_t>> codes);

// `depth` is ADBC_OBJECT_DEPTH_*.
std::unique_ptr<result> objects(database &of, int depth, const object_filter &wanted);
std::unique_ptr<result> table_types();

// Throws failure when there is no such table.  A column of a type that the store does not hold has the type null.
ArrowSchema table_schema(database &of, const std::string &name);

// The numbers of rows, and of the columns the numbers of different values and of NULLs, all exact.  With
// `only_cheap` of columns that are loaded; otherwise the columns are loaded first.
std::unique_ptr<result> statistics(database &of, const object_filter &wanted, bool only_cheap);
std::unique_ptr<result> statistic_names();

} // namespace store::adbc
