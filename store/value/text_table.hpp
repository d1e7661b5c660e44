// Texts in aligned columns.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace store {

struct text_column {
  std::string heading;
  bool to_the_right; // aligned to the right
};

// A text with escapes for control characters, because these would break its line.
std::string visible(std::string_view text);

// A number with its digits in groups of three.
std::string grouped(uint64_t number);

// "1 row" or "2,000 rows".
std::string rows_named(uint64_t rows);

// Characters of a text in UTF-8.
size_t width_of(std::string_view text);

// The lines of the headings and the rows.  A row has a text for each column.  Control characters become escapes.
std::string text_table(const std::vector<text_column> &columns, const std::vector<std::vector<std::string>> &rows);

} // namespace store
