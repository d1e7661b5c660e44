// Single values: what kinds of columns there are, and how a value is read from a text, ordered and written.
//
// Every value that is not a text is represented by a 64-bit key that sorts as the value does, so that dictionaries
// come in two forms only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace store {

enum class value_kind { boolean, integer, real, date, timestamp, text };

// The key of a boolean is 0 or 1, of an integer itself, of a date its days and of a timestamp its microseconds since
// 1970, of a real real_key.  A text is its own key and sorts by its bytes.
using value = std::variant<int64_t, std::string>;

// The value of a row: nothing for NULL, a key, or a text, whose bytes belong to whoever gave it.
using cell = std::variant<std::monostate, int64_t, std::string_view>;

// Orders reals as SQL does: -0 equals 0, NaN equals itself and lies above infinity.
int64_t real_key(double real);
double real_of_key(int64_t key);

// Reads a value.  A text is taken as it is.  Throws store::error when the text is not a value of the kind.
value parse_value(value_kind kind, std::string_view text);

std::string_view kind_name(value_kind kind);

// Writes the value of a column of some SQL type, one that the store encodes, as DuckDB does; NULL as "NULL".  The sign
// of a zero is lost, since its key has none, and DuckDB spends a digit more than it takes on one FLOAT in a hundred.
std::string to_text(const cell &c, std::string_view sql_type);

// How a column type of SQL is kept: its kind, and the bytes that a plain array spends on each value.  Nothing for a
// type that the store does not encode.
struct type_traits {
  value_kind kind;
  uint32_t plain_bytes; // of a text: those of its length, which the bytes of the text come on top of
};
std::optional<type_traits> traits_of(std::string_view sql_type);

// The SQL type that values of a kind are read and written as.
std::string_view sql_type_of(value_kind kind);

} // namespace store
