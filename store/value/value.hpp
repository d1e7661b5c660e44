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
  integer, // up to 64 bits with a sign, or a decimal number of as many
  natural, // 64 bits without a sign
  wide,    // 128 bits with a sign, or a decimal number of as many
  single,
  real,
  date,
  time,
  timestamp,   // in microseconds
  nanoseconds, // a timestamp in them
  instant,     // a timestamp in microseconds with a time zone, which is shown and read as UTC
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

// Nothing for a type that the store does not encode.
std::optional<column_type> type_of(std::string_view sql_type);

// A column of a file.
struct column_info {
  std::string name;
  std::string sql_type;
  std::optional<column_type> type;
};

// A value of 128 bits: its bytes, the most significant one first and with the sign inverted, which sort as it does.
struct wide_key {
  std::array<uint8_t, 16> bytes{};

  std::string_view view() const { return {reinterpret_cast<const char *>(bytes.data()), bytes.size()}; }
  friend bool operator==(const wide_key &, const wide_key &) = default;
  friend bool operator<(const wide_key &a, const wide_key &b) { return a.bytes < b.bytes; }
};
wide_key wide_key_of(__int128 number);
__int128 number_of(const wide_key &key);

// The value of a row: nothing for NULL; a key of 64 bits, or 128, that sorts as the value does; or the bytes of a text
// or blob, which belong to whoever gave them.
//
// The key of a boolean is 0 or 1, of an integer itself, of a decimal number the one without the point, of a natural
// number itself less 2^63, of a real real_key, of a date its days, of a time its microseconds, and of a timestamp its
// microseconds or nanoseconds since 1970.
using cell = std::variant<std::monostate, int64_t, wide_key, std::string_view>;

// Orders reals as SQL does, except that -0 comes right before 0: NaN equals itself and lies above infinity.
int64_t real_key(double real);
double real_of_key(int64_t key);

int64_t natural_key(uint64_t number);
uint64_t natural_of_key(int64_t key);

// Appends a value as DuckDB writes it; NULL as "NULL".  FLOAT differs: in one case in a hundred DuckDB writes a digit
// more than is needed.
void append_text(std::string &out, const cell &c, const column_type &type);

} // namespace store
