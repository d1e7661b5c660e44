// Vectors of stored columns, for the entry points of the library.
#pragma once

#include <cstdint>

#include "store/encode/column.hpp"
#include <vorn/encode.h>
#include <vorn/vorn.h>

namespace store {

// A pointer for a field of a record, to data that the library only reads.  The fields are not const, because a vector
// may also be a result.
template <class T>
T *only_read(const T *data) {
  return const_cast<T *>(data);
}

// The encoding context of a column for predicates.  It has no dictionary, because predicates read only codes.  With
// `knows_nulls` no predicate is true for NULL.  Without it the code of NULL is a code like any other.
vorn_enc_ctx predicate_encoding(const column &of, bool knows_nulls);

// A segment as a source.  The vector points to the encoding context and to the segment.  For runs the call writes the
// runs of this segment into the context, and predicates write a bit for each run into `run_bits`.
vorn_cv source_vector(const column &of, const column_segment &rows, vorn_enc_ctx &encoding,
                      uint64_t *run_bits = nullptr);

// A constant in the stored form of its column, for predicates with the context of predicate_encoding.
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
