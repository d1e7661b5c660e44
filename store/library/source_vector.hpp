// Vectors of stored columns, as the entry points of the library take them.
#pragma once

#include <cstdint>

#include "store/encode/column.hpp"
#include <vorn/vorn.h>

namespace store {

// Vectors serve as sources and as results, so the pointers in the records are not const.  This one is for data that the
// library only reads.
template <class T>
T *only_read(const T *data) {
  return const_cast<T *>(data);
}

// The encoding context with which predicates read a column: it has no dictionary, since predicates look at codes only.
// With `knows_nulls` no predicate is true on NULL; without it the code of NULL is a code like any other.
vorn_enc_ctx predicate_encoding(const column &of, bool knows_nulls, uint32_t more_flags = 0);

// The rows of a batch as a source.  The vector points to the encoding context and to the batch.  For runs, the context
// becomes the one of this batch; predicates over runs write a bit for each run into `run_bits`.
vorn_cv source_vector(const column &of, const batch &rows, vorn_enc_ctx &encoding, uint64_t *run_bits = nullptr);

// A constant as its column stores it, in memory that may be read like a row.
struct stored_constant {
  alignas(8) uint8_t bytes[16] = {};
  uint8_t length_code = 0;

  // The vector points to this and to the encoding context, which has the flag VORN_CONST.
  vorn_cv vector(vorn_enc_ctx &encoding);
};
stored_constant constant_of(const column &of, uint64_t ordinal);

} // namespace store
