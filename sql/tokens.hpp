// The few tokens of SQL that the host reads itself.  DuckDB does the rest.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace store::sql {

// The length of a quoted text, of a comment, of a name, or of one other character at the beginning of a text.
size_t token_length(std::string_view text);

// Is a token a comment or white space?
bool is_blank(std::string_view token);

// The query with 2^63 - 1 in the place of each larger number after LIMIT and OFFSET.  DuckDB takes no larger number,
// and no table has more rows.  Places in the text stay.
std::string with_possible_limits(std::string_view query);

} // namespace store::sql
