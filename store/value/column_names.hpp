// Columns of a table by their names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "store/value/value.hpp"

namespace store {

// Compares as SQL does, without regard to case.
bool alike(std::string_view a, std::string_view b);

// Finds a column by its name.  If no name is equal, it finds the one name that differs only in case.  Throws
// store::error when there is no such column, when there are several, or when the store does not encode its type.
const column_info &find_column(const std::vector<column_info> &columns, std::string_view name);

// The names of columns, made different by _1, _2 and so on, as objects and tables need them.
std::vector<std::string> distinct_names(const std::vector<std::string> &names);

} // namespace store
