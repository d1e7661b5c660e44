// Vectors of stored columns, as the entry points of the library take them.
#pragma once

#include <cstdint>

#include "store/encode/column.hpp"
#include <vorn/encode.h>
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
vorn_enc_ctx predicate_encoding(const column &of, bool knows_nulls);

// The rows of a batch as a source.  The vector points to the encoding context and to the batch.  For runs, the context
// becomes the one of this batch; predicates over runs write a bit for each run into `run_bits`.
vorn_cv source_vector(const column &of, const batch &rows, vorn_enc_ctx &encoding, uint64_t *run_bits = nullptr);

// A constant as its column stores it, for predicates that read the column with predicate_encoding.
class constant_vector {
public:
  constant_vector(const column &of, bool knows_nulls, uint64_t ordinal);
  constant_vector(const constant_vector &) = delete;

  vorn_cv *get() { return &cv_; }

private:
  vornenc_constant memory_{};
  vorn_enc_ctx encoding_{};
  vorn_cv cv_{};
};

} // namespace store
