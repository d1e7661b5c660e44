// Statements other than queries that the host executes, and the parameters of a text.
//
//     EXPLAIN [ANALYZE] query                COPY table TO 'file'           COPY table FROM 'file'
//     DROP TABLE [IF EXISTS] table           COPY (query) TO 'file'
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/value/value.hpp"

namespace store::sql {

enum class statement_kind { query, explain, copy_to, copy_from, drop };

struct statement {
  statement_kind what = statement_kind::query;
  std::string query;     // query, explain, copy_to
  std::string table;     // copy_from, drop, and copy_to of a whole table
  std::string file;      // copy_to, copy_from
  bool may_miss = false; // drop: IF EXISTS
  bool runs = false;     // explain: ANALYZE
};

// Throws store::error for a statement that begins as one of these forms and continues in another way.  Every other text
// is a query.
statement read_statement(std::string_view text);

// A parameter in a text.
struct parameter {
  size_t at = 0; // bytes
  size_t length = 0;
  size_t ordinal = 0; // from 0 on; for ? the number of earlier ?
  std::string name;   // for $name; empty otherwise
};

// The ?, $1 and $name of a text, in its order.
std::vector<parameter> parameters_of(std::string_view text);

// The text with each parameter replaced by a constant.
std::string with_values(std::string_view text, const std::vector<parameter> &parameters,
                        const std::function<std::string(const parameter &)> &constant);

// A value in SQL.  Throws store::error for a text with a zero byte, because DuckDB does not accept it.
std::string sql_constant(const cell &value, const column_info &of);

} // namespace store::sql
