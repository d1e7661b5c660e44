#include "store/arrow/array_writer.hpp"

#include <array>
#include <utility>
#include <vector>

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
  uint64_t size() const { return bits_; }
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

// Which rows have a value.  Where all have there is no bitmap.
class row_validity {
public:
  // Code 0 is NULL.
  explicit row_validity(bool with_nulls) : has_nulls_(with_nulls) {}

  void append(std::span<const uint32_t> codes) {
    length_ += codes.size();
    if (has_nulls_)
      for (uint32_t code : codes)
        valid_.append(code != 0);
  }
  void append(std::span<const cell> cells) {
    length_ += cells.size();
    if (has_nulls_)
      for (const cell &c : cells)
        valid_.append(!std::holds_alternative<std::monostate>(c));
  }

  // An array of as many rows, with this as its first buffer.
  array_parts finish() {
    array_parts out{static_cast<int64_t>(std::exchange(length_, 0)), static_cast<int64_t>(valid_.zeros()), {}};
    out.buffers.push_back(valid_.finish());
    return out;
  }

private:
  bool has_nulls_;
  uint64_t length_ = 0;
  bit_vector valid_;
};

constexpr __int128 ten_to_38() {
  __int128 out = 1;
  for (int i = 0; i < 38; ++i)
    out *= 10;
  return out;
}

// A value as it lies in an array; zero for NULL.
template <class Number>
Number number_in(const cell &c) {
  if (std::holds_alternative<std::monostate>(c))
    return Number{};
  if constexpr (std::is_same_v<Number, std::array<uint8_t, 16>>) {
    return std::get<wide_key>(c).bytes;
  } else if constexpr (std::is_same_v<Number, __int128>) {
    const auto *wide = std::get_if<wide_key>(&c);
    if (wide == nullptr)
      return std::get<int64_t>(c);
    const __int128 number = number_of(*wide);
    if (number >= ten_to_38() || number <= -ten_to_38())
      throw error(fmt::format("{} has more digits than a decimal number of Arrow", number));
    return number;
  } else if constexpr (std::is_floating_point_v<Number>) {
    return static_cast<Number>(real_of_key(std::get<int64_t>(c)));
  } else if constexpr (std::is_same_v<Number, uint64_t>) {
    return natural_of_key(std::get<int64_t>(c));
  } else {
    return static_cast<Number>(std::get<int64_t>(c));
  }
}

// What the writers of all types are made of.
struct written_values {
  const column_type &type;
  bool has_nulls;
  const dictionary *entries; // or null
};

// The values of all codes, by code.
template <class Number>
std::vector<Number> numbers_by_code(const written_values &of) {
  std::vector<Number> out;
  if (of.entries != nullptr) {
    out.resize(of.entries->codes());
    for (uint64_t code = of.entries->first_code(); code < of.entries->codes(); ++code)
      out[code] = number_in<Number>(of.entries->value_of(code, of.type.kind));
  }
  return out;
}

template <class Number>
class number_writer final : public array_writer {
public:
  explicit number_writer(const written_values &of) : by_code_(numbers_by_code<Number>(of)), valid_(of.has_nulls) {}

  void append(std::span<const uint32_t> codes) override {
    valid_.append(codes);
    Number *out = grown(codes.size());
    for (uint32_t code : codes)
      *out++ = by_code_[code];
  }
  void append(std::span<const cell> cells) override {
    valid_.append(cells);
    Number *out = grown(cells.size());
    for (const cell &c : cells)
      *out++ = number_in<Number>(c);
  }
  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.emplace_back(std::exchange(numbers_, {}));
    return out;
  }

private:
  Number *grown(size_t more) {
    numbers_.resize(numbers_.size() + more);
    return numbers_.data() + numbers_.size() - more;
  }

  std::vector<Number> by_code_;
  row_validity valid_;
  vorn_host::aligned_vector<Number> numbers_;
};

class bit_writer final : public array_writer {
public:
  explicit bit_writer(const written_values &of) : by_code_(numbers_by_code<uint8_t>(of)), valid_(of.has_nulls) {}

