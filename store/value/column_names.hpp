// Columns of a table by their names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/value/value.hpp"

namespace store {

// SQL makes no difference between upper and lower case.
bool alike(std::string_view a, std::string_view b);

// Finds a column by its name, without regard to case when no name is equal and only one is alike.  Throws store::error
// when there is none, there are several, or the store does not encode its type.
const column_info &find_column(const std::vector<column_info> &columns, std::string_view name);

// The names of columns, made different by _1, _2 and so on, as objects and tables need them.
std::vector<std::string> distinct_names(const std::vector<std::string> &names);

} // namespace store
