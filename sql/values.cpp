#include "sql/values.hpp"

#include <fmt/format.h>

namespace store {

namespace {

// A key, a text or another symbol.
template <class Value>
Value value_in(const cell &c) {
  if constexpr (std::is_same_v<Value, std::string_view>)
    if (const auto *wide = std::get_if<wide_key>(&c))
      return wide->view();
  return std::get<Value>(c);
}

} // namespace

std::string sql_type(const column_type &type) {
  // The types as which values are read; a boolean is read as the number that is its key.
  static constexpr std::string_view types[] = {"BIGINT",      "BIGINT", "UBIGINT", "HUGEINT",   "DOUBLE",
                                               "DOUBLE",      "DATE",   "TIME",    "TIMESTAMP", "TIMESTAMP_NS",
                                               "TIMESTAMPTZ", "UUID",   "VARCHAR", "BLOB"};
  if (type.scale != 0)
    return fmt::format("DECIMAL({}, {})", type.is_wide() ? 38 : 18, type.scale);
  return std::string(types[static_cast<size_t>(type.kind)]);
}

std::string sql_values(std::string_view column, const column_type &type) {
  return fmt::format("{}::{}", duckdb::quoted_name(column), sql_type(type));
}

cell value_at(const duckdb::vector &values, uint64_t row, value_kind kind) {
  if (values.is_null(row))
    return {};
  switch (kind) {
  case value_kind::text:
  case value_kind::blob:
    return values.text(row);
  case value_kind::wide:
  case value_kind::uuid: // the most significant bit of which DuckDB keeps inverted
    return wide_key_of(values.number<__int128>(row));
  case value_kind::natural:
    return natural_key(values.number<uint64_t>(row));
  case value_kind::single:
  case value_kind::real:
    return real_key(values.number<double>(row));
  case value_kind::date:
    return int64_t{values.number<int32_t>(row)};
  default:
    return values.number<int64_t>(row);
  }
}

void append_values(column_builder &out, const duckdb::vector &values, uint64_t rows, value_kind kind) {
  out.with([&]<class Builder>(Builder &builder) {
    for (uint64_t row = 0; row < rows; ++row) {
      const cell c = value_at(values, row, kind);
      builder.append(is_null(c) ? builder.null_row() : builder.row_of(value_in<typename Builder::value>(c)));
    }
  });
}

} // namespace store
