// An Arrow array in the making: values of a column of the store in the form of their type's array.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "store/arrow/exported.hpp"
#include "store/encode/column.hpp"

namespace store {

class array_writer {
public:
  virtual ~array_writer() = default;

  // The values of codes of the column's dictionary, or values themselves.
  virtual void append(std::span<const uint32_t> codes) = 0;
  virtual void append(std::span<const cell> cells) = 0;

  // Is there room for these beside what is there already?  The offsets of texts have 32 bits.
  virtual bool has_room_for(std::span<const uint32_t> /*codes*/, uint64_t /*most_text_bytes*/) const { return true; }
  virtual bool has_room_for(std::span<const cell> /*cells*/, uint64_t /*most_text_bytes*/) const { return true; }

  // Ends an array and begins another one.
  virtual array_parts finish() = 0;
};

// Of a type's values; without a dictionary, which outlives it, they come as cells.
std::unique_ptr<array_writer> writer_of(const column_type &type, bool has_nulls, const dictionary *entries = nullptr);

} // namespace store
