// Keys of rows as numbers in the order of ORDER BY.
//
// The keys of a row are packed into words of 64 bits: codes and integers with bounds take as many bits as their range
// needs, NULL included, and descending keys are inverted.  Words are compared one after another, whatever their types.
// A text gives its first 8 bytes.  If these are equal, the whole texts are compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "store/chunk/chunk.hpp"

namespace store::exec {

struct sort_column {
  size_t column = 0; // of the rows
  bool is_descending = false;
  bool nulls_first = false;
};

// A step of a comparison: a word, or a text column.
struct sort_level {
  size_t index = 0;   // of the word, or of the column
  uint32_t bits = 64; // of the word
  bool is_text = false;
  bool is_descending = false; // of the text
};

class sort_keys {
public:
  sort_keys(std::span<const layout> columns, std::span<const sort_column> keys);

  // At least one word.  The first level is a word.
  size_t words() const { return words_.size(); }
  const std::vector<sort_level> &levels() const { return levels_; }

  // A word of all rows, in the chunk's memory.
  std::span<const uint64_t> word(size_t index, chunk &rows) const;

  // The rows whose first word may be at most a bound, in ascending order.  If the first key alone decides, no other
  // column is read.
  std::span<const uint32_t> not_above(uint64_t bound, chunk &rows) const;

private:
  // Bits of a word that one key gives.
  struct part {
    enum class kind { number, is_null, high_half, low_half, real, prefix } what = kind::number;
    sort_column key;
    uint32_t bits = 0;
    __int128 low = 0;      // numbers: the least number; for a descending key the greatest number
    uint64_t for_null = 0; // the bits of NULL
    uint64_t more = 0;     // what is added to the bits of a value
  };
  struct word_parts {
    std::vector<part> parts;
    uint32_t bits = 0;
  };

  void add(const part &p);
  void add_key(const layout &of, const sort_column &key);
  static void pack(const part &p, const vector &values, std::span<uint64_t> words, bool is_first);

  std::vector<word_parts> words_;
  std::vector<sort_level> levels_;
};

} // namespace store::exec
