// Vectors in the row forms of the entry points of joins.
#pragma once

#include <cstdint>

#include "store/library/source_vector.hpp"
#include <vorn/encode.h>
#include <vorn/vorn.h>

namespace store {

// A vector with its encoding context.
class row_vector {
public:
  // A form whose builder takes only the context.
  row_vector(void (*form)(vorn_enc_ctx *), const void *vals, const void *lens, uint64_t rows) {
    form(&encoding_);
    build(vals, lens, rows);
  }
  static row_vector fixed(uint32_t width, const void *vals, uint64_t rows) {
    row_vector out;
    vorn_build_encoding_type_fixed(&out.encoding_, width, 0);
    out.build(vals, nullptr, rows);
    return out;
  }
  static row_vector numbered_from(uint64_t first) {
    row_vector out(vorn_build_encoding_type_autorid, nullptr, nullptr, 0);
    vorn_add_vector_autorid(&out.cv_, first);
    return out;
  }

  vorn_cv *get() {
    cv_.vorn_cv_encoding_context = &encoding_;
    return &cv_;
  }
  vorn_enc_ctx &context() { return encoding_; }

private:
  row_vector() = default;
  void build(const void *vals, const void *lens, uint64_t rows) {
    vorn_build_vector(&cv_, only_read(vals), only_read(lens), nullptr, nullptr, nullptr, nullptr,
                      static_cast<uint32_t>(rows), 0, nullptr, 0);
  }

  vorn_enc_ctx encoding_{};
  vorn_cv cv_{};
};

} // namespace store
