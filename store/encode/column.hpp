// An encoded column: a dictionary or a bias, and for each row group a segment of codes or values.
//
// In every encoding a value is stored as an unsigned number, its ordinal.  Ordinals have the order of the values.  An
// ordinal is the code of a dictionary, or the key minus the smallest key of the column.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "store/encode/dictionary.hpp"
#include "store/encode/stored_array.hpp"
#include "store/value/constant.hpp"
#include "store/value/value.hpp"

namespace store {

// Rows of a row group.  The last row group of a table may have fewer.  The number is a multiple of 64, so the result of
// a row group begins with a word.  Tests take fewer, so that small tables have many row groups.
inline constexpr uint32_t row_group_rows = VORN_ROW_GROUP_ROWS;
static_assert(row_group_rows % 64 == 0 && row_group_rows <= 65536);

enum class encoding { dict, rle, fixed, dynp, prefix };
std::string_view encoding_name(encoding form);

// The bits of a length code of dynp.  A length code is the number of stored bytes minus 1.
constexpr uint32_t length_code_bits(uint32_t width) { return width / 16; }

// The smallest and the largest key of a column without a dictionary.
struct key_range {
  int64_t low = 0;
  int64_t high = 0;
};

// The smallest and the largest value of a segment.  They answer many a condition without a look at the rows.
struct zone {
  uint64_t low = 1; // the smallest and the largest ordinal of a value; without values low is greater than high
  uint64_t high = 0;
  uint32_t nulls = 0; // rows

  bool has_values() const { return low <= high; }
};

// The values of a column in one row group.  All streams begin on a cache line and are readable for another cache line
// after their end.
struct column_segment {
  uint32_t rows = 0;
  zone held;                    // not for texts without a dictionary
  stored_array<uint8_t> stream; // codes of rows or runs, values, or records of groups; perhaps compressed
  uint32_t stream_bytes = 0;    // of the stream when it is not compressed
  stored_array<uint8_t> lens;   // rle: lengths of the runs; dynp: length codes of the rows; prefix: record offsets
  vorn_host::aligned_vector<uint32_t> cla; // rle: first rows of the runs, and the row after the last
  uint32_t runs = 0;                       // rle

  // Bytes of the stream as it is stored, and of the lengths.
  uint64_t stored_bytes() const { return without_slack(stream); }
  uint64_t length_bytes() const { return without_slack(lens); }

  // Where the library keeps the decompressed stream.  The memory belongs to the environment of the context of the first
  // scan, so every scan of a compressed column takes a context of this environment.
  mutable void *decompressed = nullptr;

  // As stored, without the memory after the ends.
  uint64_t bytes() const { return stored_bytes() + length_bytes() + cla.size() * sizeof(uint32_t); }

private:
  static uint64_t without_slack(const stored_array<uint8_t> &stream) {
    return stream.empty() ? 0 : stream.size() - vorn_host::cache_line;
  }
};

struct column {
  std::string name;
  column_type type;
  uint64_t plain_bytes = 0; // what the values would take in a plain array
  uint64_t rows = 0;

  encoding form = encoding::dict;
  bool compressed = false;
  uint32_t width = 1;          // bits of a code or value
  uint8_t run_length_bits = 0; // rle: 8 or 16
  // std::monostate is for texts that are stored without a dictionary.
  std::variant<key_range, dictionary, std::monostate> values;
  std::vector<column_segment> segments;

  bool is_dictionary() const { return std::holds_alternative<dictionary>(values); }
  bool has_nulls() const { return is_dictionary() && std::get<dictionary>(values).has_null(); }
  uint64_t encoded_bytes() const;
  // How many different values it has: of a dictionary the number, otherwise at most.
  uint64_t most_distinct() const;

  // The ordinals of the smallest and of the largest value.  Without values the second number is no ordinal.
  uint64_t first_ordinal() const { return is_dictionary() ? std::get<dictionary>(values).first_code() : 0; }
  uint64_t last_ordinal() const;

  // The value of an ordinal.
  cell value_of(uint64_t ordinal) const;

  // Where a constant lies among the ordinals of values, first_ordinal to last_ordinal.
  struct place {
    bool above_all; // no ordinal is as large
    bool below_all; // none is as small
    uint64_t first; // the smallest ordinal that is not below it, unless it is above all
    uint64_t last;  // the largest ordinal that is not above it, unless it is below all

    bool found() const { return !above_all && !below_all && first <= last; }
  };
  place find(const value_order &order) const;
};

// Columns by their names.
using column_map = std::map<std::string, column, std::less<>>;

} // namespace store
