// The rows of an answer as text, for users and for programs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "store/operator/answer.hpp"

namespace store {

enum class row_format {
  table, // aligned
  csv,
  json, // one array of objects
  jsonl // an object in each line
};

// Throws store::error for an unknown name.
row_format parse_row_format(std::string_view name);

// A text in JSON.
void append_json_text(std::string &out, std::string_view text);

// Takes the text piece by piece.
using text_taker = std::function<void(std::string_view)>;

// Writes all rows in one of the forms.  A table shows at most `shown` rows, the first half and the last half; 0 means
// all rows.
void write_rows(const exec::answer &of, row_format format, uint64_t shown, const text_taker &take);

} // namespace store
