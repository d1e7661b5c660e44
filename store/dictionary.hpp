// The distinct values of a column in ascending order.  The position of a value orders as the value does, so positions
// stand for values in every comparison.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

#include "store/value.hpp"

namespace store {

// Ascending texts, their bytes one behind the other.
class sorted_texts {
public:
  void append(std::string_view text);

  uint64_t size() const { return ends.size(); }
  uint64_t bytes() const { return characters.size() + ends.size() * sizeof(uint32_t); }
  std::string_view operator[](uint64_t position) const;

private:
  std::string characters;
  std::vector<uint32_t> ends;
};

class dictionary {
public:
  explicit dictionary(std::vector<int64_t> ascending) : entries(std::move(ascending)) {}
  explicit dictionary(sorted_texts ascending) : entries(std::move(ascending)) {}

  struct place {
    uint64_t position; // of the first entry that is not below the value; size() when there is none
    bool found;        // that entry is the value
  };
  // The value is of the kind that the dictionary was made of.
  place find(const value &v) const;

  uint64_t size() const;
  uint64_t bytes() const;

private:
  std::variant<std::vector<int64_t>, sorted_texts> entries;
};

// Takes the values of a column row by row and replaces them by codes.  Key is int64_t or std::string.
template <class Key>
class dictionary_encoder {
public:
  using view = std::conditional_t<std::is_same_v<Key, std::string>, std::string_view, Key>;

  void add(view key);
  void add_null();

  bool has_nulls() const { return nulls; }
  uint64_t text_bytes() const { return characters; } // bytes of all texts so far, repeated ones too

  // Ends the column: the dictionary, and the rows' codes in codes().  With NULLs, code 0 is NULL and the value at
  // position p has code p + 1; else it has code p.
  dictionary finish();
  const std::vector<uint32_t> &codes() const { return row_codes; }

private:
  struct hash : std::hash<view> {
    using is_transparent = void;
  };

  // In the meantime values are numbered from 1 in the order of their first appearance and NULL is 0.
  std::unordered_map<Key, uint32_t, hash, std::equal_to<>> numbers;
  std::vector<uint32_t> row_codes;
  uint64_t characters = 0;
  bool nulls = false;
};

extern template class dictionary_encoder<int64_t>;
extern template class dictionary_encoder<std::string>;

} // namespace store
