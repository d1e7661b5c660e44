#include "store/encode/column_builder.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include <fmt/format.h>

#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// Are the values of a column stored without a dictionary?
bool stores_values(const encoding_choice &choice) {
  return choice.form == encoding::fixed || choice.form == encoding::dynp || choice.form == encoding::prefix;
}

[[noreturn]] void refuse_null(std::string_view name, encoding form) {
  throw error(fmt::format("column '{}' has NULLs, which {} does not store", shortened(name), encoding_name(form)));
}

} // namespace

code_builder<std::string>::row code_builder<std::string>::row_of(value v) {
  if (v.size() > dictionary::longest_text)
    throw error(fmt::format("column '{}' has a value of {} bytes; {} is the most that a dictionary stores",
                            shortened(name_), v.size(), dictionary::longest_text));
  return distinct_.number_of(v);
}

void code_builder<std::string>::append_run(row r, uint64_t count) {
  if (!codes_.empty() && codes_.back() == r) {
    counts_.back() += count;
    return;
  }
  codes_.push_back(r);
  counts_.push_back(count);
}

void code_builder<std::string>::finish(column &out, const encoding_choice &choice) {
  std::vector<uint32_t> code_of;
  const auto &entries = out.values.emplace<dictionary>(distinct_.finish(code_of));
  const coded_rows rows{codes_, counts_};
  for (size_t i = 0; i < codes_.size(); ++i) {
    codes_[i] = code_of[codes_[i]];
    if (out.type.is_bytes())
      out.plain_bytes += entries.symbol(codes_[i]).size() * rows.count(i);
  }
  store_codes(out, rows, choice.form);
}

void code_builder<int64_t>::append_run(row r, uint64_t count) {
  const bool is_first = keys_.empty();
  const bool was_null = !nulls_.empty() && nulls_.back() + 1 == keys_.size();
  if (!is_first && row{keys_.back(), was_null} == r) {
    counts_.back() += count;
    return;
  }
  append(r);
  counts_.push_back(count);
}

void code_builder<int64_t>::finish(column &out, const encoding_choice &choice) {
  key_range range{std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()};
  auto null = nulls_.begin();
  for (size_t i = 0; i < keys_.size(); ++i)
    if (null != nulls_.end() && *null == i) {
      ++null;
    } else {
      range.low = std::min(range.low, keys_[i]);
      range.high = std::max(range.high, keys_[i]);
    }
  // A look-up in a table of the range has no branch that could be mispredicted, and the table is often in the cache.
  // It takes 4 bytes a value.
  constexpr uint64_t small_range = uint64_t{1} << 16;
  const uint64_t width = static_cast<uint64_t>(range.high) - static_cast<uint64_t>(range.low);
  const bool is_dense = range.low <= range.high && width < std::max<uint64_t>(small_range, 4 * keys_.size());
  std::vector<uint32_t> codes(keys_.size());
  dictionary entries = is_dense ? coded_by_range(range, codes) : coded_by_hash(codes);
  const coded_rows rows{codes, counts_};
  if (!choice.form && suits_fixed(rows, entries, range, out.type, choice.smallest)) {
    std::vector<int64_t> keys;
    for (size_t i = 0; i < counts_.size(); ++i)
      keys.insert(keys.end(), counts_[i], keys_[i]);
    store_keys(out, counts_.empty() ? keys_ : keys, encoding::fixed);
    return;
  }
  out.values = std::move(entries);
  store_codes(out, rows, choice.form);
}

