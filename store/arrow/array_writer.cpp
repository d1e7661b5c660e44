#include "store/arrow/array_writer.hpp"

#include <array>
#include <bit>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

class bit_vector {
public:
  void append(bool bit) {
    if (bits_ % 64 == 0)
      words_.push_back(0);
    words_.back() |= uint64_t{bit} << (bits_ % 64);
    ++bits_;
    ones_ += bit ? 1 : 0;
  }
  uint64_t zeros() const { return bits_ - ones_; }
  arrow_buffer finish() {
    bits_ = ones_ = 0;
    return arrow_buffer(std::exchange(words_, {}));
  }

private:
  vorn_host::aligned_vector<uint64_t> words_;
  uint64_t bits_ = 0;
  uint64_t ones_ = 0;
};

// The bitmap of the rows with a value.  It is left out when all rows have a value.
class row_validity {
public:
  void append(const exec::vector &values) {
    if (values.validity != nullptr && !has_bits_) {
      has_bits_ = true;
      for (uint64_t row = 0; row < length_; ++row)
        valid_.append(true);
    }
    length_ += values.rows;
    if (has_bits_)
      for (size_t row = 0; row < values.rows; ++row)
        valid_.append(!values.is_null(row));
  }

  // An array with this number of rows and with the bitmap as its first buffer.
  array_parts finish() {
    array_parts out{static_cast<int64_t>(std::exchange(length_, 0)), static_cast<int64_t>(valid_.zeros()), {}};
    out.buffers.push_back(std::exchange(has_bits_, false) ? valid_.finish() : arrow_buffer());
    return out;
  }

private:
  bool has_bits_ = false;
  uint64_t length_ = 0;
  bit_vector valid_;
};

constexpr __int128 ten_to_38() {
  __int128 out = 1;
  for (int i = 0; i < 38; ++i)
    out *= 10;
  return out;
}

// A value in the form of an array.
template <class Number, class Value>
Number number_in(Value value) {
  if constexpr (std::is_same_v<Number, std::array<uint8_t, 16>>) {
    return wide_key_of(static_cast<__int128>(value)).bytes;
  } else if constexpr (std::is_same_v<Number, __int128> && std::is_same_v<Value, __int128>) {
    if (value >= ten_to_38() || value <= -ten_to_38())
      throw error(fmt::format("{} has more digits than a decimal number of Arrow", value));
    return value;
  } else {
    return static_cast<Number>(value);
  }
}

// Calls a function with each value.  A row with NULL gives 0.
template <class Take>
void for_each_number(const exec::vector &values, const Take &take) {
  with_type(values.form, [&]<class T>(T) {
    if constexpr (std::is_arithmetic_v<T> || std::is_same_v<T, __int128>)
      for (size_t row = 0; row < values.rows; ++row)
        take(values.is_null(row) ? T{} : values.values<T>()[row]);
  });
}

template <class Number>
class number_writer final : public array_writer {
public:
  void append(const exec::vector &values) override {
    valid_.append(values);
    numbers_.reserve(std::bit_ceil(numbers_.size() + values.rows));
    for_each_number(values, [&](auto value) { numbers_.push_back(number_in<Number>(value)); });
  }
  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.emplace_back(std::exchange(numbers_, {}));
    return out;
  }

private:
  row_validity valid_;
  vorn_host::aligned_vector<Number> numbers_;
};

class bit_writer final : public array_writer {
public:
  void append(const exec::vector &values) override {
    valid_.append(values);
    for_each_number(values, [&](auto value) { bits_.append(value != 0); });
  }
  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.push_back(bits_.finish());
    return out;
  }

private:
  row_validity valid_;
  bit_vector bits_;
};

class text_writer final : public array_writer {
public:
  void append(const exec::vector &values) override {
    valid_.append(values);
    for (size_t row = 0; row < values.rows; ++row) {
      const std::string_view text = text_of(values, row);
      bytes_.insert(bytes_.end(), text.begin(), text.end());
      offsets_.push_back(static_cast<int32_t>(bytes_.size()));
    }
  }
  bool has_room_for(const exec::vector &values, uint64_t most) const override {
    uint64_t size = bytes_.size();
    for (size_t row = 0; row < values.rows; ++row)
      size += text_of(values, row).size();
    return size <= most;
  }

  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.emplace_back(std::exchange(offsets_, {0}));
    out.buffers.emplace_back(std::exchange(bytes_, {}));
    return out;
  }

private:
  // NULL takes no bytes.
  static std::string_view text_of(const exec::vector &values, size_t row) {
    return values.is_null(row) ? std::string_view() : values.texts()[row];
  }

  row_validity valid_;
  vorn_host::aligned_vector<int32_t> offsets_{0};
  vorn_host::aligned_vector<char> bytes_;
};

std::unique_ptr<array_writer> integer_writer(const column_type &type) {
  if (type.scale != 0)
    return std::make_unique<number_writer<__int128>>();
  switch (type.plain_bytes) { // signed and unsigned numbers are written alike
  case 1:
    return std::make_unique<number_writer<int8_t>>();
  case 2:
    return std::make_unique<number_writer<int16_t>>();
  case 4:
    return std::make_unique<number_writer<int32_t>>();
  default:
    return std::make_unique<number_writer<int64_t>>();
  }
}

} // namespace

std::unique_ptr<array_writer> writer_of(const column_type &type) {
  switch (type.kind) {
  case value_kind::boolean:
    return std::make_unique<bit_writer>();
  case value_kind::integer:
    return integer_writer(type);
  case value_kind::natural:
    return std::make_unique<number_writer<uint64_t>>();
  case value_kind::wide:
    return std::make_unique<number_writer<__int128>>();
  case value_kind::single:
    return std::make_unique<number_writer<float>>();
  case value_kind::real:
    return std::make_unique<number_writer<double>>();
  case value_kind::date:
    return std::make_unique<number_writer<int32_t>>();
  case value_kind::uuid:
    return std::make_unique<number_writer<std::array<uint8_t, 16>>>();
  case value_kind::text:
  case value_kind::blob:
    return std::make_unique<text_writer>();
  case value_kind::time:
  case value_kind::timestamp:
  case value_kind::nanoseconds:
  case value_kind::instant:
    break;
  }
  return std::make_unique<number_writer<int64_t>>();
}

} // namespace store
