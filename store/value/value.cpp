#include "store/value/value.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"
#include <vorn/encode.h>

namespace store {

namespace {

// Reads "DECIMAL(18,3)".
std::optional<column_type> parsed_decimal(std::string_view sql_type) {
  constexpr std::string_view name = "DECIMAL(";
  const size_t comma = sql_type.find(',');
  if (!sql_type.starts_with(name) || comma == sql_type.npos)
    return std::nullopt;
  uint32_t width = 0;
  uint32_t scale = 0;
  std::from_chars(sql_type.data() + name.size(), sql_type.data() + comma, width);
  std::from_chars(sql_type.data() + comma + 1, sql_type.data() + sql_type.size(), scale);
  if (width > 38 || scale > width)
    return std::nullopt;
  if (width > 18)
    return column_type{value_kind::wide, 16, scale};
  return column_type{value_kind::integer, width > 9 ? 8U : width > 4 ? 4U : 2U, scale};
}

} // namespace

bool column_type::is_numeric() const {
  return kind == value_kind::integer || kind == value_kind::natural || kind == value_kind::wide ||
         kind == value_kind::single || kind == value_kind::real;
}

std::optional<column_type> type_of(std::string_view sql_type) {
  static constexpr std::pair<std::string_view, column_type> types[] = {
      {"BOOLEAN", {value_kind::boolean, 1}},
      {"TINYINT", {value_kind::integer, 1}},
      {"SMALLINT", {value_kind::integer, 2}},
      {"INTEGER", {value_kind::integer, 4}},
      {"BIGINT", {value_kind::integer, 8}},
      {"HUGEINT", {value_kind::wide, 16}},
      {"UTINYINT", {value_kind::integer, 1, 0, false}},
      {"USMALLINT", {value_kind::integer, 2, 0, false}},
      {"UINTEGER", {value_kind::integer, 4, 0, false}},
      {"UBIGINT", {value_kind::natural, 8}},
      {"FLOAT", {value_kind::single, 4}},
      {"DOUBLE", {value_kind::real, 8}},
      {"DATE", {value_kind::date, 4}},
      {"TIME", {value_kind::time, 8}},
      {"TIMESTAMP", {value_kind::timestamp, 8}},
      {"TIMESTAMP_S", {value_kind::timestamp, 8}},
      {"TIMESTAMP_MS", {value_kind::timestamp, 8}},
      {"TIMESTAMP_NS", {value_kind::nanoseconds, 8}},
      {"TIMESTAMP WITH TIME ZONE", {value_kind::instant, 8}},
      {"UUID", {value_kind::uuid, 16}},
      {"VARCHAR", {value_kind::text, 4}},
      {"BLOB", {value_kind::blob, 4}},
  };
  for (const auto &[name, type] : types)
    if (name == sql_type)
      return type;
  return parsed_decimal(sql_type);
}

wide_key wide_key_of(__int128 number) {
  wide_key out;
  auto bits = static_cast<unsigned __int128>(number);
  for (size_t i = out.bytes.size(); i-- > 0; bits >>= 8)
    out.bytes[i] = static_cast<uint8_t>(bits);
  out.bytes[0] ^= 0x80;
  return out;
}

__int128 number_of(const wide_key &key) {
  unsigned __int128 bits = 0;
  for (uint8_t byte : key.bytes)
    bits = bits << 8 | byte;
  return static_cast<__int128>(bits ^ static_cast<unsigned __int128>(1) << 127);
}

int64_t real_key(double real) {
  if (std::isnan(real))
    real = std::numeric_limits<double>::quiet_NaN();
  return vornenc_int64_of_key(vornenc_key_of_double(real), 64);
}

double real_of_key(int64_t key) { return vornenc_double_of_key(vornenc_key_of_int64(key, 64)); }

int64_t natural_key(uint64_t number) { return vornenc_int64_of_key(number, 64); }
uint64_t natural_of_key(int64_t key) { return vornenc_key_of_int64(key, 64); }

} // namespace store
