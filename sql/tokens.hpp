// The few tokens of SQL that the host reads itself.  DuckDB does the rest.
#pragma once

#include <cstddef>
#include <string_view>

namespace store::sql {

// The length of a quoted text, of a comment, of a name, or of one other character at the beginning of a text.
size_t token_length(std::string_view text);

// Is a token a comment or white space?
bool is_blank(std::string_view token);

} // namespace store::sql
