// Plans as EXPLAIN shows them.
#pragma once

#include <string>
#include <string_view>

#include "store/logical/plan.hpp"

namespace store::logical {

// A line for each operator, with its children below it and indented.
std::string to_text(const plan &of);

// Such as "inner".
std::string_view name_of(join_kind kind);

// What an operator does, without its children, such as "filter c0 > 3".
std::string description(const plan &of);

} // namespace store::logical
