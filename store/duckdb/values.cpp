#include "store/duckdb/values.hpp"

#include <fmt/format.h>

namespace store {

std::string sql_values(std::string_view column, value_kind kind) {
  // A boolean is read as the number that is its key.
  const auto read_as = sql_type_of(kind == value_kind::boolean ? value_kind::integer : kind);
  return fmt::format("{}::{}", duckdb::quoted_name(column), read_as);
}

cell value_at(const duckdb::vector &values, uint64_t row, value_kind kind) {
  if (values.is_null(row))
    return {};
  switch (kind) {
  case value_kind::text:
    return values.text(row);
  case value_kind::real:
    return real_key(values.number<double>(row));
  case value_kind::date:
    return int64_t{values.number<int32_t>(row)};
  case value_kind::boolean:
  case value_kind::integer:
  case value_kind::timestamp:
    break;
  }
  return values.number<int64_t>(row);
}

} // namespace store
