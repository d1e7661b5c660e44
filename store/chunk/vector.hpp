// Values of a column on the rows of a chunk.
//
// A vector does not own its memory: it lies in the arena of the chunk, or in a table.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "store/chunk/arena.hpp"
#include "store/chunk/layout.hpp"

namespace store::exec {

// The type of the values of a representation.
template <class T>
inline constexpr representation representation_of = representation::text;
template <>
inline constexpr representation representation_of<uint32_t> = representation::codes;
template <>
inline constexpr representation representation_of<int64_t> = representation::int64;
template <>
inline constexpr representation representation_of<__int128> = representation::int128;
template <>
inline constexpr representation representation_of<double> = representation::float64;

struct vector {
  representation form = representation::int64;
  uint32_t rows = 0;
  const void *data = nullptr;
  // A bit for each row.  The bit of a NULL is 0.  The pointer is null when no row is NULL.  A row with NULL has some
  // valid value: a code is below the number of codes.
  const uint64_t *validity = nullptr;

  vector() = default;
  template <class T>
  explicit vector(std::span<T> values, const uint64_t *valid = nullptr)
      : form(representation_of<std::remove_const_t<T>>), rows(static_cast<uint32_t>(values.size())),
        data(values.data()), validity(valid) {}

  template <class T>
  std::span<const T> values() const {
    return {static_cast<const T *>(data), rows};
  }
  std::span<const uint32_t> codes() const { return values<uint32_t>(); }
  std::span<const int64_t> int64s() const { return values<int64_t>(); }
  std::span<const __int128> int128s() const { return values<__int128>(); }
  std::span<const double> float64s() const { return values<double>(); }
  std::span<const std::string_view> texts() const { return values<std::string_view>(); }

  bool is_null(size_t row) const { return validity != nullptr && (validity[row / 64] >> (row % 64) & 1) == 0; }
};

constexpr size_t words_of(size_t rows) { return (rows + 63) / 64; }

// Bits that are all 1, to be cleared on NULL.
inline std::span<uint64_t> all_valid(arena &memory, size_t rows) {
  const std::span<uint64_t> out = memory.take<uint64_t>(words_of(rows));
  std::fill(out.begin(), out.end(), ~uint64_t{0});
  return out;
}
inline void set_null(std::span<uint64_t> validity, size_t row) { validity[row / 64] &= ~(uint64_t{1} << (row % 64)); }

// Calls with a value of the type of a representation, as in `with_type(form, [&]<class T>(T) { ... })`.
template <class Take>
decltype(auto) with_type(representation form, const Take &take) {
  switch (form) {
  case representation::codes:
    return take(uint32_t{});
  case representation::int64:
    return take(int64_t{});
  case representation::int128:
    return take(__int128{});
  case representation::float64:
    return take(double{});
  case representation::text:
    break;
  }
  return take(std::string_view{});
}

// The values of some rows of a vector, in the order of `rows`.  A row number `no_row` gives NULL.
inline constexpr uint32_t no_row = ~uint32_t{0};
vector gathered(const vector &from, std::span<const uint32_t> rows, arena &memory, bool may_miss = false);

// A part of a vector, without a copy.  The first row is a multiple of 64.
vector rows_of(const vector &from, size_t first, size_t rows);
bool has_null(const vector &values);

// Codes as values of their type's representation; other vectors as they are.
vector plain_values(const vector &from, const layout &of, arena &memory);

} // namespace store::exec
