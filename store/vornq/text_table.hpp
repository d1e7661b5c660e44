// Texts in aligned columns.
#pragma once

#include <string>
#include <vector>

namespace store {

struct text_column {
  std::string heading;
  bool to_the_right; // as numbers stand
};

// Lines of the headings and the rows, which have a text for each column.  A control character, which would break its
// line, appears as an escape.
std::string text_table(const std::vector<text_column> &columns, const std::vector<std::vector<std::string>> &rows);

} // namespace store
