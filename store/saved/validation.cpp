#include "store/saved/validation.hpp"

#include <algorithm>
#include <bit>
#include <functional>

#include "store/chunk/cells.hpp"
#include "store/chunk/kept_rows.hpp"
#include "store/encode/big_endian.hpp"
#include "store/encode/packing.hpp"
#include "store/encode/prefix_encoder.hpp"
#include "store/encode/runs.hpp"
#include "store/library/source_vector.hpp"
#include "store/operator/column_reader.hpp"
#include <vorn/qpak_encoder.hpp>

namespace store::saved {

namespace {

// Is this key a value of the kind?
bool is_key(int64_t key, value_kind kind) {
  constexpr int64_t day_microseconds = 86'400'000'000;
  switch (kind) {
  case value_kind::boolean:
    return key == 0 || key == 1;
  case value_kind::date:
    return key == static_cast<int32_t>(key);
  case value_kind::time:
    return key >= 0 && key <= day_microseconds;
  default:
    return true;
  }
}

bool are_keys(int64_t low, int64_t high, value_kind kind) {
  return low <= high && is_key(low, kind) && is_key(high, kind);
}

uint32_t symbol_bytes_of(const column_type &type) { return type.is_wide() ? sizeof(wide_key) : sizeof(int64_t); }

// The bytes of a prefix and of the rests of its values.
uint64_t group_bytes(uint32_t prefix_bytes, uint32_t value_bytes, uint32_t values) {
  return prefix_bytes + uint64_t{values} * (value_bytes - prefix_bytes);
}

void check_groups(const column &of, const column_segment &rows) {
  const uint32_t value_bytes = of.width / 8;
  uint64_t at = 0;
  for (uint32_t first = 0, group = 0; first < rows.rows; first += prefix_group, ++group) {
    require(read_big_endian(rows.lens.data() + size_t{group} * sizeof(uint32_t), sizeof(uint32_t)) == at &&
                at < rows.stream_bytes && rows.stream[at] <= value_bytes,
            "its groups do not follow each other");
    at += 1 + group_bytes(rows.stream[at], value_bytes, std::min(prefix_group, rows.rows - first));
  }
  require(at == rows.stream_bytes, "its groups do not fill their stream");
}

void check_runs(const column &of, column_segment &rows) {
  rows.cla = run_ends(rows.lens.data(), rows.runs, of.run_length_bits);
  const bool rise = std::adjacent_find(rows.cla.begin(), rows.cla.end(), std::equal_to<>()) == rows.cla.end();
  require(rise && big_endian(rows.cla[rows.runs]) == rows.rows, "its runs are not as long as its rows");
}

// The number of rows with an ordinal in a range.  Unlike a scan, this function also finds ordinals after the last
// ordinal of the column.
uint32_t count(const vorn_ctx &ctx, const column &of, const column_segment &rows, uint64_t first, uint64_t last,
               exec::arena &memory) {
  memory.rewind({});
  vorn_enc_ctx layout = predicate_encoding(of, false);
  uint64_t *const run_bits =
      of.form == encoding::rle ? memory.take<uint64_t>(exec::words_of(rows.runs)).data() : nullptr;
  vorn_cv source = source_vector(of, rows, layout, run_bits);
  constant_vector low(of, false, first), high(of, false, last);
  vorn_cv result{};
  vorn_build_vector(&result, nullptr, nullptr, nullptr, nullptr, nullptr,
                    memory.take<uint64_t>(exec::words_of(rows.rows)).data(), rows.rows, 0, nullptr, 0);
  vorn_aux aux{};
  vorn_range_cmp(&ctx, &result, &source, low.get(), high.get(), &aux, VORN_OPC_GE_LE);
  return result.vorn_cv_popc;
}

// The kernels accept every code in a predicate, also a code without a value.
void check_zone(const vorn_ctx &ctx, const column &of, const column_segment &rows, exec::arena &memory) {
  constexpr const char *beyond = "it has codes or values beyond the range of the column or of a segment";
  const zone &held = rows.held;
  require(held.nulls <= rows.rows && (held.nulls == 0 || of.has_nulls()), beyond);
  const uint32_t values = rows.rows - held.nulls;
  require(held.has_values() == (values != 0), beyond);
  if (of.has_nulls())
    require(count(ctx, of, rows, 0, 0, memory) == held.nulls, beyond);
  if (values != 0)
    require(held.low >= of.first_ordinal() && held.high <= of.last_ordinal() &&
                count(ctx, of, rows, held.low, held.high, memory) == values,
            beyond);
}

} // namespace

void check_form(const column &of) {
  const bool is_text = of.type.is_bytes();
  bool fits = false;
  switch (of.form) {
  case encoding::dict:
  case encoding::rle:
    fits = of.width == least_width(std::get<dictionary>(of.values).codes());
    break;
  case encoding::fixed:
  case encoding::prefix:
    fits = of.width % 8 == 0 && of.width >= 8 && of.width <= 64;
    break;
  case encoding::dynp:
    fits = of.width == 16 || of.width == 32 || of.width == 64;
    break;
  }
  if (const auto *range = std::get_if<key_range>(&of.values))
    fits = fits && !is_text && !of.type.is_wide() && are_keys(range->low, range->high, of.type.kind) &&
           static_cast<uint32_t>(std::bit_width(of.last_ordinal())) <= of.width;
  fits = fits &&
         (of.form == encoding::rle ? of.run_length_bits == 8 || of.run_length_bits == 16 : of.run_length_bits == 0);
  require(fits && !(of.form == encoding::prefix && of.compressed), "its form does not fit its values");
}

void check_symbol_ends(const dictionary::parts &entries) {
  const auto &[symbols, ends, one_length, with_null, codes] = entries;
  bool fits = codes <= uint64_t{1} << 32 && (!with_null || codes != 0);
  if (ends.empty()) {
    fits = fits && !with_null && codes * big_endian(one_length) == symbols.size();
  } else {
    fits =
        fits && ends.size() == codes + 1 && ends[0] == 0 && (!with_null || ends[1] == 0) &&
        big_endian(ends[codes]) == symbols.size() &&
        std::is_sorted(ends.begin(), ends.end(), [](uint32_t a, uint32_t b) { return big_endian(a) < big_endian(b); });
  }
  require(fits, "its dictionary is none");
}

void check_symbols(const dictionary &entries, value_kind kind) {
  const column_type type{kind};
  constexpr const char *message = "its dictionary has symbols of no values";
  const uint64_t first = entries.first_code();
  std::string_view before;
  for (uint64_t code = first; code < entries.codes(); ++code) {
    const std::string_view symbol = entries.symbol(code);
    require(type.is_bytes() ? symbol.size() <= dictionary::longest_text : symbol.size() == symbol_bytes_of(type),
            message);
    require(code == first || before < symbol, "its dictionary does not ascend");
    before = symbol;
  }
  if (entries.size() != 0 && !type.is_bytes() && !type.is_wide())
    require(are_keys(std::get<int64_t>(entries.value_of(first, kind)),
                     std::get<int64_t>(entries.value_of(entries.codes() - 1, kind)), kind),
            message);
}

void check_lengths(const column &of, column_segment &rows) {
  if (of.form == encoding::rle)
    check_runs(of, rows);
  else if (of.form == encoding::prefix)
    check_groups(of, rows);
}

void check_values(const vorn_ctx &ctx, const column &of) {
  exec::arena memory;
  if (of.form == encoding::prefix) {
    const auto *range = std::get_if<key_range>(&of.values);
    if (range == nullptr)
      return;
    exec::layout as;
    as.type.held = of.type;
    as.form = exec::plain_representation(of.type);
    exec::column_reader reader(ctx, of, as.form, nullptr, nullptr);
    for (size_t group = 0; group < of.segments.size(); ++group, memory.rewind({})) {
      const auto values = reader.read(group, exec::consecutive(0, of.segments[group].rows, memory), memory);
      for (uint32_t row = 0; row < values.rows; ++row) {
        const auto key = std::get<int64_t>(exec::cell_at(values, as, row));
        require(key >= range->low && key <= range->high, "it has keys beyond its range");
      }
    }
    return;
  }
  for (const column_segment &rows : of.segments) {
    if (of.compressed) {
      require(vorn_host::qpak_stream_size(rows.stream.data(), rows.stored_bytes()) == rows.stored_bytes(),
              "a compressed stream is not whole");
      exec::plain_stream(ctx, of, rows);
    }
    check_zone(ctx, of, rows, memory);
  }
}

} // namespace store::saved
