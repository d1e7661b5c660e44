// Reads Arrow arrays and checks them.
//
// An array does not say how long its buffers are, except the buffers of views.  The reader trusts that the buffers are
// long enough, and checks everything else.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/arrow/arrow_type.hpp"
#include "store/error.hpp"
#include "store/value/value.hpp"
#include <vorn/store/arrow_interface.h>

namespace store {

// Reports faults of arrays.
class array_faults {
public:
  // The owner of the arrays.  Every message begins with it.
  explicit array_faults(std::string owner) : subject_(std::move(owner)) {}

  template <class... Values>
  void unless(bool holds, fmt::format_string<Values...> what, Values &&...values) const {
    if (!holds)
      throw error(fmt::format("{} {}", subject_, fmt::format(what, std::forward<Values>(values)...)));
  }

private:
  std::string subject_;
};

// Some consecutive rows of an array, counted from its offset.
struct row_range {
  int64_t first = 0;
  int64_t count = 0;
};
inline row_range all_rows(const ArrowArray &array) { return {0, array.length}; }

// What an array consists of.
struct array_shape {
  int64_t buffers = 0;
  bool has_more_buffers = false; // perhaps
  int64_t children = 0;
  bool has_dictionary = false;
};
array_shape shape_of(arrow_layout layout);

// Throws unless the array has this shape and its length, offset and number of NULLs are possible.
void check_shape(const ArrowArray *array, const array_shape &shape, const array_faults &faults);

// Bits of a bitmap.
class bit_elements {
public:
  bit_elements(const void *buffer, int64_t first_bit)
      : bytes_(static_cast<const uint8_t *>(buffer)), first_(first_bit) {}
  bool operator[](int64_t row) const { return (bytes_[(first_ + row) / 8] >> ((first_ + row) % 8) & 1) != 0; }

private:
  const uint8_t *bytes_;
  int64_t first_;
};

// The elements of the second buffer, one for each row.
template <class Element>
class elements {
public:
  elements(const ArrowArray &array, row_range rows, const array_faults &faults)
      : bytes_(static_cast<const char *>(array.buffers[1])), first_(array.offset + rows.first) {
    faults.unless(bytes_ != nullptr || rows.count == 0, "has rows but no buffer of values");
  }

  const char *at(int64_t row) const { return bytes_ + (first_ + row) * static_cast<int64_t>(sizeof(Element)); }
  // The buffers of another library may have any alignment.
  Element operator[](int64_t row) const {
    Element out{};
    std::memcpy(&out, at(row), sizeof out);
    return out;
  }

private:
  const char *bytes_;
  int64_t first_;
};

// Calls with the elements of an array of integers.
template <class Take>
void with_integers(arrow_layout layout, const ArrowArray &array, row_range rows, const array_faults &faults,
                   Take take) {
  switch (layout) {
  case arrow_layout::int8:
    return take(elements<int8_t>(array, rows, faults));
  case arrow_layout::uint8:
    return take(elements<uint8_t>(array, rows, faults));
  case arrow_layout::int16:
    return take(elements<int16_t>(array, rows, faults));
  case arrow_layout::uint16:
    return take(elements<uint16_t>(array, rows, faults));
  case arrow_layout::int32:
    return take(elements<int32_t>(array, rows, faults));
  case arrow_layout::uint32:
    return take(elements<uint32_t>(array, rows, faults));
  case arrow_layout::uint64:
    return take(elements<uint64_t>(array, rows, faults));
  default:
    return take(elements<int64_t>(array, rows, faults));
  }
}

// Which rows of an array have a value.
class validity {
public:
  validity(const ArrowArray &array, const array_faults &faults);
  bool is_whole() const { return all_; }
  bool operator[](int64_t row) const { return all_ || bits_[row]; }

private:
  bool all_;
  bit_elements bits_;
};

// The values of some rows in the form of the store: keys of 64 bits, or symbols.  A row with NULL has any value.
// Symbols are valid as long as this object and the array.
template <class Value>
struct array_values {
  array_values(const arrow_type &type, const ArrowArray &array, row_range rows, const validity &valid,
               const array_faults &faults);
  array_values(const array_values &) = delete;

  std::vector<Value> values;

private:
  std::vector<wide_key> wide_; // the memory of symbols
};

extern template struct array_values<int64_t>;
extern template struct array_values<std::string_view>;

} // namespace store
