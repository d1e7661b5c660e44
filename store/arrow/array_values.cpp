#include "store/arrow/array_values.hpp"

#include <limits>

namespace store {

namespace {

using layout = arrow_layout;

// The interface allows more rows, but recommends that no array has them.
constexpr int64_t most_rows = std::numeric_limits<int32_t>::max();
constexpr int64_t last_offset = int64_t{1} << 40; // so that every offset in a buffer fits into 64 bits

// The type of the rows that are read.
struct rows_read {
  const arrow_type &type;
  const ArrowArray &array;
  row_range rows;
  const validity &valid;
  const array_faults &faults;

  // Calls a function with the number of each row that is not NULL.  Number 0 is the first row that is read.
  template <class Take>
  void for_valid(Take take) const {
    for (int64_t row = 0; row < rows.count; ++row)
      if (valid[rows.first + row])
        take(row);
  }

  // The key of a number.
  int64_t key_of(__int128 number) const { return static_cast<int64_t>(checked(number)); }
  __int128 checked(__int128 number) const {
    const __int128 scaled = number * type.multiplier;
    const __int128 key = scaled / type.divisor;
    faults.unless(scaled % type.divisor == 0 && key >= type.low && key <= type.high, "holds {}, which no {} is", number,
                  type.sql_type);
    return key;
  }
};

template <class Elements, class Key>
void fill(std::vector<int64_t> &keys, const rows_read &read, const Elements &numbers, Key key) {
  read.for_valid([&](int64_t row) { keys[static_cast<size_t>(row)] = key(numbers[row]); });
}

void read_values(std::vector<int64_t> &keys, std::vector<wide_key> & /*wide*/, const rows_read &read) {
  const auto &[type, array, rows, valid, faults] = read;
  const auto checked = [&](__int128 number) { return read.key_of(number); };
  switch (type.layout) {
  case layout::bits:
    faults.unless(array.buffers[1] != nullptr || rows.count == 0, "has rows but no buffer of values");
    return fill(keys, read, bit_elements(array.buffers[1], array.offset + rows.first),
                [](bool bit) { return int64_t{bit}; });
  case layout::truth_bytes:
    return fill(keys, read, elements<int8_t>(array, rows, faults), [](int8_t byte) { return int64_t{byte != 0}; });
  case layout::float32:
    return fill(keys, read, elements<float>(array, rows, faults), [](float real) { return real_key(real); });
  case layout::float64:
    return fill(keys, read, elements<double>(array, rows, faults), real_key);
  case layout::uint64:
    return fill(keys, read, elements<uint64_t>(array, rows, faults), natural_key);
  case layout::int128:
    return fill(keys, read, elements<__int128>(array, rows, faults), checked);
  default:
    with_integers(type.layout, array, rows, faults, [&](const auto &numbers) {
      if (read.type.is_plain_key())
        fill(keys, read, numbers, [](auto number) { return static_cast<int64_t>(number); });
      else
        fill(keys, read, numbers, checked);
    });
  }
}

void read_wide(std::vector<std::string_view> &symbols, std::vector<wide_key> &wide, const rows_read &read) {
  const elements<__int128> numbers(read.array, read.rows, read.faults);
  wide.resize(symbols.size());
  read.for_valid([&](int64_t row) {
    wide_key &key = wide[static_cast<size_t>(row)];
    key = wide_key_of(read.checked(numbers[row]));
    symbols[static_cast<size_t>(row)] = key.view();
  });
}

void read_fixed_bytes(std::vector<std::string_view> &symbols, const rows_read &read) {
  const auto *bytes = static_cast<const char *>(read.array.buffers[1]);
  const int64_t size = read.type.fixed_bytes;
  read.faults.unless(bytes != nullptr || read.rows.count * size == 0, "has rows but no buffer of values");
  read.for_valid([&](int64_t row) {
    if (size != 0)
      symbols[static_cast<size_t>(row)] = {bytes + (read.array.offset + read.rows.first + row) * size,
                                           static_cast<size_t>(size)};
  });
}

template <class Offset>
void read_between_offsets(std::vector<std::string_view> &symbols, const rows_read &read) {
  const elements<Offset> offsets(read.array, read.rows, read.faults);
  const auto *bytes = static_cast<const char *>(read.array.buffers[2]);
  if (symbols.empty())
    return; // the buffer may be null
  Offset begin = offsets[0];
  read.faults.unless(begin >= 0, "has an offset of {}", begin);
  for (int64_t row = 0; row < read.rows.count; ++row) {
    const Offset end = offsets[row + 1];
    read.faults.unless(begin <= end, "has offsets that fall from {} to {}", begin, end);
    read.faults.unless(bytes != nullptr || begin == end, "has texts but no buffer of their bytes");
    if (begin != end && read.valid[read.rows.first + row])
      symbols[static_cast<size_t>(row)] = {bytes + begin, static_cast<size_t>(end - begin)};
    begin = end;
  }
}

// A view of a text: its length, then either the whole text, or its first bytes, the number of a buffer and the offset
// in this buffer.
struct view {
  static constexpr int32_t most_inline = 12;

