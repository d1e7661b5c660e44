// Expressions as SQL text that DuckDB binds to the same expression again.
#pragma once

#include <string>
#include <string_view>

#include "store/logical/expression.hpp"

namespace store::logical {

// A constant of a type that the store holds, or NULL of any type.
std::string constant_sql(const scalar &value, const sql_type &type);

// Writes the text of an expression and of its parts.  It must be called again after the numbers of columns have
// changed.  A constant of a type that the store does not hold keeps the text that it has.
void write_sql(expression &e);

// Adds to the number of each column that the expression reads, and writes the text again.
void move_columns(expression &e, size_t by);

// The operator of a comparison, such as "<>".
std::string_view sign_of(operation comparison);

// A name and a text as SQL writes them.
std::string quoted_name(std::string_view name);
std::string quoted_text(std::string_view text);

} // namespace store::logical
