#include "store/encode/column_builder.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// Are the values of a column stored themselves, rather than their codes?
bool stores_values(const encoding_choice &choice) {
  return choice.form == encoding::fixed || choice.form == encoding::dynp || choice.form == encoding::prefix;
}

[[noreturn]] void refuse_null(std::string_view name, encoding form) {
  throw error(fmt::format("column '{}' has NULLs, which {} does not store", shortened(name), encoding_name(form)));
}

} // namespace

template <class Key>
typename code_builder<Key>::row code_builder<Key>::row_of(value v) {
  if constexpr (std::is_same_v<Key, std::string>)
    if (v.size() > dictionary::longest_text)
      throw error(fmt::format("column '{}' has a value of {} bytes; {} is the most that a dictionary stores",
                              shortened(name_), v.size(), dictionary::longest_text));
  return distinct_.number_of(v);
}

template <class Key>
void code_builder<Key>::append_run(row r, uint64_t count) {
  if (!codes_.empty() && codes_.back() == r) {
    counts_.back() += count;
    return;
  }
  codes_.push_back(r);
  counts_.push_back(count);
}

template <class Key>
void code_builder<Key>::finish(column &out, std::optional<encoding> form) {
  std::vector<uint32_t> code_of;
  const auto &entries = out.values.emplace<dictionary>(distinct_.finish(code_of));
  const coded_rows rows{codes_, counts_};
  for (size_t i = 0; i < codes_.size(); ++i) {
    codes_[i] = code_of[codes_[i]];
    if (out.type.is_bytes())
      out.plain_bytes += entries.symbol(codes_[i]).size() * rows.count(i);
  }
  store_codes(out, rows, form);
}

template class code_builder<int64_t>;
template class code_builder<std::string>;

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
    if constexpr (requires { any.finish(out, choice_.form); })
      any.finish(out, choice_.form);
    else
      any.finish(out);
  });
  out.plain_bytes += out.rows * type_.plain_bytes;
  if (choice_.compressed)
    compress(out);
  return out;
}

} // namespace store
