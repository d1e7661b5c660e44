#include "store/value/constant.hpp"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <limits>
#include <optional>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

using int128 = __int128;
constexpr uint32_t most_digits = 38;

std::string_view kind_name(value_kind kind) {
  static constexpr std::string_view names[] = {"boolean",   "integer", "integer", "number",    "real",
                                               "real",      "date",    "time",    "timestamp", "timestamp",
                                               "timestamp", "uuid",    "text",    "blob"};
  return names[static_cast<size_t>(kind)];
}

template <class T>
int sign_of(const T &value, const T &constant) {
  return value < constant ? -1 : constant < value ? 1 : 0;
}

// Reals as SQL orders them: NaN equals itself and lies above all others.
int order_of_reals(double value, double constant) {
  if (std::isnan(value) || std::isnan(constant))
    return (std::isnan(value) ? 1 : 0) - (std::isnan(constant) ? 1 : 0);
  return sign_of(value, constant);
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::string_view trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(" \t\n");
  return begin == text.npos ? std::string_view() : text.substr(begin, text.find_last_not_of(" \t\n") - begin + 1);
}

// A decimal number: mantissa / 10^scale, where the mantissa has no more than 38 digits.  Numbers with more digits or
// with an exponent are reals in SQL.
struct decimal {
  int128 mantissa = 0;
  uint32_t scale = 0;

  // A rest of half a unit or more is rounded away from zero.
  decimal rounded(uint32_t wanted) const {
    if (scale <= wanted)
      return *this;
    const int128 unit = power_of_ten(scale - wanted);
    const int128 half = mantissa < 0 ? -unit / 2 : unit / 2;
    return {(mantissa + half) / unit, wanted};
  }
};

struct number {
  std::optional<decimal> exact;
  bool has_exponent = false;
  std::string digits; // what from_chars reads
};

std::optional<number> read_number(std::string_view text) {
  number out;
  decimal exact;
  size_t i = 0;
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+'))
    i = 1;
  uint32_t digits = 0;
  bool point = false;
  bool any = false;
  out.digits = negative ? "-" : "";
  for (; i < text.size() && (is_digit(text[i]) || (text[i] == '.' && !point)); ++i) {
    out.digits += text[i];
    if (text[i] == '.') {
      point = true;
      continue;
    }
    any = true;
    if (digits != 0 || text[i] != '0' || point)
      ++digits;
    if (digits <= most_digits)
      exact.mantissa = exact.mantissa * 10 + (text[i] - '0');
    exact.scale += point ? 1 : 0;
  }
  if (!any)
    return std::nullopt;
  int exponent = 0;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    out.has_exponent = true;
    size_t begin = i + 1;
    if (begin < text.size() && text[begin] == '+')
      ++begin;
    const auto [end, failure] = std::from_chars(text.data() + begin, text.data() + text.size(), exponent);
    if (failure != std::errc{} || end != text.data() + text.size())
      return std::nullopt;
    out.digits += fmt::format("e{}", exponent);
    i = text.size();
  }
  if (i != text.size())
    return std::nullopt;
  if (negative)
    exact.mantissa = -exact.mantissa;
  if (digits > most_digits)
    return out;
  if (exponent < 0) {
    exact.scale += static_cast<uint32_t>(-std::max(exponent, -1000));
    // Digits far after the point do not count in a value of the column.
    while (exact.scale > most_digits && exact.mantissa != 0) {
      exact.mantissa /= 10;
      --exact.scale;
    }
    exact.scale = std::min(exact.scale, most_digits);
  }
  for (; exponent > 0; --exponent)
    if (exact.scale != 0)
      --exact.scale;
    else if (++digits > most_digits)
      return out;
    else
      exact.mantissa *= 10;
  out.exact = exact;
  return out;
}

template <class Real>
std::optional<Real> read_real(std::string_view text) {
  if (text.starts_with('+'))
    text.remove_prefix(1);
  Real out{};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), out);
  if (failure == std::errc::result_out_of_range && read_number(text)) // too large, or too small
    return text.find("e-") == text.npos ? std::numeric_limits<Real>::infinity() * (text.front() == '-' ? -1 : 1)
                                        : Real{0};
  if (failure != std::errc{} || end != text.data() + text.size())
    return std::nullopt;
  return out;
}

