// Queries that this project writes itself.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store::duckdb {

// DuckDB's message without a position, because the user does not know the text.  If DuckDB names a type of its own
// code, the message names the type of SQL.
inline std::string own_message(std::string_view message) {
  message = message.substr(0, message.find("\n\nLINE "));
  constexpr std::string_view begin = "Conversion Error: Could not convert string '", middle = "' to ";
  constexpr std::pair<std::string_view, std::string_view> types[] = {
      {"INT8", "TINYINT"},   {"INT16", "SMALLINT"},   {"INT32", "INTEGER"},   {"INT64", "BIGINT"},
      {"UINT8", "UTINYINT"}, {"UINT16", "USMALLINT"}, {"UINT32", "UINTEGER"}, {"UINT64", "UBIGINT"}};
  if (const size_t end = message.rfind(middle); message.starts_with(begin) && end != message.npos)
    for (const auto &[theirs, type] : types)
      if (message.substr(end + middle.size()) == theirs)
        return fmt::format("Conversion Error: the text '{}' is not a value of {}",
                           shortened(message.substr(begin.size(), end - begin.size())), type);
  return std::string(message);
}

// Runs such a query.
template <class Run>
auto own_query(const Run &run) {
  try {
    return run();
  } catch (const error &e) {
    throw error(own_message(e.what()));
  }
}

} // namespace store::duckdb
