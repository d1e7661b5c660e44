// Constants of conditions: how they are read, and where values of a column lie to them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "store/value/value.hpp"

namespace store {

// A constant as a condition has it.
struct constant {
  enum class form {
    null,
    number, // without quotes: of a type of its own, whatever the column
    text    // read as a value of the column
  };
  form written = form::text;
  std::string text;
};

// Is this a number as SQL writes it?
bool is_number(std::string_view text);

// Says of a value that is not NULL whether it is below the constant, equal or above: negative, 0 or positive.
using value_order = std::function<int(const cell &)>;

// The order of a column's values to constants that they are compared with together; none of them is NULL.  SQL finds
// one type for all of them: a number with an exponent makes it DOUBLE, and a text becomes a number with as many digits
// after the point as any of the others has.  Throws store::error for a text that is not a value of the column.
std::vector<value_order> orders_of(std::span<const constant> constants, const column_type &type);

} // namespace store
