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

// Reads the one column of a result through `value_at`, which gives the key of a row that is not NULL.
template <class Key, class ValueAt>
column encode(duckdb::result rows, const table_file::column_info &info, const std::function<void(uint64_t)> &progress,
              ValueAt value_at) {
  dictionary_encoder<Key> encoder;
  while (auto chunk = rows.next()) {
    const duckdb::vector values = chunk->column(0);
    for (uint64_t row = 0; row < chunk->rows(); ++row) {
      if (values.is_null(row))
        encoder.add_null();
      else
        encoder.add(value_at(values, row));
    }
    progress(encoder.codes().size());
  }
  dictionary values = encoder.finish();
  const uint32_t width = least_width(values.size() + (encoder.has_nulls() ? 1 : 0));
  return {info.name,
          info.sql_type,
          info.traits->kind,
          encoder.has_nulls(),
          std::move(values),
          packed_codes(encoder.codes(), width),
          encoder.codes().size() * info.traits->plain_bytes + encoder.text_bytes()};
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

column table_file::load(const column_info &info, const std::function<void(uint64_t)> &progress) const {
  const value_kind kind = info.traits->kind;
  // A boolean is read as the number that is its key.
  const auto read_as = sql_type_of(kind == value_kind::boolean ? value_kind::integer : kind);
  auto rows = database.query(fmt::format("SELECT {}::{} FROM {}", duckdb::quoted_name(info.name), read_as, scan));
  const auto load_numbers = [&](auto value_at) { return encode<int64_t>(std::move(rows), info, progress, value_at); };
  using duckdb::vector;
  switch (kind) {
  case value_kind::text:
    return encode<std::string>(std::move(rows), info, progress,
                               [](const vector &values, uint64_t row) { return values.text(row); });
  case value_kind::real:
    return load_numbers([](const vector &values, uint64_t row) { return real_key(values.number<double>(row)); });
  case value_kind::date:
    return load_numbers([](const vector &values, uint64_t row) { return int64_t{values.number<int32_t>(row)}; });
  case value_kind::boolean:
  case value_kind::integer:
  case value_kind::timestamp:
    break;
  }
  return load_numbers([](const vector &values, uint64_t row) { return values.number<int64_t>(row); });
}

} // namespace store
