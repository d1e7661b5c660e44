#include "sql/vectors.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

#include "sql/duckdb_api.hpp"

namespace store::sql {

namespace {

using exec::arena;
using logical::sql_type;

// Microseconds in a unit of a type of timestamps.
int64_t unit_of(const sql_type &type) {
  return type.name == "TIMESTAMP_S" ? 1'000'000 : type.name == "TIMESTAMP_MS" ? 1'000 : 1;
}

// A row with NULL may have any value.
int64_t scaled(int64_t value, int64_t unit) {
  return static_cast<int64_t>(static_cast<uint64_t>(value) * static_cast<uint64_t>(unit));
}

bool is_infinite(int64_t timestamp) {
  return timestamp == std::numeric_limits<int64_t>::max() || timestamp == -std::numeric_limits<int64_t>::max();
}

// Calls with a value of the type in which DuckDB has the values of a type, other than texts.
template <class Take>
void with_stored(const sql_type &type, const Take &take) {
  const column_type &held = *type.held;
  switch (held.kind) {
  case value_kind::boolean:
    return take(uint8_t{});
  case value_kind::integer:
    switch (held.plain_bytes) {
    case 1:
      return held.is_signed ? take(int8_t{}) : take(uint8_t{});
    case 2:
      return held.is_signed ? take(int16_t{}) : take(uint16_t{});
    case 4:
      return held.is_signed ? take(int32_t{}) : take(uint32_t{});
    default:
      return take(int64_t{});
    }
  case value_kind::natural:
    return take(uint64_t{});
  case value_kind::wide:
  case value_kind::uuid:
    return take(__int128{});
  case value_kind::single:
    return take(float{});
  case value_kind::real:
    return take(double{});
  case value_kind::date:
    return take(int32_t{});
  default:
    return take(int64_t{});
  }
}

// Values are aligned to 8 bytes.  Values of 16 bytes need not be aligned to 16 bytes.
template <class T>
T at(const void *values, size_t row) {
  T out;
  std::memcpy(&out, static_cast<const char *>(values) + row * sizeof out, sizeof out);
  return out;
}

std::span<std::string_view> texts_from(const duckdb::vector &values, uint32_t rows, arena &memory) {
  const std::span<std::string_view> out = memory.take<std::string_view>(rows);
  for (uint32_t row = 0; row < rows; ++row)
    out[row] = values.is_null(row) ? std::string_view() : values.text(row);
  return out;
}

void copy_bytes(std::span<std::string_view> texts, arena &memory) {
  size_t bytes = 0;
  for (const std::string_view text : texts)
    bytes += text.size();
  char *to = memory.take<char>(bytes).data();
  for (std::string_view &text : texts) {
    std::copy(text.begin(), text.end(), to);
    text = {to, text.size()};
    to += text.size();
  }
}

const uint64_t *validity_from(const duckdb::vector &values, uint32_t rows, arena &memory) {
  if (values.validity() == nullptr)
    return nullptr;
  const std::span<uint64_t> out = memory.take<uint64_t>(exec::words_of(rows));
  std::copy_n(values.validity(), out.size(), out.begin());
  return out.data();
}

} // namespace

exec::vector from_duckdb(const duckdb::vector &values, const sql_type &type, uint32_t rows, arena &memory,
                         text_bytes texts) {
  const uint64_t *valid = validity_from(values, rows, memory);
  const exec::representation form = exec::plain_representation(*type.held);
  if (form == exec::representation::text) {
    const std::span<std::string_view> views = texts_from(values, rows, memory);
    if (texts == text_bytes::copied)
      copy_bytes(views, memory);
    return exec::vector(views, valid);
  }
  exec::vector out;
  const int64_t unit = unit_of(type);
  with_stored(type, [&]<class Stored>(Stored) {
    exec::with_type(form, [&]<class Value>(Value) {
      if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, __int128>) {
        const std::span<Value> copies = memory.take<Value>(rows);
        for (uint32_t row = 0; row < rows; ++row)
          copies[row] =
              static_cast<Value>(at<Stored>(values.data(), row)); // NOLINT(bugprone-signed-char-misuse): TINYINT
        if constexpr (std::is_same_v<Value, int64_t>)
          if (unit != 1)
            for (int64_t &value : copies)
              value = is_infinite(value) ? value : scaled(value, unit);
        out = exec::vector(copies, valid);
      }
    });
  });
  return out;
}

void to_duckdb(const exec::vector &values, const sql_type &type, uint32_t first, uint32_t rows, void *to) {
  if (values.validity != nullptr) {
    duckdb_vector_ensure_validity_writable(to);
    uint64_t *words = duckdb_vector_get_validity(to);
    const size_t shift = first % 64;
    const size_t all_words = exec::words_of(values.rows);
    for (size_t i = 0; i < exec::words_of(rows); ++i) {
      const size_t word = first / 64 + i;
      words[i] = values.validity[word] >> shift;
      if (shift != 0 && word + 1 < all_words)
        words[i] |= values.validity[word + 1] << (64 - shift);
    }
  }
  if (values.form == exec::representation::text) {
    auto *const texts = static_cast<duckdb::text_value *>(duckdb_vector_get_data(to));
    for (uint32_t row = 0; row < rows; ++row)
      texts[row] =
          duckdb::text_value::of(values.is_null(first + row) ? std::string_view() : values.texts()[first + row]);
    return;
  }
  const int64_t unit = unit_of(type);
  with_stored(type, [&]<class Stored>(Stored) {
    exec::with_type(values.form, [&]<class Value>(Value) {
      if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, __int128>) {
        const Value *const from = values.values<Value>().data() + first;
        auto *const copies = static_cast<char *>(duckdb_vector_get_data(to));
        for (uint32_t row = 0; row < rows; ++row) {
          auto value = from[row];
          if constexpr (std::is_same_v<Value, int64_t>)
            if (unit != 1 && !is_infinite(value))
              value /= unit;
          const auto stored = static_cast<Stored>(value);
          std::memcpy(copies + row * sizeof stored, &stored, sizeof stored);
        }
      }
    });
  });
}

} // namespace store::sql
