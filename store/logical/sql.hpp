// Expressions as SQL text that DuckDB binds to the same expression again.
#pragma once

#include <string>
#include <string_view>

#include "store/logical/expression.hpp"

namespace store::logical {

// A constant of a type that the store holds; NULL of any type.
std::string constant_sql(const scalar &value, const sql_type &type);

// Writes the text of an expression and of all expressions in it, from its columns and operations.  To be called again
// after columns have other numbers.  A constant of a type that the store does not hold has its text already.
void write_sql(expression &e);

// Adds to the number of each column that the expression reads, and writes the text again.
void move_columns(expression &e, size_t by);

// A name and a text as SQL writes them.
std::string quoted_name(std::string_view name);
std::string quoted_text(std::string_view text);

} // namespace store::logical
