// Builds an Arrow array from the values of vectors.
#pragma once

#include <cstdint>
#include <memory>

#include "store/arrow/exported.hpp"
#include "store/chunk/vector.hpp"

namespace store {

class array_writer {
public:
  virtual ~array_writer() = default;

  // Values in the representation of their type, or in a narrower one, but no codes.
  virtual void append(const exec::vector &values) = 0;

  // Is there room for these values after the present ones?  The offsets of texts have 32 bits.
  virtual bool has_room_for(const exec::vector & /*values*/, uint64_t /*most_text_bytes*/) const { return true; }

  // Ends an array and begins another one.
  virtual array_parts finish() = 0;
};

std::unique_ptr<array_writer> writer_of(const column_type &type);

} // namespace store
