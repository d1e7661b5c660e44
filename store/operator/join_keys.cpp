#include "store/operator/join_keys.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <memory>

namespace store::exec {

namespace {

// Equal numbers have equal bits: -0.0 equals 0.0, and all NaN are equal.
int64_t bits_of(double value) {
  if (std::isnan(value))
    value = std::numeric_limits<double>::quiet_NaN();
  return std::bit_cast<int64_t>(value + 0.0);
}

// For each code of the dictionary of the probed side, the code of the same text in the dictionary of the built side, or
// -1.
std::vector<int64_t> matched_codes(const coded_values &built, const coded_values &probed) {
  std::vector<int64_t> out(probed.codes(), -1);
  const std::span<const std::string_view> b = built.texts();
  const std::span<const std::string_view> p = probed.texts();
  size_t at = built.symbols().first_code();
  for (size_t code = probed.symbols().first_code(); code < probed.codes(); ++code) {
    while (at < built.codes() && b[at] < p[code])
      ++at;
    if (at < built.codes() && b[at] == p[code])
      out[code] = static_cast<int64_t>(at);
  }
  return out;
}

bool has_one_dictionary(const layout &a, const layout &b) {
  return a.form == representation::codes && b.form == representation::codes &&
         (a.entries == b.entries || &a.entries->symbols() == &b.entries->symbols());
}

// int64 if both sides have it.  The type decides for codes.
representation compared_form(const layout &built, const layout &probed) {
  const auto plain = [](const layout &of) {
    return of.form == representation::codes ? plain_representation(of.held()) : of.form;
  };
  const representation b = plain(built);
  const representation p = plain(probed);
  if (b == representation::int128 || p == representation::int128)
    return representation::int128;
  return b == representation::float64 ? representation::int64 : b;
}

template <class T, class Convert>
vector converted(size_t rows, const uint64_t *validity, arena &memory, Convert convert) {
  const std::span<T> out = memory.take<T>(rows);
  for (size_t row = 0; row < rows; ++row)
    out[row] = convert(row);
  return vector(out, validity);
}

vector compared_values(const vector &from, const layout &of, representation form, arena &memory) {
  const vector plain = plain_values(from, of, memory);
  if (plain.form == representation::float64)
    return converted<int64_t>(plain.rows, plain.validity, memory,
                              [values = plain.float64s()](size_t row) { return bits_of(values[row]); });
  if (plain.form == representation::int64 && form == representation::int128)
    return converted<__int128>(plain.rows, plain.validity, memory,
                               [values = plain.int64s()](size_t row) { return __int128{values[row]}; });
  return plain;
}

} // namespace

key_column::key_column(const layout &built, const layout &probed, bool nulls_match)
    : built_(built), probed_(probed), nulls_match_(nulls_match), compared_(compared_form(built, probed)) {
  if (has_one_dictionary(built, probed)) {
    by_code_ = true;
    compared_ = representation::int64;
  } else if (compared_ == representation::text && built.form == representation::codes &&
             probed.form == representation::codes) {
    by_code_ = true;
    compared_ = representation::int64;
    code_of_probed_ = matched_codes(*built.entries, *probed.entries);
  }
}

vector key_column::built_values(const vector &from, arena &memory) const {
  if (by_code_)
    return converted<int64_t>(from.rows, from.validity, memory,
                              [codes = from.codes()](size_t row) { return int64_t{codes[row]}; });
  return compared_values(from, built_, compared_, memory);
}

vector key_column::probed_values(const vector &from, arena &memory) const {
  if (by_code_ && code_of_probed_.empty())
    return converted<int64_t>(from.rows, from.validity, memory,
                              [codes = from.codes()](size_t row) { return int64_t{codes[row]}; });
  if (by_code_)
    return converted<int64_t>(from.rows, from.validity, memory,
                              [&, codes = from.codes()](size_t row) { return code_of_probed_[codes[row]]; });
  return compared_values(from, probed_, compared_, memory);
}

namespace {

// Calls a function with the integers of a key column on the built side, without NULLs.  Returns true if there are
// NULLs.
template <class Take>
bool for_each_built_number(const key_column &of, const vector &built, arena &memory, const Take &take) {
  bool has_nulls = false;
  for (size_t first = 0; first < built.rows; first += chunk_rows) {
    const arena::mark begun = memory.position();
    const vector block = rows_of(built, first, std::min<size_t>(chunk_rows, built.rows - first));
    const vector values = of.built_values(block, memory);
    for (size_t row = 0; row < values.rows; ++row)
      if (values.is_null(row))
        has_nulls = true;
      else
        take(values.int64s()[row]);
    memory.rewind(begun);
  }
  return has_nulls;
}

// The codes of the dictionary of the probed side whose values are in a set of integers.
std::shared_ptr<key_filter> filter_of_codes(const key_column &of, const key_filter &among, arena &memory) {
  const coded_values &entries = *of.probed().entries;
  auto out = std::make_shared<key_filter>(0, entries.codes());
  const uint64_t begin = entries.symbols().first_code();
  for (uint64_t first = begin; first < entries.codes(); first += chunk_rows) {
    const arena::mark begun = memory.position();
    const std::span<const uint32_t> codes =
        consecutive(first, std::min<uint64_t>(chunk_rows, entries.codes() - first), memory);
    const vector numbers = of.probed_values(vector(codes), memory);
    for (size_t i = 0; i < codes.size(); ++i)
      if (among.contains(numbers.int64s()[i]))
        out->add(codes[i]);
    memory.rewind(begun);
  }
  return out;
}

} // namespace

std::shared_ptr<const key_filter> make_key_filter(const key_column &of, const vector &built, double probed_rows,
                                                  arena &memory) {
  const layout &probed = of.probed();
  const bool is_coded = probed.form == representation::codes;
  if (of.compared() != representation::int64 || !(is_coded || probed.form == representation::int64))
    return nullptr;
  const uint64_t values = is_coded ? probed.entries->codes() : probed.distinct.value_or(UINT64_MAX);
  const auto passes_most = [&](uint64_t keys) { return static_cast<double>(keys) * 1.5 > static_cast<double>(values); };
  if (passes_most(std::min<uint64_t>(built.rows, of.built().distinct.value_or(UINT64_MAX))) ||
      (is_coded && static_cast<double>(values) > std::max<double>(chunk_rows, probed_rows)))
    return nullptr;

  int64_t low = std::numeric_limits<int64_t>::max();
  int64_t high = std::numeric_limits<int64_t>::min();
  const bool has_nulls = for_each_built_number(of, built, memory, [&](int64_t number) {
    low = std::min(low, number);
    high = std::max(high, number);
  });
  const uint64_t range = low > high ? 0 : static_cast<uint64_t>(high) - static_cast<uint64_t>(low);
  constexpr double least_range = 1 << 20; // 128 KB
  constexpr double range_per_row = 64;    // 8 bytes a row
  if (static_cast<double>(range) > std::max(least_range, range_per_row * probed_rows))
    return nullptr;
  auto numbers = std::make_shared<key_filter>(low > high ? 0 : low, low > high ? 0 : range + 1);
  for_each_built_number(of, built, memory, [&](int64_t number) { numbers->add(number); });
  if (is_coded)
    numbers = filter_of_codes(of, *numbers, memory);
  if (of.nulls_match() && has_nulls)
    numbers->add_null();
  numbers->finish();
  return passes_most(numbers->size()) ? nullptr : numbers;
}

usable_words::usable_words(const key_batch &keys, arena &memory) : words_(keys.words[0]), first_(keys.first) {
  if (keys.usable == nullptr)
    return;
  const std::span<uint64_t> out = memory.take<uint64_t>(keys.rows);
  for (size_t row = 0; row < keys.rows; ++row)
    out[row] = (words_[row] - first_) | ((keys.usable[row / 64] >> (row % 64) & 1) - 1);
  words_ = out;
  first_ = 0;
}

key_packing::key_packing(std::span<const key_column> columns, std::span<const vector> built, arena &memory)
    : columns_(columns), null_is_value_(columns.size()), bounds_(columns.size()) {
  for (size_t c = 0; c < columns.size(); ++c)
    measure(c, built[c], memory);
  pack(std::nullopt);
}

void key_packing::measure(size_t column, const vector &built, arena &memory) {
  bool has_nulls = false;
  bounds found{std::numeric_limits<__int128>::max(), std::numeric_limits<__int128>::min()};
  const auto add = [&]<class T>(std::span<const T> numbers, const vector &of) {
    T least = std::numeric_limits<T>::max();
    T most = std::numeric_limits<T>::min();
    for (size_t row = 0; row < numbers.size(); ++row)
      if (!of.is_null(row)) {
        least = std::min(least, numbers[row]);
        most = std::max(most, numbers[row]);
      }
    if (least <= most) {
      found.low = std::min<__int128>(found.low, least);
      found.high = std::max<__int128>(found.high, most);
    }
  };
  for (size_t first = 0; first < built.rows; first += chunk_rows) {
    const vector block = rows_of(built, first, std::min<size_t>(chunk_rows, built.rows - first));
    const arena::mark begun = memory.position();
    has_nulls = has_nulls || has_null(block);
    if (columns_[column].compared() != representation::text) {
      const vector values = columns_[column].built_values(block, memory);
      if (values.form == representation::int64)
        add(values.int64s(), values);
      else
        add(values.int128s(), values);
    }
    memory.rewind(begun);
  }
  // A NULL of the probed side finds nothing if the built side has no NULL.
  null_is_value_[column] = columns_[column].nulls_match() && has_nulls;
  bounds_[column] = found.low <= found.high ? found : bounds{0, 0};
}

uint64_t key_packing::bounds::range(bool null_is_value) const {
  const unsigned __int128 span = static_cast<unsigned __int128>(high) - static_cast<unsigned __int128>(low);
  return span < most_range - 1 ? static_cast<uint64_t>(span) + (null_is_value ? 2 : 1) : 0;
}

bool key_packing::separate(uint64_t most_words) {
  std::optional<size_t> widest;
  uint64_t range = 1;
  for (size_t c = 0; c < columns_.size(); ++c)
    if (columns_[c].compared() != representation::text)
      if (const uint64_t found = bounds_[c].range(null_is_value_[c]); found > range && found <= most_words) {
        widest = c;
        range = found;
      }
  if (!widest || columns_.size() == 1)
    return false;
  pack(widest);
  return true;
}

void key_packing::pack(std::optional<size_t> alone) {
  fields_.clear();
  ranges_.clear();
  texts_.clear();
  first_open_word_ = 0;
  if (alone) {
    pack_column(*alone);
    first_open_word_ = 1;
  }
  for (size_t c = 0; c < columns_.size(); ++c)
    if (c != alone)
      pack_column(c);
  if (ranges_.empty() && texts_.empty())
    ranges_.push_back(1); // no column: all keys are equal
}

void key_packing::pack_column(size_t column) {
  const bool null_is_value = null_is_value_[column];
  const bool is_text = columns_[column].compared() == representation::text;
  const uint64_t range = is_text ? 0 : bounds_[column].range(null_is_value);
  const __int128 low = bounds_[column].low;
  if (range != 0) {
    add_field(column, part::number, low, range, null_is_value);
    return;
  }
  if (null_is_value)
    add_field(column, part::null_flag, 0, 2, false);
  if (is_text) {
    texts_.push_back(column);
    return;
  }
  add_field(column, part::low_half, low, 0, false);
  if (columns_[column].compared() == representation::int128)
    add_field(column, part::high_half, low, 0, false);
}

// A range of 0 takes a whole word.
void key_packing::add_field(size_t column, part of, __int128 low, uint64_t range, bool null_is_value) {
  field made{column, of, ranges_.size(), 1, range - 1 - (null_is_value ? 1 : 0), low, null_is_value};
  if (range == 0) {
    ranges_.push_back(whole_word);
  } else {
    size_t word = first_open_word_;
    while (word < ranges_.size() && (ranges_[word] == whole_word || range > most_range / ranges_[word]))
      ++word;
    if (word == ranges_.size())
      ranges_.push_back(1);
    made.word = word;
    made.multiplier = ranges_[word];
    ranges_[word] *= range;
  }
  fields_.push_back(made);
}

key_batch key_packing::of_built(std::span<const vector> values, uint32_t rows, arena &memory) const {
  std::span<vector> compared = memory.take<vector>(values.size());
  for (size_t c = 0; c < values.size(); ++c)
    compared[c] = columns_[c].built_values(values[c], memory);
  return packed(compared, rows, memory);
}

key_batch key_packing::of_probed(std::span<const vector> values, uint32_t rows, arena &memory) const {
  std::span<vector> compared = memory.take<vector>(values.size());
  for (size_t c = 0; c < values.size(); ++c)
    compared[c] = columns_[c].probed_values(values[c], memory);
  return packed(compared, rows, memory);
}

key_batch key_packing::packed(std::span<const vector> compared, uint32_t rows, arena &memory) const {
  key_batch out;
  out.rows = rows;
  const std::span<std::span<const uint64_t>> words = memory.take<std::span<const uint64_t>>(ranges_.size());
  out.words = words;
  if (is_number()) {
    const std::span<const int64_t> numbers = compared[0].int64s();
    words[0] = {reinterpret_cast<const uint64_t *>(numbers.data()), numbers.size()};
    out.first = static_cast<uint64_t>(fields_[0].low);
  } else {
    for (size_t w = 0; w < words.size(); ++w) {
      const std::span<uint64_t> word = memory.take<uint64_t>(rows);
      std::fill(word.begin(), word.end(), 0);
      for (const field &f : fields_)
        if (f.word == w)
          add_to_word(f, compared[f.column], word);
      words[w] = word;
    }
  }

  out.texts = memory.take<std::span<const std::string_view>>(texts_.size());
  for (size_t t = 0; t < texts_.size(); ++t) {
    const vector &values = compared[texts_[t]];
    out.texts[t] = values.texts();
    if (null_is_value_[texts_[t]] && values.validity != nullptr)
      out.texts[t] = converted<std::string_view>(rows, nullptr, memory, [&, texts = values.texts()](size_t row) {
                       return values.is_null(row) ? std::string_view() : texts[row];
                     }).texts();
  }

  std::span<uint64_t> usable;
  for (size_t c = 0; c < compared.size(); ++c) {
    if (null_is_value_[c] || compared[c].validity == nullptr)
      continue;
    if (usable.empty())
      usable = all_valid(memory, rows);
    for (size_t word = 0; word < usable.size(); ++word)
      usable[word] &= compared[c].validity[word];
  }
  out.usable = usable.empty() ? nullptr : usable.data();
  return out;
}

void key_packing::add_to_word(const field &of, const vector &values, std::span<uint64_t> word) const {
  const auto add = [&](auto number_of) {
    for (size_t row = 0; row < word.size(); ++row)
      word[row] += number_of(row);
  };
  const auto add_but_nulls = [&](auto number_of, uint64_t of_null) {
    if (values.validity == nullptr || !null_is_value_[of.column])
      add(number_of);
    else
      add([&](size_t row) { return values.is_null(row) ? of_null : number_of(row); });
  };
  if (of.of == part::null_flag) {
    if (values.validity != nullptr)
      add([&](size_t row) { return values.is_null(row) ? of.multiplier : 0; });
    return;
  }
  const auto packed_number = [&of](uint64_t above) { return above > of.span ? most_range : above * of.multiplier; };
  if (values.form == representation::int64) {
    const std::span<const int64_t> numbers = values.int64s();
    const auto low = static_cast<uint64_t>(of.low);
    const auto above = [&](size_t row) { return static_cast<uint64_t>(numbers[row]) - low; };
    if (of.of == part::low_half)
      add_but_nulls(above, 0);
    else
      add_but_nulls([&](size_t row) { return packed_number(above(row)); }, (of.span + 1) * of.multiplier);
    return;
  }
  const std::span<const __int128> numbers = values.int128s();
  const auto low = static_cast<unsigned __int128>(of.low);
  const auto above = [&](size_t row) { return static_cast<unsigned __int128>(numbers[row]) - low; };
  if (of.of == part::low_half)
    add_but_nulls([&](size_t row) { return static_cast<uint64_t>(above(row)); }, 0);
  else if (of.of == part::high_half)
    add_but_nulls([&](size_t row) { return static_cast<uint64_t>(above(row) >> 64); }, 0);
  else
    add_but_nulls(
        [&](size_t row) {
          return above(row) > of.span ? most_range : static_cast<uint64_t>(above(row)) * of.multiplier;
        },
        (of.span + 1) * of.multiplier);
}

} // namespace store::exec