// A decimal number as a real, converted as SQL does.  The result is the nearest real only if the mantissa is exact.
template <class Real>
Real real_of(const decimal &d) {
  constexpr int128 exact = int128{1} << std::numeric_limits<Real>::digits;
  const auto unit = static_cast<Real>(std::pow(10.0, d.scale));
  if ((d.mantissa >= -exact && d.mantissa <= exact) || d.scale == 0)
    return static_cast<Real>(d.mantissa) / unit;
  const int128 divisor = power_of_ten(d.scale);
  const int128 whole = d.mantissa / divisor;
  const int128 rest = d.mantissa % divisor;
  return static_cast<Real>(whole) + static_cast<Real>(rest) / unit;
}

int128 number_in(const cell &c, const column_type &type) {
  if (const auto *wide = std::get_if<wide_key>(&c))
    return number_of(*wide);
  const int64_t key = std::get<int64_t>(c);
  return type.kind == value_kind::natural ? int128{natural_of_key(key)} : int128{key};
}

// Parses dates and times from the left.  Digits come in groups of a fixed length.
class time_reader {
public:
  explicit time_reader(std::string_view text) : rest_(text) {}

  bool at_end() const { return rest_.empty(); }

  bool skip(std::string_view expected) {
    if (!rest_.starts_with(expected))
      return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  std::optional<int64_t> digits(size_t least, size_t most) {
    size_t count = 0;
    int64_t number = 0;
    for (; count < rest_.size() && count < most && is_digit(rest_[count]); ++count)
      number = number * 10 + (rest_[count] - '0');
    if (count < least)
      return std::nullopt;
    rest_.remove_prefix(count);
    return number;
  }

  // Days since 1970.
  std::optional<int64_t> date() {
    const auto year = digits(4, 7);
    const auto month = skip("-") ? digits(2, 2) : std::nullopt;
    const auto day = skip("-") ? digits(2, 2) : std::nullopt;
    if (!year || !month || !day)
      return std::nullopt;
    const int64_t signed_year = skip(" (BC)") ? 1 - *year : *year;
    // The calendar type of C++ has a small range of years.  The calendar repeats, so other years are mapped into this
    // range.
    constexpr int64_t cycle_years = 400;
    constexpr int64_t cycle_days = 146'097;
    const int64_t in_cycle = (signed_year % cycle_years + cycle_years) % cycle_years;
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(in_cycle)),
                                           std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok())
      return std::nullopt;
    return std::chrono::sys_days(date).time_since_epoch().count() + (signed_year - in_cycle) / cycle_years * cycle_days;
  }

  // Hours and minutes, perhaps seconds, perhaps a fraction.  The result is in ticks.  A second has 10^fraction_digits
  // ticks.
  std::optional<int64_t> time_of_day(size_t fraction_digits) {
    constexpr int64_t missing = 99; // greater than every limit below
    const int64_t hour = digits(2, 2).value_or(missing);
    const int64_t minute = skip(":") ? digits(2, 2).value_or(missing) : missing;
    int64_t second = 0;
    int64_t fraction = 0;
    if (skip(":")) {
      second = digits(2, 2).value_or(missing);
      if (second != missing && skip(".")) {
        const size_t before = rest_.size();
        const auto part = digits(1, fraction_digits);
        if (!part)
          return std::nullopt;
        fraction =
            *part * static_cast<int64_t>(power_of_ten(static_cast<uint32_t>(fraction_digits - before + rest_.size())));
      }
    }
    if (hour > 24 || minute > 59 || second > 59)
      return std::nullopt;
    const int64_t seconds = hour * 3600 + minute * 60 + second;
    const auto per_second = static_cast<int64_t>(power_of_ten(static_cast<uint32_t>(fraction_digits)));
    if (hour == 24 && (minute != 0 || second != 0 || fraction != 0))
      return std::nullopt;
    return seconds * per_second + fraction;
  }

  // Seconds east of Greenwich.  Without an offset the result is 0.
  std::optional<int64_t> zone() {
    skip(" ");
    if (at_end() || skip("Z") || skip("UTC"))
      return 0;
    const int64_t sign = skip("-") ? -1 : 1;
    if (sign > 0 && !skip("+"))
      return std::nullopt;
    const auto hours = digits(2, 2);
    const auto minutes = skip(":") ? digits(2, 2) : std::optional<int64_t>(0);
    if (!hours || !minutes)
      return std::nullopt;
    return sign * (*hours * 3600 + *minutes * 60);
  }