dictionary code_builder<int64_t>::coded_by_range(key_range range, std::vector<uint32_t> &codes) const {
  const auto place_of = [&](int64_t key) { return static_cast<uint64_t>(key) - static_cast<uint64_t>(range.low); };
  std::vector<uint32_t> code_of(place_of(range.high) + 1);
  // The key that stands for NULL is no key of the column, unless another row has it.
  auto null = nulls_.begin();
  for (size_t i = 0; i < keys_.size(); ++i)
    if (null != nulls_.end() && *null == i)
      ++null;
    else
      code_of[place_of(keys_[i])] = 1;
  const bool with_null = !nulls_.empty();
  std::vector<int64_t> ascending;
  for (uint64_t place = 0; place < code_of.size(); ++place)
    if (code_of[place] != 0) {
      code_of[place] = static_cast<uint32_t>(ascending.size() + (with_null ? 1 : 0));
      ascending.push_back(static_cast<int64_t>(static_cast<uint64_t>(range.low) + place));
    }
  null = nulls_.begin();
  for (size_t i = 0; i < keys_.size(); ++i)
    if (null != nulls_.end() && *null == i)
      ++null; // code 0
    else
      codes[i] = code_of[place_of(keys_[i])];
  return dictionary::of(ascending, with_null);
}

dictionary code_builder<int64_t>::coded_by_hash(std::vector<uint32_t> &codes) const {
  distinct_values<int64_t> distinct;
  auto null = nulls_.begin();
  for (size_t i = 0; i < keys_.size(); ++i)
    if (null != nulls_.end() && *null == i) {
      codes[i] = distinct.null_number();
      ++null;
    } else {
      codes[i] = distinct.number_of(keys_[i]);
    }
  std::vector<uint32_t> code_of;
  dictionary out = distinct.finish(code_of);
  for (uint32_t &code : codes)
    code = code_of[code];
  return out;
}

key_builder::row key_builder::null_row() const { refuse_null(name_, form_); }

prefix_text_builder::row prefix_text_builder::null_row() const { refuse_null(name_, encoding::prefix); }

prefix_text_builder::row prefix_text_builder::row_of(value text) {
  if (text.empty() || text.size() > longest_prefix_value)
    throw error(fmt::format("column '{}' has a text of {} bytes; prefix stores 1 to {}", shortened(name_), text.size(),
                            longest_prefix_value));
  if (text_bytes_ != 0 && text.size() != text_bytes_)
    throw error(fmt::format("column '{}' has texts of {} and of {} bytes; prefix stores one length", shortened(name_),
                            text_bytes_, text.size()));
  text_bytes_ = static_cast<uint32_t>(text.size());
  return text;
}

void prefix_text_builder::append_run(row text, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i)
    append(text);
}

void prefix_text_builder::finish(column &out) const {
  out.plain_bytes = texts_.size();
  store_texts(out, texts_, std::max(text_bytes_, 1U));
}

void check_encoding(const column_info &info, const encoding_choice &choice) {
  const column_type &type = *info.type;
  const bool as_texts = type.is_bytes() && choice.form == encoding::prefix;
  if ((type.is_bytes() || type.is_wide()) && stores_values(choice) && !as_texts)
    throw error(fmt::format("column '{}' is of type {}, which {} does not store", shortened(info.name), info.sql_type,
                            encoding_name(*choice.form)));
}

column_builder::column_builder(const column_info &info, const encoding_choice &choice)
    : name_(info.name), type_(*info.type), choice_(choice), builder_(made(info, choice)) {}

column_builder::any_builder column_builder::made(const column_info &info, const encoding_choice &choice) {
  check_encoding(info, choice);
  if (info.type->is_bytes() && choice.form == encoding::prefix)
    return prefix_text_builder(info.name);
  if (info.type->is_bytes() || info.type->is_wide())
    return code_builder<std::string>(info.name);
  if (stores_values(choice))
    return key_builder(info.name, *choice.form);
  return code_builder<int64_t>(info.name);
}

column column_builder::finish() {
  column out;
  out.name = name_;
  out.type = type_;
  with([&](auto &any) {
    if constexpr (requires { any.finish(out, choice_); })
      any.finish(out, choice_);
    else
      any.finish(out);
  });
  out.plain_bytes += out.rows * type_.plain_bytes;
  if (choice_.compressed)
    compress(out);
  return out;
}

} // namespace store
