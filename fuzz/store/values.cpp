// A value that is written as text reads back as the same value.  A text that is read has a position in the order of the
// values.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <string>
#include <vector>

#include "fuzz/store/targets.hpp"
#include "store/error.hpp"
#include "store/value/constant.hpp"

namespace vorn_fuzz {

using namespace store;

namespace {

constexpr const char *types[] = {
    "BOOLEAN",       "TINYINT",       "SMALLINT",       "INTEGER",        "BIGINT",        "HUGEINT",
    "UTINYINT",      "USMALLINT",     "UINTEGER",       "UBIGINT",        "FLOAT",         "DOUBLE",
    "DATE",          "TIME",          "TIMESTAMP",      "TIMESTAMP_NS",   "VARCHAR",       "TIMESTAMP WITH TIME ZONE",
    "BLOB",          "UUID",          "DECIMAL(4,3)",   "DECIMAL(9,0)",   "DECIMAL(18,2)", "DECIMAL(18,18)",
    "DECIMAL(19,1)", "DECIMAL(38,0)", "DECIMAL(38,10)", "DECIMAL(38,38)",
};

// A cell with the memory that it refers to.
struct value {
  cell held;
  std::string bytes = {};

  cell get() const { return std::holds_alternative<std::string_view>(held) ? cell(bytes) : held; }
  friend bool operator<(const value &a, const value &b) { return a.get() < b.get(); }
};

template <class Number>
int64_t number(input &from) {
  return static_cast<int64_t>(from.ConsumeIntegral<Number>());
}

int64_t integer(input &from, const column_type &type) {
  switch (type.plain_bytes) {
  case 1:
    return type.is_signed ? number<int8_t>(from) : number<uint8_t>(from);
  case 2:
    return type.is_signed ? number<int16_t>(from) : number<uint16_t>(from);
  case 4:
    return type.is_signed ? number<int32_t>(from) : number<uint32_t>(from);
  default:
    return number<int64_t>(from);
  }
}

value value_from(input &from, const column_type &type) {
  switch (type.kind) {
  case value_kind::boolean:
    return {int64_t{from.ConsumeBool()}};
  case value_kind::integer:
    return {integer(from, type)};
  case value_kind::natural:
    return {natural_key(from.ConsumeIntegral<uint64_t>())};
  case value_kind::wide:
  case value_kind::uuid: {
    const auto high = __int128{from.ConsumeIntegral<int64_t>()};
    const __int128 bits = high << 64 | from.ConsumeIntegral<uint64_t>();
    return {wide_key_of(type.kind == value_kind::uuid ? bits : bits / 2)}; // no more than 38 digits are read
  }
  case value_kind::single:
    return {real_key(std::bit_cast<float>(from.ConsumeIntegral<uint32_t>()))};
  case value_kind::real:
    return {real_key(std::bit_cast<double>(from.ConsumeIntegral<uint64_t>()))};
  case value_kind::date:
    return {number<int32_t>(from)};
  case value_kind::time:
    return {from.ConsumeIntegralInRange<int64_t>(0, 86'400'000'000)};
  case value_kind::timestamp:
  case value_kind::nanoseconds:
  case value_kind::instant: // the smallest number is none
    return {std::max(number<int64_t>(from), -std::numeric_limits<int64_t>::max())};
  case value_kind::text:
  case value_kind::blob:
    break;
  }
  return {std::string_view(), from.ConsumeBytesAsString(from.ConsumeIntegralInRange<size_t>(0, 20))};
}

int sign(int order) { return (order > 0 ? 1 : 0) - (order < 0 ? 1 : 0); }

// Are constants of a form in order, compared together or one by one?
void expect_ascending(const std::vector<value_order> &orders, const std::vector<value> &ascending,
                      const std::string &text) {
  for (const value_order &order : orders)
    EXPECT_TRUE(std::ranges::is_sorted(ascending, {}, [&](const value &v) { return sign(order(v.get())); })) << text;
}

} // namespace

void values(input &from) {
  const char *name = from.PickValueInArray(types);
  const column_type type = type_of(name).value();
  std::vector<value> ascending(4);
  for (value &v : ascending)
    v = value_from(from, type);
  std::sort(ascending.begin(), ascending.end());
  for (const value &v : ascending) {
    std::string text;
    append_text(text, v.get(), type);
    SCOPED_TRACE(std::string(name) + " " + text);
    const constant written{constant::form::text, text};
    const value_order order = orders_of(std::span(&written, 1), type).front();
    EXPECT_EQ(order(v.get()), 0);
    for (const value &other : ascending)
      if (!type.is_real())
        EXPECT_EQ(sign(order(other.get())), other < v ? -1 : v < other ? 1 : 0);
    expect_ascending({order}, ascending, text);
  }
  const std::string text = from.ConsumeRandomLengthString(), second = from.ConsumeRemainingBytesAsString();
  for (const constant::form form : {constant::form::text, constant::form::number})
    try {
      const constant both[] = {{form, text}, {constant::form::number, second}};
      const bool is_number = type.is_numeric() && store::is_number(second);
      if (form == constant::form::text || (type.is_numeric() && store::is_number(text)))
        expect_ascending(orders_of(std::span(both, is_number ? 2 : 1), type), ascending, text);
    } catch (const error &) { // NOLINT(bugprone-empty-catch)
    }
}

} // namespace vorn_fuzz
