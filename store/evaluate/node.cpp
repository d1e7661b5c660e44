#include "store/evaluate/node.hpp"

#include <algorithm>
#include <charconv>
#include <string>

namespace store::exec {

namespace {

class column_node final : public node {
public:
  column_node(size_t index, const layout &of) : index_(index) { result_ = of; }

  vector run(evaluation &chunk) const override { return chunk.rows.column(index_); }
  std::optional<coded_numbers> run_coded(evaluation &chunk) const override {
    if (result_.form != representation::codes || decoded_form(result_) != representation::int64)
      return std::nullopt;
    return coded_numbers{chunk.rows.column(index_), result_.entries->int64s().data()};
  }
  void add_methods(std::set<std::string_view> &) const override {}

private:
  size_t index_;
};

// A constant.  It holds its value once for each row that a chunk can have.
class constant_node final : public node {
public:
  constant_node(const logical::scalar &value, const logical::sql_type &type,
                std::shared_ptr<const coded_values> entries = nullptr)
      : value_(value) {
    result_.type = type;
    result_.form = entries ? representation::codes : plain_representation(*type.held);
    result_.entries = std::move(entries);
    result_.has_nulls = is_null(value);
    result_.distinct = 1;
    if (const auto *number = std::get_if<__int128>(&value_)) {
      result_.bounds = number_bounds{*number, *number};
      result_.form = fits_int64(*number) ? representation::int64 : representation::int128;
    }
    if (is_null(value_)) {
      result_.bounds = bounds_of(type);
      validity_.resize(words_of(chunk_rows));
    }
    switch (result_.form) {
    case representation::codes:
      fill(codes_, is_null(value_) ? 0 : first_code(result_, value_, false));
      break;
    case representation::int64:
      fill(int64s_, static_cast<int64_t>(number()));
      break;
    case representation::int128:
      fill(int128s_, number());
      break;
    case representation::float64:
      fill(float64s_, is_null(value_) ? 0 : std::get<double>(value_));
      break;
    default:
      fill(texts_, is_null(value_) ? std::string_view() : std::get<std::string>(value_));
    }
  }

  vector run(evaluation &chunk) const override {
    vector out = all_;
    out.rows = chunk.rows.rows();
    return out;
  }
  const logical::scalar *constant() const override { return &value_; }
  void add_methods(std::set<std::string_view> &) const override {}

private:
  __int128 number() const { return is_null(value_) ? 0 : std::get<__int128>(value_); }

  template <class T>
  void fill(std::vector<T> &into, T value) {
    into.assign(chunk_rows, value);
    all_ = vector(std::span<const T>(into), validity_.empty() ? nullptr : validity_.data());
  }

  logical::scalar value_;
  std::vector<uint64_t> validity_; // empty without NULL
  std::vector<uint32_t> codes_;
  std::vector<int64_t> int64s_;
  std::vector<__int128> int128s_;
  std::vector<double> float64s_;
  std::vector<std::string_view> texts_;
  vector all_;
};

} // namespace

node_ptr make_column(size_t index, const layout &of) { return std::make_shared<column_node>(index, of); }

node_ptr make_code(const logical::scalar &value, const logical::sql_type &type,
                   std::shared_ptr<const coded_values> entries) {
  return std::make_shared<constant_node>(value, type, std::move(entries));
}

node_ptr make_constant(const logical::scalar &value, const logical::sql_type &type) {
  return std::make_shared<constant_node>(value, type);
}

vector in_form(const vector &from, const layout &of, representation form, arena &memory) {
  const vector plain = plain_values(from, of, memory);
  const auto converted = [&]<class From, class To>(From, To) {
    const std::span<const From> in = plain.values<From>();
    const std::span<To> out = memory.take<To>(in.size());
    for (size_t row = 0; row < in.size(); ++row)
      out[row] = static_cast<To>(in[row]);
    return vector(out, plain.validity);
  };
  if (plain.form == representation::int64 && form == representation::int128)
    return converted(int64_t{}, __int128{});
  if (plain.form == representation::int128 && form == representation::int64)
    return converted(__int128{}, int64_t{});
  return plain;
}

const uint64_t *both_valid(const uint64_t *left, const uint64_t *right, size_t rows, arena &memory) {
  if (left == nullptr || right == nullptr)
    return left == nullptr ? right : left;
  const std::span<uint64_t> out = memory.take<uint64_t>(words_of(rows));
  for (size_t word = 0; word < out.size(); ++word)
    out[word] = left[word] & right[word];
  return out.data();
}

void pack_bits(std::span<const int64_t> booleans, std::span<uint64_t> out) {
  for (size_t word = 0; word < out.size(); ++word) {
    const std::span<const int64_t> of_word =
        booleans.subspan(word * 64, std::min<size_t>(64, booleans.size() - word * 64));
    uint64_t bits = 0;
    for (size_t bit = 0; bit < of_word.size(); ++bit)
      bits |= static_cast<uint64_t>(of_word[bit]) << bit;
    out[word] = bits;
  }
}

layout boolean_layout(bool has_nulls) {
  layout out;
  out.type = logical::sql_type("BOOLEAN");
  out.form = representation::int64;
  out.has_nulls = has_nulls;
  out.bounds = number_bounds{0, 1};
  out.distinct = 2;
  return out;
}

std::optional<uint32_t> decimal_width(const logical::sql_type &type) {
  constexpr std::string_view start = "DECIMAL(";
  if (!type.name.starts_with(start))
    return std::nullopt;
  uint32_t width = 0;
  std::from_chars(type.name.data() + start.size(), type.name.data() + type.name.size(), width);
  return width;
}

std::optional<number_bounds> bounds_of(const logical::sql_type &type) {
  constexpr __int128 greatest = static_cast<__int128>(~static_cast<unsigned __int128>(0) >> 1);
  constexpr auto int64s = number_bounds{std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()};
  if (const std::optional<uint32_t> width = decimal_width(type))
    return number_bounds{1 - power_of_ten(*width), power_of_ten(*width) - 1};
  switch (type.held->kind) {
  case value_kind::boolean:
    return number_bounds{0, 1};
  case value_kind::integer: {
    const uint32_t bits = type.held->plain_bytes * 8;
    if (!type.held->is_signed)
      return number_bounds{0, (__int128{1} << bits) - 1};
    return number_bounds{-(__int128{1} << (bits - 1)), (__int128{1} << (bits - 1)) - 1};
  }
  case value_kind::natural:
    return number_bounds{0, std::numeric_limits<uint64_t>::max()};
  case value_kind::wide:
  case value_kind::uuid:
    return number_bounds{-greatest - 1, greatest};
  case value_kind::date:
    return number_bounds{std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()};
  case value_kind::time:
  case value_kind::timestamp:
  case value_kind::nanoseconds:
  case value_kind::instant:
    return int64s;
  default:
    return std::nullopt;
  }
}

std::optional<number_bounds> bounds_of(const layout &of) {
  const std::optional<number_bounds> all = bounds_of(of.type);
  if (!all || !of.bounds)
    return all;
  return number_bounds{std::max(all->low, of.bounds->low), std::min(all->high, of.bounds->high)};
}

} // namespace store::exec
