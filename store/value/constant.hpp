// Constants of conditions: reading them, and comparing values of a column with them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "store/value/value.hpp"

namespace store {

// A constant of a condition.
struct constant {
  enum class form {
    null,
    number, // without quotes: it has a type of its own
    text    // with quotes: read as a value of the column
  };
  form written = form::text;
  std::string text;
};

// Is this text a number of SQL?
bool is_number(std::string_view text);

// Compares a value that is not NULL with the constant.  The result is negative when the value is below it, 0 when it is
// equal, and positive when it is above.
using value_order = std::function<int(const cell &)>;

// Comparisons of the values of a column with constants of one condition.  No constant is NULL.  SQL finds one type for
// all of them.  A number with an exponent makes the type DOUBLE.  A text becomes a number with as many digits after the
// point as the other constants have.  Throws store::error for a text that is not a value of the column.
std::vector<value_order> orders_of(std::span<const constant> constants, const column_type &type);

} // namespace store