  void append(std::span<const uint32_t> codes) override {
    valid_.append(codes);
    for (uint32_t code : codes)
      bits_.append(by_code_[code] != 0);
  }
  void append(std::span<const cell> cells) override {
    valid_.append(cells);
    for (const cell &c : cells)
      bits_.append(number_in<uint8_t>(c) != 0);
  }
  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.push_back(bits_.finish());
    return out;
  }

private:
  std::vector<uint8_t> by_code_;
  row_validity valid_;
  bit_vector bits_;
};

class text_writer final : public array_writer {
public:
  explicit text_writer(const written_values &of) : entries_(of.entries), valid_(of.has_nulls) {}

  void append(std::span<const uint32_t> codes) override { append_rows(codes); }
  void append(std::span<const cell> cells) override { append_rows(cells); }
  bool has_room_for(std::span<const uint32_t> codes, uint64_t most) const override { return has_room(codes, most); }
  bool has_room_for(std::span<const cell> cells, uint64_t most) const override { return has_room(cells, most); }

  array_parts finish() override {
    array_parts out = valid_.finish();
    out.buffers.emplace_back(std::exchange(offsets_, {0}));
    out.buffers.emplace_back(std::exchange(bytes_, {}));
    return out;
  }

private:
  // That of NULL is empty.
  std::string_view text_of(uint32_t code) const { return entries_->symbol(code); }
  static std::string_view text_of(const cell &c) {
    const auto *text = std::get_if<std::string_view>(&c);
    return text != nullptr ? *text : std::string_view();
  }

  template <class Row>
  bool has_room(std::span<const Row> rows, uint64_t most) const {
    uint64_t size = bytes_.size();
    for (const Row &row : rows)
      size += text_of(row).size();
    return size <= most;
  }

  template <class Row>
  void append_rows(std::span<const Row> rows) {
    valid_.append(rows);
    for (const Row &row : rows) {
      const std::string_view text = text_of(row);
      bytes_.insert(bytes_.end(), text.begin(), text.end());
      offsets_.push_back(static_cast<int32_t>(bytes_.size()));
    }
  }

  const dictionary *entries_;
  row_validity valid_;
  vorn_host::aligned_vector<int32_t> offsets_{0};
  vorn_host::aligned_vector<char> bytes_;
};

std::unique_ptr<array_writer> integer_writer(const written_values &of) {
  if (of.type.scale != 0)
    return std::make_unique<number_writer<__int128>>(of);
  switch (of.type.plain_bytes) { // whether they have a sign makes no difference
  case 1:
    return std::make_unique<number_writer<int8_t>>(of);
  case 2:
    return std::make_unique<number_writer<int16_t>>(of);
  case 4:
    return std::make_unique<number_writer<int32_t>>(of);
  default:
    return std::make_unique<number_writer<int64_t>>(of);
  }
}

} // namespace

std::unique_ptr<array_writer> writer_of(const column_type &type, bool has_nulls, const dictionary *entries) {
  const written_values of{type, has_nulls, entries};
  switch (type.kind) {
  case value_kind::boolean:
    return std::make_unique<bit_writer>(of);
  case value_kind::integer:
    return integer_writer(of);
  case value_kind::natural:
    return std::make_unique<number_writer<uint64_t>>(of);
  case value_kind::wide:
    return std::make_unique<number_writer<__int128>>(of);
  case value_kind::single:
    return std::make_unique<number_writer<float>>(of);
  case value_kind::real:
    return std::make_unique<number_writer<double>>(of);
  case value_kind::date:
    return std::make_unique<number_writer<int32_t>>(of);
  case value_kind::uuid:
    return std::make_unique<number_writer<std::array<uint8_t, 16>>>(of);
  case value_kind::text:
  case value_kind::blob:
    return std::make_unique<text_writer>(of);
  case value_kind::time:
  case value_kind::timestamp:
  case value_kind::nanoseconds:
  case value_kind::instant:
    break;
  }
  return std::make_unique<number_writer<int64_t>>(of);
}

} // namespace store
