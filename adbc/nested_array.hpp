// Nested Arrow arrays for the metadata of the standard: texts, numbers, lists, structs and dense unions.
//
// A column is a tree with its schema.  Values are appended row by row, to the children first:
//
//     nested_column lists("+l", "names", true, {{"u", "item", true}});
//     lists.children[0].append("first");
//     lists.append_nested();
//     ... lists.schema(), lists.finish() ...
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <vorn/aligned.hpp>

#include "store/arrow/exported.hpp"

namespace store::adbc {

// The rows of a column so far.  A child of a list has as many rows as the lists have elements.
class nested_column {
public:
  nested_column(std::string format, std::string name, bool is_nullable, std::vector<nested_column> below = {})
      : children(std::move(below)), format_(std::move(format)), name_(std::move(name)), is_nullable_(is_nullable) {
    if (has_offsets())
      offsets_.push_back(0);
  }

  std::vector<nested_column> children;

  // A text, of "u" and "z".
  void append(std::string_view text) {
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    offsets_.push_back(static_cast<int32_t>(bytes_.size()));
    end_row(true);
  }
  // A number; Number is the type of the format.
  template <class Number>
  void append_number(Number value) {
    const auto *bytes = reinterpret_cast<const char *>(&value);
    bytes_.insert(bytes_.end(), bytes, bytes + sizeof value);
    end_row(true);
  }
  void append_bit(bool value) {
    if (rows_ % 8 == 0)
      bytes_.push_back(0);
    if (value)
      bytes_.back() = static_cast<char>(bytes_.back() | 1 << (rows_ % 8));
    end_row(true);
  }
  // A struct, after a row of each child; or a list, after the rows of its elements.
  void append_nested() {
    if (format_ == "+l" || format_ == "+m")
      offsets_.push_back(static_cast<int32_t>(children.front().rows()));
    end_row(true);
  }
  // A dense union, after a row of the child of this number.
  void append_of(int8_t child) {
    bytes_.push_back(static_cast<char>(child));
    offsets_.push_back(static_cast<int32_t>(children[static_cast<size_t>(child)].rows() - 1));
    end_row(true);
  }
  // NULL, in all columns except unions.  The children of a struct get a NULL too.
  void append_null() {
    if (format_ == "+s") {
      for (nested_column &child : children)
        child.append_null();
    } else if (format_ == "b") {
      if (rows_ % 8 == 0)
        bytes_.push_back(0);
    } else if (has_offsets()) {
      offsets_.push_back(offsets_.back());
    } else {
      bytes_.resize(bytes_.size() + number_bytes());
    }
    end_row(false);
  }

  size_t rows() const { return rows_; }

  schema_parts schema() const {
    schema_parts out{format_, name_, {}, is_nullable_};
    for (const nested_column &child : children)
      out.children.push_back(child.schema());
    return out;
  }

  array_parts finish() const {
    array_parts out{static_cast<int64_t>(rows_), static_cast<int64_t>(nulls_), {}};
    if (!is_union())
      out.buffers.push_back(nulls_ == 0 ? arrow_buffer() : buffer_of(valid_));
    if (has_offsets())
      out.buffers.push_back(buffer_of(offsets_));
    if (is_union() || children.empty())
      out.buffers.push_back(buffer_of(bytes_));
    if (is_union())
      out.buffers.push_back(buffer_of(offsets_));
    for (const nested_column &child : children)
      out.children.push_back(child.finish());
    return out;
  }

private:
  template <class Element>
  static arrow_buffer buffer_of(const std::vector<Element> &elements) {
    return arrow_buffer(vorn_host::aligned_vector<Element>(elements.begin(), elements.end()));
  }
  bool is_union() const { return format_.starts_with("+u"); }
  bool has_offsets() const { return format_ == "u" || format_ == "z" || format_ == "+l" || format_ == "+m"; }
  size_t number_bytes() const { return format_ == "s" ? 2 : format_ == "i" || format_ == "I" ? 4 : 8; }
  void end_row(bool is_valid) {
    if (rows_ % 8 == 0)
      valid_.push_back(0);
    if (is_valid)
      valid_.back() = static_cast<char>(valid_.back() | 1 << (rows_ % 8));
    else
      ++nulls_;
    ++rows_;
  }

  std::string format_;
  std::string name_;
  bool is_nullable_;
  size_t rows_ = 0;
  size_t nulls_ = 0;
  std::vector<char> valid_;      // bits
  std::vector<int32_t> offsets_; // of texts, lists and unions
  std::vector<char> bytes_;      // of texts, numbers and bits; of unions the numbers of the children
};

} // namespace store::adbc