private:
  std::string_view rest_;
};

template <class Number>
std::optional<int64_t> infinity(std::string_view text) {
  if (text == "infinity")
    return std::numeric_limits<Number>::max();
  if (text == "-infinity")
    return -std::numeric_limits<Number>::max();
  return std::nullopt;
}

std::optional<int64_t> date(std::string_view text) {
  if (const auto end = infinity<int32_t>(text))
    return end;
  time_reader reader(text);
  const auto days = reader.date();
  return reader.at_end() ? days : std::nullopt;
}

std::optional<int64_t> time(std::string_view text) {
  time_reader reader(text);
  const auto ticks = reader.time_of_day(6);
  return reader.at_end() ? ticks : std::nullopt;
}

std::optional<int64_t> timestamp(std::string_view text, uint32_t fraction_digits, bool with_zone) {
  if (const auto end = infinity<int64_t>(text))
    return end;
  time_reader reader(text);
  const auto days = reader.date();
  std::optional<int64_t> ticks = 0;
  if (reader.skip(" ") || reader.skip("T"))
    ticks = reader.time_of_day(fraction_digits);
  const auto east = with_zone ? reader.zone() : std::optional<int64_t>(0);
  if (!days || !ticks || !east || !reader.at_end())
    return std::nullopt;
  const int128 whole = (int128{*days} * 86'400 - *east) * power_of_ten(fraction_digits) + *ticks;
  if (whole >= std::numeric_limits<int64_t>::max() || whole <= -std::numeric_limits<int64_t>::max())
    return std::nullopt;
  return static_cast<int64_t>(whole);
}

std::optional<int64_t> boolean(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (lower == "true" || lower == "t" || lower == "1")
    return 1;
  if (lower == "false" || lower == "f" || lower == "0")
    return 0;
  return std::nullopt;
}

std::optional<uint8_t> hex_digit(char c) {
  if (is_digit(c))
    return static_cast<uint8_t>(c - '0');
  const char letter = static_cast<char>(c | 0x20);
  return letter >= 'a' && letter <= 'f' ? std::optional(static_cast<uint8_t>(letter - 'a' + 10)) : std::nullopt;
}

std::optional<wide_key> uuid(std::string_view text) {
  if (text.size() != 36)
    return std::nullopt;
  unsigned __int128 bits = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i] != '-')
        return std::nullopt;
      continue;
    }
    const auto digit = hex_digit(text[i]);
    if (!digit)
      return std::nullopt;
    bits = bits << 4 | *digit;
  }
  return wide_key_of(static_cast<int128>(bits ^ static_cast<unsigned __int128>(1) << 127));
}

std::optional<std::string> blob(std::string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      if (static_cast<unsigned char>(text[i]) > 0x7f)
        return std::nullopt;
      out += text[i];
      continue;
    }
    const auto high = i + 3 < text.size() && text[i + 1] == 'x' ? hex_digit(text[i + 2]) : std::nullopt;
    const auto low = high ? hex_digit(text[i + 3]) : std::nullopt;
    if (!low)
      return std::nullopt;
    out += static_cast<char>(*high * 16 + *low);
    i += 3;
  }
  return out;
}

template <class Key>
std::optional<value_order> order_of_key(const std::optional<Key> &key) {
  if (!key)
    return std::nullopt;
  return [key = *key](const cell &c) { return sign_of(std::get<Key>(c), key); };
}

std::optional<value_order> order_of_bytes(std::optional<std::string> bytes) {
  if (!bytes)
    return std::nullopt;
  return [bytes = std::move(*bytes)](const cell &c) { return std::get<std::string_view>(c).compare(bytes); };
}

// The type that numbers are compared in.
struct common_type {
  bool as_double = false;
  uint32_t scale = 0; // of decimal numbers
};

