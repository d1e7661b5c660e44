// The distinct values of a column in ascending order, in the form that the decoders of the library read: the symbols
// back to back, and their CLA or their common length.  Codes have the order of the values, so codes replace values in
// every comparison.
//
// The symbol of a text is the text.  The symbol of a key is its 8 or 16 bytes, most significant first, with the sign
// bit inverted: so symbols sort byte by byte in the order of their values.
//
// With NULLs, code 0 is NULL.  Its symbol has length 0, as the library expects.  The codes of values begin at 1.  The
// symbol of the empty text has length 0 too, so the library flags its code as NULL.  Only the code tells the empty text
// from NULL.  In a column without NULLs the flags are ignored.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/encode/stored_array.hpp"
#include "store/value/value.hpp"
#include <vorn/vorn.h>

namespace store {

// The symbol of a key of 64 bits.
class key_symbol {
public:
  explicit key_symbol(int64_t key);
  std::string_view bytes() const { return {reinterpret_cast<const char *>(&number_), sizeof number_}; }

private:
  uint64_t number_; // big-endian
};

class dictionary {
public:
  // The library counts the bytes of a symbol in 16 bits.  A text of 2^16 bytes would count as NULL.
  static constexpr size_t longest_text = 65535;

  // What it is made of, and a dictionary that was made before.
  struct parts {
    stored_array<char> symbols;
    stored_array<uint32_t> cla; // big-endian; empty if all symbols have one length
    uint16_t one_length = 0;    // big-endian
    bool has_null = false;
    uint64_t codes = 0;
  };
  dictionary() = default;
  explicit dictionary(parts made_before);
  const parts &stored() const { return made_; }

  // Of values in ascending order: symbols, or keys of 64 bits.
  static dictionary of(std::span<const std::string_view> symbols, bool with_null = false);
  static dictionary of(std::span<const int64_t> keys, bool with_null = false);

  bool has_null() const { return made_.has_null; }
  uint64_t size() const { return codes() - first_code(); } // values, without NULL
  uint64_t codes() const { return made_.codes; }
  uint64_t first_code() const { return made_.has_null ? 1 : 0; } // of the smallest value
  uint64_t bytes() const {
    return made_.symbols.size() + (made_.cla.empty() ? sizeof made_.one_length : made_.cla.size() * sizeof(uint32_t));
  }

  // Do the flags of the library tell NULL from every value?
  bool flags_tell_null() const { return !has_null() || !has_empty_text_; }

  // The value of a symbol, or of a code that is not NULL.  The bytes of a text or blob are not copied.
  cell value_of(uint64_t code, value_kind kind) const;
  static cell value_of(std::string_view symbol, value_kind kind);
  std::string_view symbol(uint64_t code) const;

  // An encoding context for codes of a width in bits, with this dictionary.  The dictionary outlives the context.
  vorn_enc_ctx encoding(uint32_t width, uint32_t flags) const;

private:
  parts made_;
  bool has_empty_text_ = false;
};

// Collects the distinct values of a column while the column is read.  Each value gets a number from 1 on, in the order
// of first appearance.  NULL is 0.  Key is int64_t or, for texts and other symbols, std::string.
template <class Key>
class distinct_values {
public:
  using view = std::conditional_t<std::is_same_v<Key, std::string>, std::string_view, Key>;

  uint32_t number_of(view key);
  uint32_t null_number() {
    nulls_ = true;
    return 0;
  }

  // The dictionary, and the code of each number.
  dictionary finish(std::vector<uint32_t> &code_of);

private:
  // A slot of a hash table with linear probing.  A slot with the number 0 is empty.
  struct slot {
    uint32_t hash;
    uint32_t number;
  };

  size_t place_of(uint32_t hash) const { return hash & (slots_.size() - 1); }
  void grow();
  view kept(view key);

  std::vector<slot> slots_ = std::vector<slot>(1024); // a power of two, at most half of them taken
  std::vector<view> values_;                          // of number 1, 2, ...
  std::vector<std::unique_ptr<char[]>> bytes_;        // of texts
  char *block_end_ = nullptr;                         // of the last ones
  size_t bytes_left_ = 0;                             // before it
  bool nulls_ = false;
};

extern template class distinct_values<int64_t>;
extern template class distinct_values<std::string>;

} // namespace store
