// Single values: what kinds of columns there are, and how a value is read from a text and ordered.
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

// Orders reals as SQL does: -0 equals 0, NaN equals itself and lies above infinity.
int64_t real_key(double real);

// Reads a value.  A text is taken as it is.  Throws store::error when the text is not a value of the kind.
value parse_value(value_kind kind, std::string_view text);

std::string_view kind_name(value_kind kind);

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
