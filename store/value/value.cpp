#include "store/value/value.hpp"

#include "store/error.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>

namespace store {

namespace {

[[noreturn]] void not_a(value_kind kind, std::string_view text) {
  throw error(fmt::format("cannot read '{}' as a value of type {}", text, kind_name(kind)));
}

// Reads a number that takes up the whole text.
template <class T>
std::optional<T> whole_number(std::string_view text) {
  T number{};
  auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return number;
}

std::optional<int64_t> boolean(std::string_view text) {
  if (text == "true")
    return 1;
  if (text == "false")
    return 0;
  return std::nullopt;
}

// Takes "2001-01-15 10:30:00.25" apart from the left.  Digits come in groups of a fixed length.
class time_reader {
public:
  explicit time_reader(std::string_view text) : rest(text) {}

  bool at_end() const { return rest.empty(); }

  bool skip(char expected) {
    if (rest.empty() || rest.front() != expected)
      return false;
    rest.remove_prefix(1);
    return true;
  }

  std::optional<unsigned> digits(size_t count) {
    if (rest.size() < count || !std::all_of(rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(count), is_digit))
      return std::nullopt;
    auto number = whole_number<unsigned>(rest.substr(0, count));
    rest.remove_prefix(count);
    return number;
  }

  std::optional<std::chrono::sys_days> date() {
    auto year = digits(4);
    auto month = skip('-') ? digits(2) : std::nullopt;
    auto day = skip('-') ? digits(2) : std::nullopt;
    if (!year || !month || !day)
      return std::nullopt;
    std::chrono::year_month_day date{std::chrono::year(static_cast<int>(*year)), std::chrono::month(*month),
                                     std::chrono::day(*day)};
    if (!date.ok())
      return std::nullopt;
    return std::chrono::sys_days(date);
  }

  // Hours and minutes, perhaps seconds, perhaps up to six digits of a fraction.
  std::optional<std::chrono::microseconds> time_of_day() {
    auto hour = digits(2);
    auto minute = skip(':') ? digits(2) : std::nullopt;
    std::optional<unsigned> second = 0;
    uint64_t fraction = 0;
    if (skip(':')) {
      second = digits(2);
      if (second && skip('.')) {
        auto length = std::min<size_t>(rest.size(), 6);
        auto part = length == 0 ? std::nullopt : digits(length);
        if (!part)
          return std::nullopt;
        fraction = *part;
        for (; length < 6; ++length)
          fraction *= 10;
      }
    }
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59)
      return std::nullopt;
    return std::chrono::hours(*hour) + std::chrono::minutes(*minute) + std::chrono::seconds(*second) +
           std::chrono::microseconds(fraction);
  }

private:
  static bool is_digit(char c) { return c >= '0' && c <= '9'; }

  std::string_view rest;
};

std::optional<int64_t> date(std::string_view text) {
  time_reader reader(text);
  auto day = reader.date();
  if (!day || !reader.at_end())
    return std::nullopt;
  return day->time_since_epoch().count();
}

std::optional<int64_t> timestamp(std::string_view text) {
  time_reader reader(text);
  auto day = reader.date();
  if (!day)
    return std::nullopt;
  std::optional<std::chrono::microseconds> time{0};
  if (reader.skip(' ') || reader.skip('T'))
    time = reader.time_of_day();
  if (!time || !reader.at_end())
    return std::nullopt;
  return std::chrono::microseconds(day->time_since_epoch()).count() + time->count();
}

std::optional<int64_t> real(std::string_view text) {
  auto number = whole_number<double>(text);
  return number ? std::optional(real_key(*number)) : std::nullopt;
}

std::optional<int64_t> key(value_kind kind, std::string_view text) {
  switch (kind) {
  case value_kind::boolean:
    return boolean(text);
  case value_kind::integer:
    return whole_number<int64_t>(text);
  case value_kind::real:
    return real(text);
  case value_kind::date:
    return date(text);
  case value_kind::timestamp:
    return timestamp(text);
  case value_kind::text:
    break;
  }
  return std::nullopt;
}

// The bits of positive reals sort as they are; those of negative ones the wrong way round.
int64_t reorder_negative(int64_t bits) { return bits < 0 ? bits ^ std::numeric_limits<int64_t>::max() : bits; }

} // namespace

int64_t real_key(double real) {
  if (std::isnan(real))
    real = std::numeric_limits<double>::quiet_NaN();
  if (real == 0)
    real = 0;
  return reorder_negative(std::bit_cast<int64_t>(real));
}

double real_of_key(int64_t key) { return std::bit_cast<double>(reorder_negative(key)); }

value parse_value(value_kind kind, std::string_view text) {
  if (kind == value_kind::text)
    return std::string(text);
  auto parsed = key(kind, text);
  if (!parsed)
    not_a(kind, text);
  return *parsed;
}

std::string_view kind_name(value_kind kind) {
  static constexpr std::string_view names[] = {"boolean", "integer", "real", "date", "timestamp", "text"};
  return names[static_cast<size_t>(kind)];
}

std::optional<type_traits> traits_of(std::string_view sql_type) {
  struct entry {
    std::string_view sql_type;
    type_traits traits;
  };
  static constexpr entry types[] = {
      {"BOOLEAN", {value_kind::boolean, 1}},
      {"TINYINT", {value_kind::integer, 1}},
      {"SMALLINT", {value_kind::integer, 2}},
      {"INTEGER", {value_kind::integer, 4}},
      {"BIGINT", {value_kind::integer, 8}},
      {"HUGEINT", {value_kind::integer, 16}},
      {"UTINYINT", {value_kind::integer, 1}},
      {"USMALLINT", {value_kind::integer, 2}},
      {"UINTEGER", {value_kind::integer, 4}},
      {"UBIGINT", {value_kind::integer, 8}},
      {"FLOAT", {value_kind::real, 4}},
      {"DOUBLE", {value_kind::real, 8}},
      {"DATE", {value_kind::date, 4}},
      {"TIMESTAMP", {value_kind::timestamp, 8}},
      {"TIMESTAMP_S", {value_kind::timestamp, 8}},
      {"TIMESTAMP_MS", {value_kind::timestamp, 8}},
      {"VARCHAR", {value_kind::text, 4}},
  };
  for (const entry &e : types)
    if (e.sql_type == sql_type)
      return e.traits;
  return std::nullopt;
}

std::string_view sql_type_of(value_kind kind) {
  static constexpr std::string_view types[] = {"BOOLEAN", "BIGINT", "DOUBLE", "DATE", "TIMESTAMP", "VARCHAR"};
  return types[static_cast<size_t>(kind)];
}

} // namespace store
