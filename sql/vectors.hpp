// Converts between vectors of the store and of DuckDB.
#pragma once

#include <cstdint>

#include "sql/connection.hpp"
#include "store/chunk/vector.hpp"

namespace store::sql {

// Are the bytes of texts copied, or do texts refer to DuckDB's chunk?
enum class text_bytes { copied, referred_to };

// Rows of a vector of DuckDB in the plain representation of their type.  The result lies in the arena, except the bytes
// of texts that are not copied.
exec::vector from_duckdb(const duckdb::vector &values, const logical::sql_type &type, uint32_t rows,
                         exec::arena &memory, text_bytes texts = text_bytes::copied);

// Writes rows of a vector in the plain representation of a type, from `first` on, to a vector of DuckDB.  `to` is a
// duckdb_vector with room for them.  Texts are not copied, because the query ends before the memory of the vector.
void to_duckdb(const exec::vector &values, const logical::sql_type &type, uint32_t first, uint32_t rows, void *to);

} // namespace store::sql
