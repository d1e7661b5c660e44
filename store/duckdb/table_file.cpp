#include "store/duckdb/table_file.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/duckdb/values.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/error.hpp"

namespace store {

namespace {

// The name of a file in a scan, which reads some characters as patterns of names.
std::string literal_name(const std::filesystem::path &path) {
  std::string out;
  for (char c : path.string())
    if (std::string_view("*?[").find(c) != std::string_view::npos)
      out += fmt::format("[{}]", c);
    else
      out += c;
  return duckdb::quoted_text(out);
}

std::string list_of(std::span<const std::filesystem::path> paths) {
  std::vector<std::string> names;
  for (const std::filesystem::path &path : paths)
    names.push_back(literal_name(path));
  return fmt::format("[{}]", fmt::join(names, ", "));
}

std::string scan_of(std::span<const std::filesystem::path> paths) {
  const std::string extension = paths.front().extension().string();
  for (const std::filesystem::path &path : paths) {
    if (!std::filesystem::exists(path))
      throw error(fmt::format("no such file: {}", shortened(path.string())));
    if (path.extension() != ".parquet" && path.extension() != ".csv")
      throw error(fmt::format("neither a .parquet nor a .csv file: {}", shortened(path.string())));
    if (path.extension() != extension)
      throw error("the files are not of one kind");
  }
  // Folders with names such as a=1 add no columns.
  const std::string list = fmt::format("{}, hive_partitioning = false", list_of(paths));
  if (extension == ".parquet")
    return fmt::format("read_parquet({})", list);
  // The types of a CSV file are guessed from all of its rows, so that no later row can contradict them.
  return fmt::format("read_csv({}, sample_size = -1)", list);
}

std::vector<column_info> columns_of(duckdb::connection &db, const std::string &scan) {
  std::vector<column_info> out;
  auto description = db.query(fmt::format("SELECT column_name, column_type FROM (DESCRIBE FROM {})", scan));
  while (auto chunk = description.next())
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      const auto sql_type = chunk->column(1).text(row);
      out.push_back({std::string(chunk->column(0).text(row)), std::string(sql_type), type_of(sql_type)});
    }
  return out;
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
  for_values(std::move(rows), out.type.kind, progress, [&](const cell &c) {
    if (is_null(c)) {
      encoder.add_null();
      return;
    }
    if constexpr (std::is_same_v<Key, std::string>) {
      const auto *wide = std::get_if<wide_key>(&c);
      const view symbol = wide != nullptr ? wide->view() : std::get<view>(c);
      if (symbol.size() > dictionary::longest_text)
        throw error(fmt::format("column '{}' has a value of {} bytes; {} is the most that a dictionary stores",
                                shortened(out.name), symbol.size(), dictionary::longest_text));
      encoder.add(symbol);
    } else {
      encoder.add(std::get<Key>(c));
    }
  });
  out.values = encoder.finish();
  if (out.type.is_bytes())
    out.plain_bytes = encoder.text_bytes();
  store_codes(out, encoder.codes(), choice.form);
}

void encode_keys(column &out, encoding form, duckdb::result rows, const report &progress) {
  std::vector<int64_t> keys;
  for_values(std::move(rows), out.type.kind, progress, [&](const cell &c) {
    refuse_null(c, out, form);
    keys.push_back(std::get<int64_t>(c));
  });
  store_keys(out, keys, form);
}

void encode_prefix_texts(column &out, duckdb::result rows, const report &progress) {
  std::string texts;
  uint32_t text_bytes = 0;
  for_values(std::move(rows), out.type.kind, progress, [&](const cell &c) {
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

table_file::table_file(duckdb::connection &db, std::span<const std::filesystem::path> paths)
    : database(db), scan(scan_of(paths)) {
  stem = paths.front().stem().string();
  infos = columns_of(db, scan_of(paths.first(1)));
  for (const std::filesystem::path &path : paths.subspan(1)) {
    const auto others = columns_of(db, scan_of(std::span(&path, 1)));
    const bool same =
        std::equal(infos.begin(), infos.end(), others.begin(), others.end(),
                   [](const auto &a, const auto &b) { return a.name == b.name && a.sql_type == b.sql_type; });
    if (!same)
      throw error(fmt::format("the columns of {} are not those of {}", shortened(path.string()),
                              shortened(paths.front().string())));
  }
  if (paths.front().extension() == ".parquet")
    statistics = fmt::format("parquet_metadata({})", list_of(paths));
  row_count = static_cast<uint64_t>(
      database.query(fmt::format("SELECT count(*) FROM {}", scan)).next()->column(0).number<int64_t>(0));
}

std::optional<uint64_t> table_file::compressed_bytes(const std::vector<std::string> &names) const {
  if (statistics.empty())
    return std::nullopt;
  std::vector<std::string> texts;
  texts.reserve(names.size());
  for (const std::string &name : names)
    texts.push_back(duckdb::quoted_text(find(name).file_name()));
  const auto sum = database
                       .query(fmt::format("SELECT coalesce(sum(total_compressed_size), 0)::BIGINT FROM {} WHERE "
                                          "path_in_schema IN ({})",
                                          statistics, fmt::join(texts, ", ")))
                       .next();
  return static_cast<uint64_t>(sum->column(0).number<int64_t>(0));
}

void table_file::check_encoding(const column_info &info, const encoding_choice &choice) const {
  const column_type &type = *info.type;
  const bool as_texts = type.is_bytes() && choice.form == encoding::prefix;
  if ((type.is_bytes() || type.is_wide()) && stores_values(choice) && !as_texts)
    throw error(fmt::format("column '{}' is of type {}, which {} does not store", shortened(info.name), info.sql_type,
                            encoding_name(*choice.form)));
}

column table_file::load(const column_info &info, const encoding_choice &choice,
                        const std::function<void(uint64_t)> &progress) const {
  check_encoding(info, choice);
  column out;
  out.name = info.name;
  out.type = *info.type;
  auto rows = database.stream(fmt::format("SELECT {} FROM {}", sql_values(info.file_name(), out.type), scan));
  if (out.type.is_bytes() && choice.form == encoding::prefix)
    encode_prefix_texts(out, std::move(rows), progress);
  else if (out.type.is_bytes() || out.type.is_wide())
    encode_distinct<std::string>(out, choice, std::move(rows), progress);
  else if (stores_values(choice))
    encode_keys(out, *choice.form, std::move(rows), progress);
  else
    encode_distinct<int64_t>(out, choice, std::move(rows), progress);
  out.plain_bytes += out.rows * out.type.plain_bytes;
  if (choice.compressed)
    compress(out);
  return out;
}

} // namespace store