std::optional<value_order> order_of_number(const constant &c, const column_type &type, const common_type &common) {
  const std::string_view text = trimmed(c.text);
  const auto read = read_number(text);
  if (type.kind == value_kind::single && !common.as_double) {
    const bool as_decimal = c.written == constant::form::number && read && read->exact;
    const auto real = as_decimal ? std::optional(real_of<float>(*read->exact)) : read_real<float>(text);
    if (!real)
      return std::nullopt;
    return [real = *real](const cell &v) { return order_of_reals(real_of_key(std::get<int64_t>(v)), real); };
  }
  if (type.kind == value_kind::single || type.kind == value_kind::real) {
    const bool as_decimal = c.written == constant::form::number && read && read->exact && !read->has_exponent;
    const auto real = as_decimal ? std::optional(real_of<double>(*read->exact)) : read_real<double>(text);
    if (!real)
      return std::nullopt;
    return [real = *real](const cell &v) { return order_of_reals(real_of_key(std::get<int64_t>(v)), real); };
  }
  if (common.as_double) {
    const auto real = read_real<double>(text);
    if (!real)
      return std::nullopt;
    return [real = *real, type](const cell &v) {
      return order_of_reals(real_of<double>({number_in(v, type), type.scale}), real);
    };
  }
  if (!read || !read->exact)
    return std::nullopt;
  const decimal exact = c.written == constant::form::number ? *read->exact : read->exact->rounded(common.scale);
  if (exact.scale <= type.scale) {
    // A number with more digits than any value is beyond all values.
    int128 whole = exact.mantissa;
    for (uint32_t i = exact.scale; i < type.scale; ++i)
      if (__builtin_mul_overflow(whole, int128{10}, &whole))
        return [negative = exact.mantissa < 0](const cell &) { return negative ? 1 : -1; };
    return [whole, type](const cell &v) { return sign_of(number_in(v, type), whole); };
  }
  // A number between two values: the whole units below it, and the rest.
  const int128 unit = power_of_ten(exact.scale - type.scale);
  const int128 rest = (exact.mantissa % unit + unit) % unit;
  const int128 whole = (exact.mantissa - rest) / unit;
  return [whole, between = rest != 0, type](const cell &v) {
    const int order = sign_of(number_in(v, type), whole);
    return between && order == 0 ? -1 : order;
  };
}

std::optional<value_order> order_of(const constant &c, const column_type &type, const common_type &common) {
  if (type.is_numeric())
    return order_of_number(c, type, common);
  switch (type.kind) {
  case value_kind::boolean:
    return order_of_key(boolean(c.text));
  case value_kind::date:
    return order_of_key(date(trimmed(c.text)));
  case value_kind::time:
    return order_of_key(time(trimmed(c.text)));
  case value_kind::timestamp:
    return order_of_key(timestamp(trimmed(c.text), 6, false));
  case value_kind::nanoseconds:
    return order_of_key(timestamp(trimmed(c.text), 9, false));
  case value_kind::instant:
    return order_of_key(timestamp(trimmed(c.text), 6, true));
  case value_kind::uuid:
    return order_of_key(uuid(trimmed(c.text)));
  case value_kind::blob:
    return order_of_bytes(blob(c.text));
  default:
    return order_of_bytes(c.text);
  }
}

} // namespace

bool is_number(std::string_view text) { return read_number(text).has_value(); }

std::vector<value_order> orders_of(std::span<const constant> constants, const column_type &type) {
  common_type common{false, type.scale};
  for (const constant &c : constants) {
    const auto read = c.written == constant::form::number ? read_number(c.text) : std::nullopt;
    if (!read)
      continue;
    if (read->has_exponent || !read->exact)
      common.as_double = true;
    else
      common.scale = std::max(common.scale, read->exact->scale);
  }
  std::vector<value_order> out;
  for (const constant &c : constants) {
    auto order = order_of(c, type, common);
    if (!order)
      throw error(fmt::format("cannot read '{}' as a value of type {}", shortened(c.text), kind_name(type.kind)));
    out.push_back(std::move(*order));
  }
  return out;
}

} // namespace store
