#include "store/arrow/arrow_type.hpp"

#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "store/encode/dictionary.hpp"
#include "store/error.hpp"

namespace store {

namespace {

using layout = arrow_layout;

constexpr int64_t thousand = 1'000;
constexpr int64_t million = 1'000'000;
constexpr int64_t day_milliseconds = 86'400'000;
constexpr int64_t day_microseconds = day_milliseconds * thousand;

// Formats without parameters.
const arrow_type *simple_type(std::string_view format) {
  constexpr int64_t last_day = std::numeric_limits<int32_t>::max();
  static const std::pair<std::string_view, arrow_type> types[] = {
      {"n", {layout::nulls, "INTEGER"}}, // the type that DuckDB gives to NULL alone
      {"b", {layout::bits, "BOOLEAN"}},
      {"c", {layout::int8, "TINYINT"}},
      {"C", {layout::uint8, "UTINYINT"}},
      {"s", {layout::int16, "SMALLINT"}},
      {"S", {layout::uint16, "USMALLINT"}},
      {"i", {layout::int32, "INTEGER"}},
      {"I", {layout::uint32, "UINTEGER"}},
      {"l", {layout::int64, "BIGINT"}},
      {"L", {layout::uint64, "UBIGINT"}},
      {"f", {layout::float32, "FLOAT"}},
      {"g", {layout::float64, "DOUBLE"}},
      {"z", {layout::offsets32, "BLOB"}},
      {"Z", {layout::offsets64, "BLOB"}},
      {"vz", {layout::views, "BLOB"}},
      {"u", {layout::offsets32, "VARCHAR"}},
      {"U", {layout::offsets64, "VARCHAR"}},
      {"vu", {layout::views, "VARCHAR"}},
      {"tdD", {layout::int32, "DATE"}},
      {"tdm", {layout::int64, "DATE", 0, 1, day_milliseconds, -last_day - 1, last_day}},
      {"tts", {layout::int32, "TIME", 0, million, 1, 0, day_microseconds}},
      {"ttm", {layout::int32, "TIME", 0, thousand, 1, 0, day_microseconds}},
      {"ttu", {layout::int64, "TIME", 0, 1, 1, 0, day_microseconds}},
      {"ttn", {layout::int64, "TIME", 0, 1, thousand, 0, day_microseconds}},
  };
  for (const auto &[name, type] : types)
    if (name == format)
      return &type;
  return nullptr;
}

// "tsu:" and the name of a time zone.  The values are moments in whole microseconds.
std::optional<arrow_type> timestamp_type(std::string_view format) {
  if (format.size() < 4 || !format.starts_with("ts") || format[3] != ':')
    return std::nullopt;
  const bool with_zone = format.size() > 4;
  const auto type = [&](const char *sql_type, int64_t multiplier, int64_t divisor) {
    return arrow_type{layout::int64, with_zone ? "TIMESTAMP WITH TIME ZONE" : sql_type, 0, multiplier, divisor};
  };
  switch (format[2]) {
  case 's':
    return type("TIMESTAMP_S", million, 1);
  case 'm':
    return type("TIMESTAMP_MS", thousand, 1);
  case 'u':
    return type("TIMESTAMP", 1, 1);
  case 'n':
    return type("TIMESTAMP_NS", 1, with_zone ? thousand : 1);
  default:
    return std::nullopt;
  }
}

// The numbers after a prefix, with commas between them.  Nothing for a text without the prefix.
std::optional<std::vector<int32_t>> numbers_behind(std::string_view prefix, std::string_view format) {
  if (!format.starts_with(prefix))
    return std::nullopt;
  std::vector<int32_t> out;
  const char *at = format.data() + prefix.size();
  const char *end = format.data() + format.size();
  for (;; ++at) {
    const auto [rest, fault] = std::from_chars(at, end, out.emplace_back());
    if (fault != std::errc{} || (rest != end && *rest != ','))
      return std::nullopt;
    at = rest;
    if (at == end)
      return out;
  }
}

// "d:10,2", perhaps with the bits of a value after the digits.  A number of up to 18 digits has a key of 64 bits.
std::optional<arrow_type> decimal_type(std::string_view format) {
  constexpr int32_t most_digits = 38;
  constexpr int32_t most_key_digits = 18;
  const auto numbers = numbers_behind("d:", format);
  if (!numbers || numbers->size() < 2 || numbers->size() > 3)
    return std::nullopt;
  const int32_t digits = (*numbers)[0];
  const int32_t scale = (*numbers)[1];
  const int32_t bits = numbers->size() == 3 ? (*numbers)[2] : 128;
  if (digits < 1 || digits > most_digits || scale < 0 || scale > digits)
    return std::nullopt;
  arrow_type out{layout::int128, fmt::format("DECIMAL({},{})", digits, scale)};
  if ((bits == 32 || bits == 64) && digits <= (bits == 32 ? 9 : most_key_digits))
    out.layout = bits == 32 ? layout::int32 : layout::int64;
  else if (bits != 128)
    return std::nullopt;
  // Some libraries use 38 digits for any integer of 128 bits, because they have no other type for it.
  out.low = std::numeric_limits<__int128>::min();
  out.high = std::numeric_limits<__int128>::max();
  if (digits < most_digits) {
    __int128 beyond = 1;
    for (int32_t i = 0; i < digits; ++i)
      beyond *= 10;
    out.low = 1 - beyond;
    out.high = beyond - 1;
  }
  return out;
}

// The value of a key of the metadata.  The metadata is a count, then keys and values, each after the number of its
// bytes.
std::optional<std::string_view> metadata_value(const char *metadata, std::string_view key) {
  if (metadata == nullptr)
    return std::nullopt;
  const auto number = [&] {
    int32_t out;
    std::memcpy(&out, metadata, sizeof out);
    metadata += sizeof out;
    return out;
  };
  const auto text = [&] {
    const int32_t bytes = number();
    if (bytes < 0)
      throw error("the metadata of an Arrow schema has a text of a negative length");
    const std::string_view out(metadata, static_cast<size_t>(bytes));
    metadata += bytes;
    return out;
  };
  for (int32_t pairs = number(); pairs > 0; --pairs) {
    const std::string_view name = text();
    const std::string_view value = text();
    if (name == key)
      return value;
  }
  return std::nullopt;
}

constexpr std::string_view extension_key = "ARROW:extension:name";
constexpr std::string_view uuid_extension = "arrow.uuid";

std::optional<arrow_type> fixed_bytes_type(std::string_view format) {
  constexpr int32_t longest = dictionary::longest_text;
  const auto numbers = numbers_behind("w:", format);
  if (!numbers || numbers->size() != 1 || numbers->front() < 0 || numbers->front() > longest)
    return std::nullopt;
  return arrow_type{layout::fixed_bytes, "BLOB", numbers->front()};
}

// The type of an extension name in the metadata.  An unknown name is ignored, and the format decides.
std::optional<arrow_type> extension_type(const ArrowSchema &schema) {
  const auto extension = metadata_value(schema.metadata, extension_key);
  const std::string_view format = schema.format;
  if (extension == uuid_extension && format == "w:16")
    return arrow_type{layout::fixed_bytes, "UUID", 16};
  if (extension == "arrow.bool8" && format == "c")
    return arrow_type{layout::truth_bytes, "BOOLEAN"};
  return std::nullopt;
}

std::string_view format_of(const ArrowSchema &schema) {
  if (schema.release == nullptr || schema.format == nullptr)
    throw error("an Arrow schema was released or has no format");
  return schema.format;
}

[[noreturn]] void refuse(std::string_view name, std::string_view what, std::string_view format) {
  throw error(fmt::format("column '{}' {} Arrow's '{}'", shortened(name), what, shortened(format)));
}

// The layout of integers that are indices or counts, if the format is one of these.
arrow_layout counter_layout(std::string_view name, const ArrowSchema &schema, std::string_view formats,
                            std::string_view what) {
  const std::string_view format = format_of(schema);
  if (format.size() != 1 || formats.find(format) == formats.npos)
    refuse(name, what, format);
  return simple_type(format)->layout;
}

arrow_type type_of_values(std::string_view name, const ArrowSchema &schema) {
  const std::string_view format = format_of(schema);
  if (schema.n_children != 0 || schema.dictionary != nullptr || format.starts_with('+'))
    refuse(name, "is nested, which the store does not encode:", format);
  if (const auto extension = extension_type(schema))
    return *extension;
  if (const arrow_type *simple = simple_type(format))
    return *simple;
  for (const auto &type : {timestamp_type(format), decimal_type(format), fixed_bytes_type(format)})
    if (type)
      return *type;
  refuse(name, "is of a type that the store does not encode:", format);
}

} // namespace

arrow_field field_of(const ArrowSchema &schema) {
  const ArrowSchema *at = &schema;
  arrow_field out;
  out.name = schema.name != nullptr ? schema.name : "";
  if (format_of(schema) == "+r") {
    if (schema.n_children != 2 || schema.children == nullptr || schema.children[0] == nullptr ||
        schema.children[1] == nullptr || schema.dictionary != nullptr)
      refuse(out.name, "lacks the ends or the values of", schema.format);
    out.run_ends = counter_layout(out.name, *schema.children[0], "sil", "has run ends of");
    at = schema.children[1];
  }
  if (at->dictionary != nullptr) {
    if (at->n_children != 0)
      refuse(out.name, "has a dictionary and children:", format_of(*at));
    out.index = counter_layout(out.name, *at, "cCsSiIlL", "has a dictionary whose indices are");
    at = at->dictionary;
  }
  out.values = type_of_values(out.name, *at);
  if (out.index && out.values.layout == layout::nulls)
    refuse(out.name, "has a dictionary of", at->format);
  return out;
}

std::string format_of(const column_type &type) {
  switch (type.kind) {
  case value_kind::boolean:
    return "b";
  case value_kind::integer: {
    const bool is_long = type.plain_bytes > 4;
    if (type.scale != 0)
      return fmt::format("d:{},{}", is_long ? 18 : type.plain_bytes > 2 ? 9 : 4, type.scale);
    const char letter = is_long ? 'l' : type.plain_bytes > 2 ? 'i' : type.plain_bytes > 1 ? 's' : 'c';
    return std::string(1, type.is_signed ? letter : static_cast<char>(letter - 'a' + 'A'));
  }
  case value_kind::natural:
    return "L";
  case value_kind::wide:
    return fmt::format("d:38,{}", type.scale);
  case value_kind::single:
    return "f";
  case value_kind::real:
    return "g";
  case value_kind::date:
    return "tdD";
  case value_kind::time:
    return "ttu";
  case value_kind::timestamp:
    return "tsu:";
  case value_kind::nanoseconds:
    return "tsn:";
  case value_kind::instant:
    return "tsu:UTC";
  case value_kind::uuid:
    return "w:16";
  case value_kind::text:
    return "u";
  case value_kind::blob:
    break;
  }
  return "z";
}

std::string metadata_of(const column_type &type) {
  if (type.kind != value_kind::uuid)
    return {};
  std::string out;
  const auto append_number = [&](size_t number) {
    const auto bits = static_cast<int32_t>(number);
    out.append(reinterpret_cast<const char *>(&bits), sizeof bits);
  };
  append_number(1); // pair
  for (const std::string_view text : {extension_key, uuid_extension}) {
    append_number(text.size());
    out += text;
  }
  return out;
}

} // namespace store
