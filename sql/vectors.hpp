// Vectors of the store and of DuckDB.
#pragma once

#include <cstdint>

#include "sql/connection.hpp"
#include "store/chunk/vector.hpp"

namespace store::sql {

// Whether the bytes of texts are copied, or stay where DuckDB has them, as long as its chunk is there.
enum class text_bytes { copied, referred_to };

// Rows of DuckDB's vector of a type, in the plain representation of the type.  All of it lies in the arena, except
// texts that are referred to.
exec::vector from_duckdb(const duckdb::vector &values, const logical::sql_type &type, uint32_t rows,
                         exec::arena &memory, text_bytes texts = text_bytes::copied);

// Rows of a vector in the plain representation of a type, from `first` on, for a vector of DuckDB's.  `to` is a
// duckdb_vector with room for them.  Texts are not copied: the query ends before the vector's memory does.
void to_duckdb(const exec::vector &values, const logical::sql_type &type, uint32_t first, uint32_t rows, void *to);

} // namespace store::sql
