// How values are written.
#include <charconv>
#include <chrono>
#include <iterator>
#include <limits>

#include <fmt/format.h>

#include "store/value/value.hpp"

namespace store {

namespace {

constexpr int64_t micro = 1'000'000;
constexpr int64_t nano = 1'000'000'000;
constexpr int64_t day_seconds = 86'400;

int64_t floor_quotient(int64_t dividend, int64_t divisor) {
  const int64_t quotient = dividend / divisor;
  return dividend % divisor < 0 ? quotient - 1 : quotient;
}

void append_number(std::string &out, int64_t number) {
  char digits[24];
  out.append(digits, std::to_chars(std::begin(digits), std::end(digits), number).ptr);
}

// Two digits.
void append_pair(std::string &out, uint64_t number) {
  out += static_cast<char>('0' + number / 10);
  out += static_cast<char>('0' + number % 10);
}

// "infinity" and "-infinity" are the largest number and its negative.
template <class Number>
bool append_infinity(std::string &out, int64_t number) {
  constexpr int64_t infinity = std::numeric_limits<Number>::max();
  if (number != infinity && number != -infinity)
    return false;
  out += number == infinity ? "infinity" : "-infinity";
  return true;
}

void append_date(std::string &out, int64_t days) {
  // The calendar type of C++ has a small range of years.  The calendar repeats, so other years are mapped into this
  // range.
  constexpr int64_t cycle_years = 400;
  constexpr int64_t cycle_days = 146'097;
  const int64_t cycles = floor_quotient(days, cycle_days);
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days - cycles * cycle_days))};
  const int64_t year = static_cast<int>(date.year()) + cycles * cycle_years;
  fmt::format_to(std::back_inserter(out), "{:04}-", year > 0 ? year : 1 - year);
  append_pair(out, static_cast<unsigned>(date.month()));
  out += '-';
  append_pair(out, static_cast<unsigned>(date.day()));
  if (year <= 0)
    out += " (BC)";
}

// A time of day in ticks.  A second has a power of ten of ticks.
void append_time(std::string &out, int64_t ticks, int64_t per_second) {
  const auto seconds = static_cast<uint64_t>(ticks / per_second);
  append_pair(out, seconds / 3600);
  out += ':';
  append_pair(out, seconds / 60 % 60);
  out += ':';
  append_pair(out, seconds % 60);
  if (const int64_t fraction = ticks % per_second; fraction != 0) {
    // A digit before the fraction keeps its zeros.
    const size_t point = out.size();
    append_number(out, per_second + fraction);
    out[point] = '.';
    out.erase(out.find_last_not_of('0') + 1);
  }
}

void append_timestamp(std::string &out, int64_t ticks, int64_t per_second) {
  if (append_infinity<int64_t>(out, ticks))
    return;
  const int64_t per_day = day_seconds * per_second;
  append_date(out, floor_quotient(ticks, per_day));
  out += ' ';
  // The first day of the range begins before the smallest number.
  append_time(out, (ticks % per_day + per_day) % per_day, per_second);
}

// The fewest digits that read back as the same number.  A whole number gets ".0".
template <class Real>
void append_real(std::string &out, Real number) {
  const size_t begin = out.size();
  fmt::format_to(std::back_inserter(out), "{}", number);
  if (out.find_first_of(".en", begin) == out.npos)
    out += ".0";
}

void append_decimal(std::string &out, __int128 number, uint32_t scale) {
  auto magnitude = static_cast<unsigned __int128>(number);
  if (number < 0) {
    out += '-';
    magnitude = -magnitude;
  }
  char digits[48];
  char *first = std::end(digits);
  for (uint32_t decimals = 0; magnitude != 0 || decimals <= scale; ++decimals) {
    if (decimals == scale && scale != 0)
      *--first = '.';
    *--first = static_cast<char>('0' + static_cast<uint32_t>(magnitude % 10));
    magnitude /= 10;
  }
  out.append(first, std::end(digits));
}

void append_uuid(std::string &out, const wide_key &key) {
  const auto bits = static_cast<unsigned __int128>(number_of(key)) ^ static_cast<unsigned __int128>(1) << 127;
  for (int shift = 124; shift >= 0; shift -= 4) {
    out += "0123456789abcdef"[static_cast<size_t>(bits >> shift & 15)];
    if (shift == 96 || shift == 80 || shift == 64 || shift == 48)
      out += '-';
  }
}

void append_blob(std::string &out, std::string_view bytes) {
  for (char c : bytes) {
    const auto byte = static_cast<uint8_t>(c);
    if (byte < 0x20 || byte > 0x7e || c == '\\' || c == '\'' || c == '"')
      fmt::format_to(std::back_inserter(out), "\\x{:02X}", byte);
    else
      out += c;
  }
}

void append_key(std::string &out, int64_t key, const column_type &type) {
  switch (type.kind) {
  case value_kind::boolean:
    out += key != 0 ? "true" : "false";
    return;
  case value_kind::integer:
    if (type.scale == 0)
      append_number(out, key);
    else
      append_decimal(out, key, type.scale);
    return;
  case value_kind::natural:
    append_decimal(out, natural_of_key(key), 0);
    return;
  case value_kind::single:
    append_real(out, static_cast<float>(real_of_key(key)));
    return;
  case value_kind::real:
    append_real(out, real_of_key(key));
    return;
  case value_kind::date:
    if (!append_infinity<int32_t>(out, key))
      append_date(out, key);
    return;
  case value_kind::time:
    append_time(out, key, micro);
    return;
  case value_kind::timestamp:
    append_timestamp(out, key, micro);
    return;
  case value_kind::nanoseconds:
    append_timestamp(out, key, nano);
    return;
  case value_kind::instant:
    append_timestamp(out, key, micro);
    if (out.back() != 'y') // of infinity
      out += "+00";
    return;
  case value_kind::wide:
  case value_kind::uuid:
  case value_kind::text:
  case value_kind::blob:
    return; // no key of 64 bits
  }
}

} // namespace

void append_text(std::string &out, const cell &c, const column_type &type) {
  if (const auto *key = std::get_if<int64_t>(&c))
    append_key(out, *key, type);
  else if (const auto *wide = std::get_if<wide_key>(&c))
    type.kind == value_kind::uuid ? append_uuid(out, *wide) : append_decimal(out, number_of(*wide), type.scale);
  else if (const auto *bytes = std::get_if<std::string_view>(&c))
    type.kind == value_kind::blob ? append_blob(out, *bytes) : static_cast<void>(out += *bytes);
  else
    out += "NULL";
}

} // namespace store
