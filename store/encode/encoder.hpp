// Encodes the rows of a column as segments.  The rows are codes of a dictionary, keys or texts.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "store/encode/column.hpp"
#include "store/encode/runs.hpp"

namespace store {

// How a column is to be stored.
struct encoding_choice {
  std::optional<encoding> form; // empty: rle if the runs are long, fixed if many values are distinct, otherwise dict
  bool compressed = false;      // the value stream in blocks; not with prefix
  bool smallest = false;        // without a form: also few values are stored themselves, where that is smaller
};

// The choices for columns, by their names.
using choice_map = std::map<std::string, encoding_choice, std::less<>>;

// Reads "dict", "rle+qpak" and the like.  Throws store::error.
encoding_choice parse_encoding(std::string_view text);

// Are the keys of a column better stored as fixed values than as these codes?
bool suits_fixed(const coded_rows &rows, const dictionary &entries, key_range keys, const column_type &type,
                 bool smallest);

// Fill the segments and the fields that describe the encoding; the rest of the column is there already. store_codes
// stores codes as dict or rle and needs the dictionary.  store_keys stores keys as fixed, dynp or prefix and sets their
// range.  store_texts stores texts of one length, given back to back, as prefix.
void store_codes(column &out, const coded_rows &rows, std::optional<encoding> form);
void store_keys(column &out, std::span<const int64_t> keys, encoding form);
void store_texts(column &out, std::string_view texts, uint32_t text_bytes);

// Compresses the value streams of a stored column.
void compress(column &out);

} // namespace store
