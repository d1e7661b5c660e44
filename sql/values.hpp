// Reads the values of DuckDB's columns for the store.
#pragma once

#include <string>
#include <string_view>

#include "sql/connection.hpp"
#include "store/encode/column_builder.hpp"
#include "store/value/value.hpp"

namespace store {

// The type as which values of a type are read for value_at.
std::string sql_type(const column_type &type);

// The expression that reads a column of a type for value_at.
std::string sql_values(std::string_view column, const column_type &type);

cell value_at(const duckdb::vector &values, uint64_t row, value_kind kind);

// The same for some rows, for the builder of a column.
void append_values(column_builder &out, const duckdb::vector &values, uint64_t rows, value_kind kind);

} // namespace store
