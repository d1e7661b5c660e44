#include "store/operator/sort_keys.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string_view>

#include "store/chunk/float_bits.hpp"

namespace store::exec {

namespace {

using uint128 = unsigned __int128;

// The first 8 bytes of a text, and zeros after a shorter one.
uint64_t prefix_of(std::string_view text) {
  uint64_t bytes = 0;
  std::memcpy(&bytes, text.data(), std::min(text.size(), sizeof bytes));
  static_assert(std::endian::native == std::endian::little);
  return __builtin_bswap64(bytes);
}

constexpr size_t block = 64; // rows of a block

// The rows that pass a test.  In most blocks no row passes.
template <class Passes>
std::span<const uint32_t> passing(size_t rows, arena &memory, const Passes &passes) {
  const std::span<uint32_t> out = memory.take<uint32_t>(rows);
  size_t count = 0;
  for (size_t first = 0; first < rows; first += block) {
    const size_t end = std::min(rows, first + block);
    int any = 0;
    if (end == first + block)
      for (size_t i = 0; i < block; ++i)
        any |= passes(first + i) ? 1 : 0;
    else
      any = 1;
    if (any != 0)
      for (size_t row = first; row < end; ++row) {
        out[count] = static_cast<uint32_t>(row);
        count += passes(row) ? 1 : 0;
      }
  }
  return out.first(count);
}

// The same for values up to a number, or from a number on.
template <class T>
std::span<const uint32_t> within(std::span<const T> values, __int128 bound, bool is_lower, arena &memory) {
  const auto number =
      static_cast<T>(std::clamp<__int128>(bound, std::numeric_limits<T>::lowest(), std::numeric_limits<T>::max()));
  if (number != bound && (bound > number) == is_lower)
    return {};
  if (is_lower)
    return passing(values.size(), memory, [&](size_t row) { return values[row] >= number; });
  return passing(values.size(), memory, [&](size_t row) { return values[row] <= number; });
}

} // namespace

sort_keys::sort_keys(std::span<const layout> columns, std::span<const sort_column> keys) {
  for (const sort_column &key : keys)
    add_key(columns[key.column], key);
  if (words_.empty()) {
    levels_.emplace_back();
    words_.emplace_back();
  }
  for (sort_level &level : levels_)
    if (!level.is_text)
      level.bits = words_[level.index].bits;
}

void sort_keys::add(const part &p) {
  if (p.bits == 0)
    return;
  // After a text a new word begins.
  if (levels_.empty() || levels_.back().is_text || words_.back().bits + p.bits > 64) {
    levels_.push_back({words_.size()});
    words_.emplace_back();
  }
  words_.back().parts.push_back(p);
  words_.back().bits += p.bits;
}

void sort_keys::add_key(const layout &of, const sort_column &key) {
  part p{.key = key};
  number_bounds bounds = of.bounds.value_or(number_bounds{0, ~static_cast<__int128>(0)});
  bool is_bounded = of.bounds && of.form != representation::float64 && of.form != representation::text;
  if (of.form == representation::codes) {
    bounds = {0, static_cast<__int128>(std::max<uint64_t>(of.entries->codes(), 1)) - 1};
    is_bounded = true;
  }
  const uint128 span =
      bounds.low > bounds.high ? 0 : static_cast<uint128>(bounds.high) - static_cast<uint128>(bounds.low);
  if (is_bounded && span < uint128{1} << 63) {
    p.low = key.is_descending ? bounds.high : bounds.low;
    p.more = of.has_nulls && key.nulls_first ? 1 : 0;
    p.for_null = key.nulls_first ? 0 : static_cast<uint64_t>(span) + 1;
    p.bits = static_cast<uint32_t>(std::bit_width(static_cast<uint64_t>(span) + (of.has_nulls ? 1 : 0)));
    return add(p);
  }
  if (of.form == representation::float64) {
    p.what = part::kind::real;
    p.bits = 64;
    p.for_null = key.nulls_first ? 0 : ~uint64_t{0};
    return add(p);
  }
  if (of.has_nulls) {
    part null = p;
    null.what = part::kind::is_null;
    null.bits = 1;
    null.for_null = key.nulls_first ? 0 : 1;
    null.more = 1 - null.for_null;
    add(null);
  }
  p.bits = 64;
  switch (of.form) {
  case representation::text:
    p.what = part::kind::prefix;
    add(p);
    levels_.push_back({key.column, 0, true, key.is_descending});
    return;
  case representation::int128:
    p.what = part::kind::high_half;
    add(p);
    p.what = part::kind::low_half;
    return add(p);
  default:
    p.what = part::kind::low_half;
    p.low = __int128{1} << 63; // flips the sign bit, so that the key is an unsigned number
    return add(p);
  }
}

std::span<const uint64_t> sort_keys::word(size_t index, chunk &rows) const {
  const std::span<uint64_t> out = rows.memory().take<uint64_t>(rows.rows());
  if (words_[index].parts.empty())
    std::fill(out.begin(), out.end(), 0);
  bool is_first = true;
  for (const part &p : words_[index].parts) {
    pack(p, rows.column(p.key.column), out, is_first);
    is_first = false;
  }
  return out;
}

std::span<const uint32_t> sort_keys::not_above(uint64_t bound, chunk &rows) const {
  arena &memory = rows.memory();
  if (!words_[0].parts.empty()) {
    const part &first = words_[0].parts.front();
    const vector &values = rows.column(first.key.column);
    if (first.what == part::kind::number && values.validity == nullptr) {
      const uint64_t of_first = bound >> (words_[0].bits - first.bits);
      if (of_first < first.more)
        return {};
      const __int128 distance = of_first - first.more;
      const __int128 number = first.key.is_descending ? first.low - distance : first.low + distance;
      if (values.form == representation::codes)
        return within(values.codes(), number, first.key.is_descending, memory);
      if (values.form == representation::int64)
        return within(values.int64s(), number, first.key.is_descending, memory);
    }
  }
  const std::span<const uint64_t> words = word(0, rows);
  return passing(words.size(), memory, [&](size_t row) { return words[row] <= bound; });
}

void sort_keys::pack(const part &p, const vector &values, std::span<uint64_t> words, bool is_first) {
  const auto pack_all = [&](const auto &number_of) {
    const auto set = [&](size_t row, uint64_t number) {
      words[row] = is_first ? number : words[row] << p.bits | number;
    };
    if (values.validity == nullptr)
      for (size_t row = 0; row < words.size(); ++row)
        set(row, number_of(row));
    else
      for (size_t row = 0; row < words.size(); ++row)
        set(row, values.is_null(row) ? p.for_null : number_of(row));
  };
  const uint64_t inverted = p.key.is_descending ? ~uint64_t{0} : 0;
  with_type(values.form, [&]<class T>(T) {
    const T *const from = values.values<T>().data();
    if constexpr (std::is_same_v<T, std::string_view>) {
      if (p.what == part::kind::prefix)
        return pack_all([&](size_t row) { return prefix_of(from[row]) ^ inverted; });
    } else if constexpr (std::is_same_v<T, double>) {
      if (p.what == part::kind::real)
        return pack_all([&](size_t row) { return ordered_bits_of(from[row]) ^ inverted; });
    } else {
      switch (p.what) {
      case part::kind::number: {
        // Modulo 2^64: v - low, or high - v.
        const uint64_t sign = p.key.is_descending ? ~uint64_t{0} : 1;
        const uint64_t added = p.more - sign * static_cast<uint64_t>(p.low);
        return pack_all([&](size_t row) { return sign * static_cast<uint64_t>(from[row]) + added; });
      }
      case part::kind::low_half:
        return pack_all(
            [&](size_t row) { return (static_cast<uint64_t>(from[row]) ^ static_cast<uint64_t>(p.low)) ^ inverted; });
      case part::kind::high_half:
        if constexpr (std::is_same_v<T, __int128>)
          return pack_all([&](size_t row) {
            return (static_cast<uint64_t>(static_cast<uint128>(from[row]) >> 64) ^ uint64_t{1} << 63) ^ inverted;
          });
        break;
      default:
        break;
      }
    }
    pack_all([&](size_t) { return p.more; }); // whether the value is NULL
  });
}

} // namespace store::exec
