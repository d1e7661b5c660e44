// Texts in aligned columns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace store {

struct text_column {
  std::string heading;
  bool to_the_right; // as numbers stand
};

// A text in which control characters, which would break its line, appear as escapes.
std::string visible(std::string_view text);

// A number with its digits in groups of three.
std::string grouped(uint64_t number);

// "1 row" or "2,000 rows".
std::string rows_named(uint64_t rows);

// Characters of a text in UTF-8.
size_t width_of(std::string_view text);

// Lines of the headings and the rows, which have a text for each column.  A control character, which would break its
// line, appears as an escape.
std::string text_table(const std::vector<text_column> &columns, const std::vector<std::vector<std::string>> &rows);

} // namespace store
