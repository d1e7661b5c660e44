// Keys of a join as numbers.
//
// A key has any number of columns, and the two sides of a join may hold a column in different representations.  First
// each column is brought to one representation.  Then the columns are packed into words of 64 bits, so that equal keys
// have equal words.  The ranges of the built side decide how many columns fit into a word.  Most keys are one word.
// Texts stay texts.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "store/chunk/kept_rows.hpp"
#include "store/operator/key_filter.hpp"

namespace store::exec {

// A column of the key.
class key_column {
public:
  // With `nulls_match` a NULL equals a NULL.  Otherwise a NULL equals nothing.
  key_column(const layout &built, const layout &probed, bool nulls_match);

  // The values of one side in the common representation: int64, int128 or text.
  vector built_values(const vector &from, arena &memory) const;
  vector probed_values(const vector &from, arena &memory) const;

  representation compared() const { return compared_; }
  bool nulls_match() const { return nulls_match_; }
  const layout &built() const { return built_; }
  const layout &probed() const { return probed_; }

private:
  layout built_;
  layout probed_;
  bool nulls_match_;
  bool by_code_ = false; // the numbers are codes of the dictionary of the built side
  representation compared_;
  std::vector<int64_t> code_of_probed_; // for each code of the probed side; -1 if the built side lacks the value
};

// The keys of some rows.
struct key_batch {
  uint32_t rows = 0;
  std::span<std::span<const uint64_t>> words;
  uint64_t first = 0; // if a key is one word: the number that was subtracted from the words
  std::span<std::span<const std::string_view>> texts;
  // A bit for each row.  The bit is 0 when the key has a NULL that equals nothing.  Null when all bits are 1.
  const uint64_t *usable = nullptr;

  bool is_usable(size_t row) const { return usable == nullptr || (usable[row / 64] >> (row % 64) & 1) != 0; }
};

// The values of a column of the key on the built side, as a filter for the column of the probed side.  Null if most
// rows would pass the filter, or if the filter would be large for the number of probed rows.
std::shared_ptr<const key_filter> make_key_filter(const key_column &of, const vector &built, double probed_rows,
                                                  arena &memory);

// The words of keys, minus the smallest word.  A NULL that equals nothing becomes a word that is outside every range.
class usable_words {
public:
  usable_words(const key_batch &keys, arena &memory);

  size_t size() const { return words_.size(); }
  uint64_t operator[](size_t row) const { return words_[row] - first_; }

private:
  std::span<const uint64_t> words_; // the first words of the keys
  uint64_t first_;
};

class key_packing {
public:
  key_packing() = default;
  // `built` returns all values of a column of the built side, in the representation of its layout.
  key_packing(std::span<const key_column> columns, std::span<const vector> built, arena &memory);

  // Packs one column of numbers alone into the first word: the column with the widest range of at most `most_words`.
  // Returns false if there is no such column, or no other column.
  bool separate(uint64_t most_words);
  // Packs all columns together again.
  void unite() { pack(std::nullopt); }

  // The values of the columns of the key, in the representation of the layouts of the side.
  key_batch of_built(std::span<const vector> values, uint32_t rows, arena &memory) const;
  key_batch of_probed(std::span<const vector> values, uint32_t rows, arena &memory) const;

  size_t words() const { return ranges_.size(); }
  size_t texts() const { return texts_.size(); }
  // For keys of one word: all words of the built side are below this number.  A greater or equal word of the probed
  // side has no equal key on the built side.
  std::optional<uint64_t> range() const {
    return ranges_.size() == 1 && texts_.empty() && ranges_[0] <= most_range ? std::optional(ranges_[0]) : std::nullopt;
  }
  // The same for the first word, if it holds one column alone.
  uint64_t first_range() const { return ranges_[0]; }

private:
  // The words of packed columns are below the product of their ranges.  A value outside its range adds most_range to
  // the word, so the word is outside the product for all values of the other columns.
  static constexpr uint64_t most_range = uint64_t{1} << 56;
  static constexpr uint64_t whole_word = ~uint64_t{0};

  enum class part { number, low_half, high_half, null_flag };
  struct field {
    size_t column;
    part of;
    size_t word;
    uint64_t multiplier;
    uint64_t span;      // greatest number minus least number
    __int128 low;       // the least number
    bool null_is_value; // span + 1
  };

  struct bounds {
    __int128 low;
    __int128 high;
    // The range of the word, or 0 if a word of 64 bits is too small.
    uint64_t range(bool null_is_value) const;
  };
  void measure(size_t column, const vector &built, arena &memory);
  // Packs all columns.  One of them is alone in the first word.
  void pack(std::optional<size_t> alone);
  void pack_column(size_t column);
  void add_field(size_t column, part of, __int128 low, uint64_t range, bool null_is_value);
  // A key of one number of 64 bits is its own word.
  bool is_number() const {
    return fields_.size() == 1 && texts_.empty() && fields_[0].of == part::number && !fields_[0].null_is_value &&
           columns_[0].compared() == representation::int64;
  }
  key_batch packed(std::span<const vector> compared, uint32_t rows, arena &memory) const;
  void add_to_word(const field &of, const vector &values, std::span<uint64_t> word) const;

  std::span<const key_column> columns_;
  std::vector<bool> null_is_value_; // of the columns
  std::vector<bounds> bounds_;      // of the columns of numbers
  size_t first_open_word_ = 0;      // that may have several columns
  std::vector<field> fields_;
  std::vector<uint64_t> ranges_; // of the words; whole_word for any number
  std::vector<size_t> texts_;    // columns
};

} // namespace store::exec
