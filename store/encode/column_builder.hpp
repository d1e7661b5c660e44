// Builds columns from values that come one by one, in a chosen form.
//
// A builder looks a value up once.  Then the result of the look-up is appended for each row that holds the value:
//
//     builder.append(builder.row_of(value));
//     builder.append(builder.null_row());
//
// A NULL, or a value of a length, that the form cannot store is a store::error.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "store/encode/column.hpp"
#include "store/encode/encoder.hpp"
#include "store/encode/runs.hpp"

namespace store {

// Codes of a dictionary, as dict or rle.  All rows come one by one, or all rows come in runs.
template <class Key>
class code_builder;

// Of texts and other symbols.
template <>
class code_builder<std::string> {
public:
  using value = std::string_view;
  using row = uint32_t;

  explicit code_builder(std::string_view column_name) : name_(column_name) {}

  row row_of(value v);
  row null_row() { return distinct_.null_number(); }
  void append(row r) { codes_.push_back(r); }
  void append_run(row r, uint64_t count);

  void finish(column &out, const encoding_choice &choice);

private:
  std::string name_;
  distinct_values<std::string> distinct_;
  std::vector<uint32_t> codes_;
  std::vector<uint64_t> counts_; // with runs: the number of rows of each code; otherwise empty
};

// A builder of keys.  Without a chosen form it stores the keys without a dictionary if there are many distinct keys and
// this takes little more memory.
template <>
class code_builder<int64_t> {
public:
  using value = int64_t;
  struct row {
    int64_t key;
    bool is_null;
    friend bool operator==(const row &, const row &) = default;
  };

  explicit code_builder(std::string_view) {}

  static row row_of(value key) { return {key, false}; }
  static row null_row() { return {0, true}; }
  void append(row r) {
    if (r.is_null)
      nulls_.push_back(keys_.size());
    keys_.push_back(r.key);
  }
  void append_run(row r, uint64_t count);

  void finish(column &out, const encoding_choice &choice);

private:
  // The dictionary, and the code of each key: by a table over the range of the keys, or by hashing.
  dictionary coded_by_range(key_range range, std::vector<uint32_t> &codes) const;
  dictionary coded_by_hash(std::vector<uint32_t> &codes) const;

  std::vector<int64_t> keys_;    // 0 for NULL
  std::vector<uint64_t> nulls_;  // which keys stand for NULL
  std::vector<uint64_t> counts_; // with runs: the number of rows of each key; otherwise empty
};

// Keys without a dictionary.
class key_builder {
public:
  using value = int64_t;
  using row = int64_t;

  key_builder(std::string_view column_name, encoding chosen) : name_(column_name), form_(chosen) {}

  row row_of(value key) const { return key; }
  row null_row() const;
  void append(row key) { keys_.push_back(key); }
  void append_run(row key, uint64_t count) { keys_.insert(keys_.end(), count, key); }

  void finish(column &out) const { store_keys(out, keys_, form_); }

private:
  std::string name_;
  encoding form_;
  std::vector<int64_t> keys_;
};

// Texts of one length without a dictionary.
class prefix_text_builder {
public:
  using value = std::string_view;
  using row = std::string_view; // as long as the value is there

  explicit prefix_text_builder(std::string_view column_name) : name_(column_name) {}

  row row_of(value text);
  row null_row() const;
  void append(row text) { texts_ += text; }
  void append_run(row text, uint64_t count);

  void finish(column &out) const;

private:
  std::string name_;
  std::string texts_;
  uint32_t text_bytes_ = 0;
};

// Throws store::error when the form cannot store values of the column's kind.
void check_encoding(const column_info &info, const encoding_choice &choice);

class column_builder {
public:
  // Throws store::error for a form that does not store the kind of the values.
  column_builder(const column_info &info, const encoding_choice &choice);

  // Calls a function with the builder for the kind of the values.  A value of the builder is a key, a text or another
  // symbol.
  template <class Take>
  void with(Take take) {
    std::visit(take, builder_);
  }

  column finish();

private:
  using any_builder = std::variant<code_builder<int64_t>, code_builder<std::string>, key_builder, prefix_text_builder>;
  static any_builder made(const column_info &info, const encoding_choice &choice);

  std::string name_;
  column_type type_;
  encoding_choice choice_;
  any_builder builder_;
};

} // namespace store
