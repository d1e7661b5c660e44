// How values are written.
#include <chrono>
#include <limits>

#include <fmt/format.h>

#include "store/value/value.hpp"

namespace store {

namespace {

constexpr int64_t day = 86'400'000'000; // in microseconds

int64_t floor_quotient(int64_t dividend, int64_t divisor) {
  const int64_t quotient = dividend / divisor;
  return dividend % divisor < 0 ? quotient - 1 : quotient;
}

// "infinity", a calendar's two ends, is the largest number and its negative.
template <class Number>
std::string_view infinity_text(int64_t number) {
  constexpr int64_t infinity = std::numeric_limits<Number>::max();
  return number == infinity ? "infinity" : number == -infinity ? "-infinity" : "";
}

std::string date_text(int64_t days) {
  // The years of the calendar's type end soon, but the calendar repeats.
  constexpr int64_t cycle_years = 400;
  constexpr int64_t cycle_days = 146'097;
  const int64_t cycles = floor_quotient(days, cycle_days);
  const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days - cycles * cycle_days))};
  const int64_t year = static_cast<int>(date.year()) + cycles * cycle_years;
  return fmt::format("{:04}-{:02}-{:02}{}", year > 0 ? year : 1 - year, static_cast<unsigned>(date.month()),
                     static_cast<unsigned>(date.day()), year > 0 ? "" : " (BC)");
}

std::string timestamp_text(int64_t microseconds) {
  const int64_t days = floor_quotient(microseconds, day);
  const int64_t rest = microseconds - days * day;
  const int64_t seconds = rest / 1'000'000;
  std::string out =
      fmt::format("{} {:02}:{:02}:{:02}", date_text(days), seconds / 3600, seconds / 60 % 60, seconds % 60);
  if (const int64_t fraction = rest % 1'000'000; fraction != 0) {
    out += fmt::format(".{:06}", fraction);
    out.erase(out.find_last_not_of('0') + 1);
  }
  return out;
}

// The fewest digits that give the number back; a whole number shows that it is a real.
template <class Real>
std::string real_text(Real number) {
  std::string out = fmt::format("{}", number);
  return out.find_first_of(".en") == out.npos ? out + ".0" : out;
}

std::string key_text(int64_t key, value_kind kind, std::string_view sql_type) {
  switch (kind) {
  case value_kind::boolean:
    return key != 0 ? "true" : "false";
  case value_kind::real:
    return sql_type == "FLOAT" ? real_text(static_cast<float>(real_of_key(key))) : real_text(real_of_key(key));
  case value_kind::date:
    if (const auto infinity = infinity_text<int32_t>(key); !infinity.empty())
      return std::string(infinity);
    return date_text(key);
  case value_kind::timestamp:
    if (const auto infinity = infinity_text<int64_t>(key); !infinity.empty())
      return std::string(infinity);
    return timestamp_text(key);
  case value_kind::integer:
  case value_kind::text:
    break;
  }
  return std::to_string(key);
}

} // namespace

std::string to_text(const cell &c, std::string_view sql_type) {
  if (const auto *text = std::get_if<std::string_view>(&c))
    return std::string(*text);
  if (const auto *key = std::get_if<int64_t>(&c))
    return key_text(*key, traits_of(sql_type).value().kind, sql_type);
  return "NULL";
}

} // namespace store
