#include "store/table_file.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

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

bool stores_values(const encoding_choice &choice) {
  return choice.form == encoding::fixed || choice.form == encoding::dynp;
}

// Reads the one column of a result.  `value_at` gives the key of a row that is not NULL.
template <class ValueAt, class Take, class TakeNull>
void for_rows(duckdb::result rows, const std::function<void(uint64_t)> &progress, ValueAt value_at, Take take,
              TakeNull take_null) {
  uint64_t done = 0;
  while (auto chunk = rows.next()) {
    const duckdb::vector values = chunk->column(0);
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      if (values.is_null(row))
        take_null();
      else
        take(value_at(values, row));
    }
    progress(done += chunk->rows());
  }
}

template <class Key, class ValueAt>
void encode(column &out, const encoding_choice &choice, duckdb::result rows,
            const std::function<void(uint64_t)> &progress, ValueAt value_at) {
  if constexpr (std::is_same_v<Key, int64_t>)
    if (stores_values(choice)) {
      std::vector<int64_t> keys;
      for_rows(
          std::move(rows), progress, value_at, [&](int64_t key) { keys.push_back(key); },
          [&] {
            throw error(
                fmt::format("column '{}' has NULLs, which {} does not store", out.name, encoding_name(*choice.form)));
          });
      store_keys(out, keys, *choice.form);
      return;
    }
  dictionary_encoder<Key> encoder;
  for_rows(
      std::move(rows), progress, value_at, [&](const auto &key) { encoder.add(key); }, [&] { encoder.add_null(); });
  out.values = encoder.finish();
  out.has_nulls = encoder.has_nulls();
  out.plain_bytes = encoder.text_bytes();
  store_codes(out, encoder.codes(), choice.form);
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
  if (info.traits->kind == value_kind::text && stores_values(choice))
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
  // A boolean is read as the number that is its key.
  const auto read_as = sql_type_of(out.kind == value_kind::boolean ? value_kind::integer : out.kind);
  auto rows = database.query(fmt::format("SELECT {}::{} FROM {}", duckdb::quoted_name(info.name), read_as, scan));
  const auto load_numbers = [&](auto value_at) { encode<int64_t>(out, choice, std::move(rows), progress, value_at); };
  using duckdb::vector;
  switch (out.kind) {
  case value_kind::text:
    encode<std::string>(out, choice, std::move(rows), progress,
                        [](const vector &values, uint64_t row) { return values.text(row); });
    break;
  case value_kind::real:
    load_numbers([](const vector &values, uint64_t row) { return real_key(values.number<double>(row)); });
    break;
  case value_kind::date:
    load_numbers([](const vector &values, uint64_t row) { return int64_t{values.number<int32_t>(row)}; });
    break;
  case value_kind::boolean:
  case value_kind::integer:
  case value_kind::timestamp:
    load_numbers([](const vector &values, uint64_t row) { return values.number<int64_t>(row); });
    break;
  }
  out.plain_bytes += out.rows * info.traits->plain_bytes;
  if (choice.compressed)
    compress(out);
  return out;
}

} // namespace store
