#include "store/duckdb/table_file.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/duckdb/values.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"

namespace store {

namespace {

std::string scan_of(const std::filesystem::path &path) {
  if (!std::filesystem::exists(path))
    throw error(fmt::format("no such file: {}", path.string()));
  const std::string name = duckdb::quoted_text(path.string());
  if (path.extension() == ".parquet")
    return fmt::format("read_parquet({})", name);
  // The types of a CSV file are guessed from all of its rows, so that no later row can contradict them.
  if (path.extension() == ".csv")
    return fmt::format("read_csv({}, sample_size = -1)", name);
  throw error(fmt::format("neither a .parquet nor a .csv file: {}", path.string()));
}

// Are the values of a column stored themselves, rather than their codes?
bool stores_values(const encoding_choice &choice) {
  return choice.form == encoding::fixed || choice.form == encoding::dynp || choice.form == encoding::prefix;
}

using report = std::function<void(uint64_t)>;

// Calls with the values of a column, one by one.
template <class Take>
void for_values(duckdb::result rows, value_kind kind, const report &progress, Take take) {
  uint64_t done = 0;
  while (auto chunk = rows.next()) {
    const duckdb::vector values = chunk->column(0);
    for (uint64_t row = 0; row < chunk->rows(); ++row)
      take(value_at(values, row, kind));
    progress(done += chunk->rows());
  }
}

bool is_null(const cell &c) { return std::holds_alternative<std::monostate>(c); }

void refuse_null(const cell &c, const column &of, encoding form) {
  if (is_null(c))
    throw error(fmt::format("column '{}' has NULLs, which {} does not store", of.name, encoding_name(form)));
}

template <class Key>
void encode_distinct(column &out, const encoding_choice &choice, duckdb::result rows, const report &progress) {
  using view = typename dictionary_encoder<Key>::view;
  dictionary_encoder<Key> encoder;
  for_values(std::move(rows), out.kind, progress, [&](const cell &c) {
    if (is_null(c)) {
      encoder.add_null();
      return;
    }
    const view key = std::get<view>(c);
    if constexpr (std::is_same_v<Key, std::string>)
      if (key.size() > dictionary::longest_text)
        throw error(fmt::format("column '{}' has a text of {} bytes; {} is the most that a dictionary stores", out.name,
                                key.size(), dictionary::longest_text));
    encoder.add(key);
  });
  out.values = encoder.finish();
  out.plain_bytes = encoder.text_bytes();
  store_codes(out, encoder.codes(), choice.form);
}

void encode_keys(column &out, encoding form, duckdb::result rows, const report &progress) {
  std::vector<int64_t> keys;
  for_values(std::move(rows), out.kind, progress, [&](const cell &c) {
    refuse_null(c, out, form);
    keys.push_back(std::get<int64_t>(c));
  });
  store_keys(out, keys, form);
}

void encode_prefix_texts(column &out, duckdb::result rows, const report &progress) {
  std::string texts;
  uint32_t text_bytes = 0;
  for_values(std::move(rows), out.kind, progress, [&](const cell &c) {
    refuse_null(c, out, encoding::prefix);
    const auto text = std::get<std::string_view>(c);
    if (text.empty() || text.size() > longest_prefix_value)
      throw error(fmt::format("column '{}' has a text of {} bytes; prefix stores 1 to {}", out.name, text.size(),
                              longest_prefix_value));
    if (text_bytes != 0 && text.size() != text_bytes)
      throw error(fmt::format("column '{}' has texts of {} and of {} bytes; prefix stores one length", out.name,
                              text_bytes, text.size()));
    text_bytes = static_cast<uint32_t>(text.size());
    texts += text;
  });
  out.plain_bytes = texts.size();
  store_texts(out, texts, std::max(text_bytes, 1U));
}

} // namespace

table_file::table_file(duckdb::connection &db, const std::filesystem::path &path) : database(db), scan(scan_of(path)) {
  auto description = database.query(fmt::format("SELECT column_name, column_type FROM (DESCRIBE FROM {})", scan));
  while (auto chunk = description.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      const auto sql_type = chunk->column(1).text(row);
      infos.push_back({std::string(chunk->column(0).text(row)), std::string(sql_type), traits_of(sql_type)});
    }
  row_count = static_cast<uint64_t>(
      database.query(fmt::format("SELECT count(*) FROM {}", scan)).next()->column(0).number<int64_t>(0));
}

const table_file::column_info &table_file::find(std::string_view name) const {
  std::vector<std::string_view> names;
  for (const column_info &info : infos) {
    if (info.name == name) {
      if (!info.traits)
        throw error(fmt::format("column '{}' has type {}, which the store does not encode", name, info.sql_type));
      return info;
    }
    names.push_back(info.name);
  }
  throw error(fmt::format("no column '{}'; the columns are {}", name, fmt::join(names, ", ")));
}

void table_file::check_encoding(const column_info &info, const encoding_choice &choice) {
  if (info.traits->kind == value_kind::text && stores_values(choice) && choice.form != encoding::prefix)
    throw error(
        fmt::format("column '{}' is of type text, which {} does not store", info.name, encoding_name(*choice.form)));
}

column table_file::load(const column_info &info, const encoding_choice &choice,
                        const std::function<void(uint64_t)> &progress) const {
  check_encoding(info, choice);
  column out;
  out.name = info.name;
  out.sql_type = info.sql_type;
  out.kind = info.traits->kind;
  auto rows = database.query(fmt::format("SELECT {} FROM {}", sql_values(info.name, out.kind), scan));
  if (out.kind == value_kind::text && choice.form == encoding::prefix)
    encode_prefix_texts(out, std::move(rows), progress);
  else if (out.kind == value_kind::text)
    encode_distinct<std::string>(out, choice, std::move(rows), progress);
  else if (stores_values(choice))
    encode_keys(out, *choice.form, std::move(rows), progress);
  else
    encode_distinct<int64_t>(out, choice, std::move(rows), progress);
  out.plain_bytes += out.rows * info.traits->plain_bytes;
  if (choice.compressed)
    compress(out);
  return out;
}

} // namespace store
