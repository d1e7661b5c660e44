// Single values: the kinds of columns, how a value is represented, and how it is written.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace store {

enum class value_kind {
  boolean,
  integer, // a signed integer or a decimal number of up to 64 bits
  natural, // an unsigned integer of 64 bits
  wide,    // a signed integer or a decimal number of 128 bits
  single,
  real,
  date,
  time,
  timestamp,   // in microseconds
  nanoseconds, // a timestamp in nanoseconds
  instant,     // a timestamp in microseconds with a time zone; it is shown and read as UTC
  uuid,
  text,
  blob
};

// A type of SQL that the store encodes.
struct column_type {
  value_kind kind = value_kind::integer;
  uint32_t plain_bytes = 0; // of a value in a plain array; of a text or blob the bytes that store its
                            // length; its own bytes come on top
  uint32_t scale = 0;       // decimal digits after the point
  bool is_signed = true;    // of integers

  constexpr bool is_bytes() const { return kind == value_kind::text || kind == value_kind::blob; }
  constexpr bool is_wide() const { return kind == value_kind::wide || kind == value_kind::uuid; }
  constexpr bool is_real() const { return kind == value_kind::single || kind == value_kind::real; }
  bool is_numeric() const;
};

// Empty for a type that the store does not encode.
std::optional<column_type> type_of(std::string_view sql_type);

// A column of a file.
struct column_info {
  std::string name;
  std::string sql_type;
  std::optional<column_type> type;
};

// A value of 128 bits as bytes: the most significant byte first, with the sign bit inverted.  The bytes sort in the
// order of the values.
struct wide_key {
  std::array<uint8_t, 16> bytes{};

  std::string_view view() const { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }
  friend bool operator==(const wide_key &, const wide_key &) = default;
  friend bool operator<(const wide_key &a, const wide_key &b) { return a.bytes < b.bytes; }
};
wide_key wide_key_of(__int128 number);
__int128 number_of(const wide_key &key);

// The value of a row: empty for NULL; a key of 64 or 128 bits in the order of the values; or the bytes of a text or
// blob.  The bytes belong to the source of the value.
//
// The key of a boolean is 0 or 1.  The key of an integer is the integer.  The key of a decimal number is the number
// without the point.  The key of a natural number is the number minus 2^63.  The key of a real is real_key.  The key of
// a date is its days, of a time its microseconds, of a timestamp its microseconds or nanoseconds since 1970.
using cell = std::variant<std::monostate, int64_t, wide_key, std::string_view>;

// Is a cell, or a constant of a plan, NULL?
template <class... Values>
bool is_null(const std::variant<std::monostate, Values...> &value) {
  return std::holds_alternative<std::monostate>(value);
}

constexpr __int128 power_of_ten(uint32_t exponent) {
  __int128 out = 1;
  for (; exponent != 0; --exponent)
    out *= 10;
  return out;
}

// Orders reals as SQL does, except that -0 comes right before 0: NaN equals itself and lies above infinity.
int64_t real_key(double real);
double real_of_key(int64_t key);

int64_t natural_key(uint64_t number);
uint64_t natural_of_key(int64_t key);

// Appends a value in the form that DuckDB writes, and NULL as "NULL".  FLOAT differs: in one case in a hundred DuckDB
// writes one digit more than needed.
void append_text(std::string &out, const cell &c, const column_type &type);

} // namespace store