  int32_t length;
  char prefix[4];
  int32_t buffer;
  int32_t offset;
};

void read_views(std::vector<std::string_view> &symbols, const rows_read &read) {
  const auto &[type, array, rows, valid, faults] = read;
  const elements<view> views(array, rows, faults);
  const int64_t buffers = array.n_buffers - shape_of(layout::views).buffers;
  const auto *sizes = static_cast<const char *>(array.buffers[array.n_buffers - 1]);
  faults.unless(sizes != nullptr || buffers == 0, "has views but no sizes of their buffers");
  read.for_valid([&, &array = array, &faults = faults](int64_t row) {
    const view v = views[row];
    faults.unless(v.length >= 0, "has a text of {} bytes", v.length);
    std::string_view &symbol = symbols[static_cast<size_t>(row)];
    if (v.length <= view::most_inline) {
      symbol = {views.at(row) + sizeof v.length, static_cast<size_t>(v.length)};
      return;
    }
    faults.unless(v.buffer >= 0 && v.buffer < buffers, "has a view of buffer {} of {}", v.buffer, buffers);
    int64_t size;
    std::memcpy(&size, sizes + v.buffer * int64_t{sizeof size}, sizeof size);
    const auto *bytes = static_cast<const char *>(array.buffers[2 + v.buffer]);
    faults.unless(bytes != nullptr && v.offset >= 0 && size >= v.offset && size - v.offset >= v.length,
                  "has a view of {} bytes at {} of a buffer of {}", v.length, v.offset, size);
    symbol = {bytes + v.offset, static_cast<size_t>(v.length)};
    faults.unless(symbol.starts_with(std::string_view(v.prefix, sizeof v.prefix)),
                  "has a view that begins unlike its text");
  });
}

void read_values(std::vector<std::string_view> &symbols, std::vector<wide_key> &wide, const rows_read &read) {
  switch (read.type.layout) {
  case layout::int128:
    return read_wide(symbols, wide, read);
  case layout::fixed_bytes:
    return read_fixed_bytes(symbols, read);
  case layout::views:
    return read_views(symbols, read);
  case layout::offsets64:
    return read_between_offsets<int64_t>(symbols, read);
  default:
    return read_between_offsets<int32_t>(symbols, read);
  }
}

} // namespace

array_shape shape_of(arrow_layout of) {
  if (of == layout::nulls)
    return {};
  const bool has_bytes = of == layout::offsets32 || of == layout::offsets64 || of == layout::views;
  return {has_bytes ? 3 : 2, of == layout::views};
}

void check_shape(const ArrowArray *array, const array_shape &shape, const array_faults &faults) {
  faults.unless(array != nullptr && array->release != nullptr, "has an array that was released");
  const auto &a = *array;
  faults.unless(a.length >= 0 && a.length <= most_rows, "has an array of {} rows", a.length);
  faults.unless(a.offset >= 0 && a.offset <= last_offset, "has an array that begins at row {}", a.offset);
  faults.unless(a.null_count >= -1 && a.null_count <= a.length, "has an array with {} NULLs in {} rows", a.null_count,
                a.length);
  faults.unless(a.n_buffers == shape.buffers || (a.n_buffers > shape.buffers && shape.has_more_buffers),
                "has an array of {} buffers instead of {}", a.n_buffers, shape.buffers);
  faults.unless(a.n_children == shape.children, "has an array of {} children instead of {}", a.n_children,
                shape.children);
  faults.unless((a.dictionary != nullptr) == shape.has_dictionary, "has an array {} a dictionary",
                shape.has_dictionary ? "without" : "with");
  faults.unless((a.buffers != nullptr || shape.buffers == 0) && (a.children != nullptr || shape.children == 0),
                "has an array without its lists of buffers and children");
}

validity::validity(const ArrowArray &array, const array_faults &faults)
    : all_(array.buffers[0] == nullptr), bits_(array.buffers[0], array.offset) {
  int64_t nulls = 0;
  for (int64_t row = 0; row < array.length && !all_; ++row)
    nulls += bits_[row] ? 0 : 1;
  faults.unless(array.null_count == -1 || array.null_count == nulls, "has an array with {} NULLs that says {}", nulls,
                array.null_count);
  all_ = nulls == 0;
}

template <class Value>
array_values<Value>::array_values(const arrow_type &type, const ArrowArray &array, row_range rows,
                                  const validity &valid, const array_faults &faults)
    : values(static_cast<size_t>(rows.count)) {
  read_values(values, wide_, {type, array, rows, valid, faults});
}

template struct array_values<int64_t>;
template struct array_values<std::string_view>;

} // namespace store
