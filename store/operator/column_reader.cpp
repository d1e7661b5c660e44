#include "store/operator/column_reader.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <utility>

#include <fmt/format.h>

#include "store/chunk/fast_loop.hpp"
#include "store/encode/big_endian.hpp"
#include "store/encode/encoded.hpp"
#include "store/encode/packing.hpp"
#include "store/error.hpp"
#include "store/library/source_vector.hpp"

namespace store::exec {

namespace {

// The 8 bytes from an address on as a big-endian number.  A cache line after the end of a stream can be read.
uint64_t big_endian_at(const uint8_t *bytes) {
  uint64_t out;
  std::memcpy(&out, bytes, sizeof out);
  return big_endian(out);
}

bool has_both_zeros(const dictionary &entries, const column_type &type) {
  const int64_t zero = real_key(0.0);
  const uint64_t end = entries.codes();
  uint64_t low = entries.first_code();
  for (uint64_t high = end; low < high;) {
    const uint64_t middle = low + (high - low) / 2;
    if (std::get<int64_t>(entries.value_of(middle, type.kind)) < zero)
      low = middle + 1;
    else
      high = middle;
  }
  const auto is = [&](uint64_t code, double real) {
    return std::get<int64_t>(entries.value_of(code, type.kind)) == real_key(real);
  };
  return low < end && low > entries.first_code() && is(low, 0.0) && is(low - 1, -0.0);
}

// Clears the bits of rows with code 0.  Returns null if there is no such row.
const uint64_t *validity_of(std::span<const uint32_t> codes, arena &memory) {
  const std::span<uint64_t> out = memory.take<uint64_t>(words_of(codes.size()));
  const uint64_t all = fast_loop([=] {
    uint64_t valid = ~uint64_t{0};
    for (size_t word = 0; word < out.size(); ++word) {
      const std::span<const uint32_t> some = codes.subspan(word * 64, std::min<size_t>(64, codes.size() - word * 64));
      uint64_t nulls = 0;
      for (size_t i = 0; i < some.size(); ++i)
        nulls |= uint64_t{some[i] == 0} << i;
      out[word] = ~nulls;
      valid &= out[word];
    }
    return valid;
  });
  return all == ~uint64_t{0} ? nullptr : out.data();
}

} // namespace

__int128 number_of_ordinal(const column &of, uint64_t ordinal) {
  const cell value = of.value_of(ordinal);
  if (const auto *wide = std::get_if<wide_key>(&value))
    return number_of(*wide);
  const int64_t key = std::get<int64_t>(value);
  return of.type.kind == value_kind::natural ? static_cast<__int128>(natural_of_key(key)) : key;
}

layout layout_of(table &of, size_t index) {
  const column &stored = of.at(index);
  layout out{.type = logical::sql_type(of.columns()[index].sql_type), .form = plain_representation(stored.type)};
  out.has_nulls = stored.has_nulls();
  if (stored.is_dictionary()) {
    const dictionary &entries = std::get<dictionary>(stored.values);
    out.distinct = entries.size();
    if (!stored.type.is_real() || !has_both_zeros(entries, stored.type)) {
      out.form = representation::codes;
      out.entries = of.values_of(index);
    }
  } else if (std::holds_alternative<key_range>(stored.values)) {
    const uint64_t last = stored.last_ordinal();
    out.distinct = last < stored.rows ? last + 1 : stored.rows;
  }
  const bool has_values = stored.rows != 0 && !std::holds_alternative<std::monostate>(stored.values) &&
                          stored.first_ordinal() <= stored.last_ordinal();
  if (has_values && !stored.type.is_bytes() && !stored.type.is_real()) {
    out.bounds = {number_of_ordinal(stored, stored.first_ordinal()), number_of_ordinal(stored, stored.last_ordinal())};
    if (out.form == representation::int128 && out.bounds->high <= INT64_MAX)
      out.form = representation::int64; // values without a dictionary have at most 64 bits
  }
  return out;
}

void narrow(layout &as, const column &of, const ordinal_ranges *accepted) {
  if (accepted == nullptr)
    return;
  const bool has_null = of.has_nulls() && accepted->contains(0);
  const uint64_t values = accepted->size() - (has_null ? 1 : 0);
  as.has_nulls = has_null;
  as.distinct = std::min(as.distinct.value_or(values), values);
  if (!as.bounds || values == 0)
    return;
  const auto ranges = accepted->ranges();
  const bool is_null_alone = has_null && ranges.front().last == 0;
  const uint64_t first = is_null_alone ? ranges[1].first : std::max(ranges.front().first, of.first_ordinal());
  as.bounds = {number_of_ordinal(of, first), number_of_ordinal(of, ranges.back().last)};
}

const uint8_t *plain_stream(const vorn_ctx &library, const column &of, const column_segment &rows) {
  if (!of.compressed)
    return rows.stream.data();
  static std::mutex guard; // of `decompressed` of all segments
  const std::lock_guard lock(guard);
  if (rows.decompressed == nullptr) {
    constexpr uint32_t padding = vorn_host::cache_line;
    void *memory = library.vorn_ctx_alloc(library.vorn_ctx_env, library.vorn_ctx_heap, rows.stream_bytes,
                                          "decompressed stream", vorn_host::cache_line, padding, 0);
    vorn_qpak_ctx decoder = {library.vorn_ctx_env, library.vorn_ctx_heap, library.vorn_ctx_stack_alloc,
                             library.vorn_ctx_stack_free, 0};
    uint32_t written = 0;
    if (library.vorn_ctx_decompress(&decoder, rows.stream.data(), memory, &written, rows.stream_bytes) != 0)
      throw error(fmt::format("cannot decompress column '{}'", of.name));
    rows.decompressed = memory;
  }
  return static_cast<const uint8_t *>(rows.decompressed);
}

position_order::position_order(std::span<const uint32_t> positions, arena &memory) {
  constexpr size_t least_rows = 16; // of a run, on average
  const size_t rows = positions.size();
  struct counts {
    uint32_t falls;
    uint32_t repeats;
    uint32_t others; // positions that do not follow the one before
  };
  const auto [falls, repeats, others] = fast_loop([at = positions.data(), rows] {
    uint32_t fallen = 0;
    uint32_t repeated = 0;
    uint32_t begun = 0;
    for (size_t row = 1; row < rows; ++row) {
      fallen += static_cast<uint32_t>(at[row] < at[row - 1]);
      repeated += static_cast<uint32_t>(at[row] == at[row - 1]);
      begun += static_cast<uint32_t>(at[row] != at[row - 1] + 1);
    }
    return counts{fallen, repeated, begun};
  });
  ascends = falls == 0;
  if (positions.empty() || (others > 0 && others >= rows / least_rows))
    return;
  const std::span<run> made = memory.take<run>(others + 1);
  made[0] = {positions[0], 0, static_cast<uint32_t>(rows)};
  uint32_t begun = 1;
  const bool may_step = ascends && repeats == 0;
  for (size_t row = 1; row < rows && begun <= others;) {
    constexpr size_t step = 16;
    if (may_step && row + step <= rows && positions[row + step - 1] - positions[row - 1] == step) {
      row += step;
      continue;
    }
    for (const size_t end = std::min(row + step, rows); row < end; ++row)
      if (positions[row] != positions[row - 1] + 1) {
        const auto first = static_cast<uint32_t>(row);
        made[begun - 1].rows -= static_cast<uint32_t>(rows) - first;
        made[begun++] = {positions[row], first, static_cast<uint32_t>(rows) - first};
      }
  }
  runs = made;
}

column_reader::column_reader(const vorn_ctx &library, const column &of, representation form,
                             const coded_values *entries, operator_metrics *counted)
    : library_(library), of_(of), form_(form), entries_(entries), counted_(counted) {
  if (of_.is_dictionary())
    encoding_ = std::get<dictionary>(of_.values).encoding(of_.width, of_.compressed ? VORN_STREAM : 0);
}

vector column_reader::read(size_t row_group, std::span<const uint32_t> positions, const position_order &order,
                           arena &memory) {
  if (opened_ != row_group)
    open(row_group);
  if (!of_.is_dictionary())
    return form_ == representation::text ? texts(positions, memory) : numbers(positions, order, memory);
  const vector read = codes(positions, order, memory);
  if (form_ == representation::codes)
    return read;
  const std::span<double> reals = memory.take<double>(positions.size());
  const std::span<const double> of_codes = entries_->float64s();
  for (size_t i = 0; i < positions.size(); ++i)
    reals[i] = of_codes[read.codes()[i]];
  return vector(reals, read.validity);
}

void column_reader::open(size_t row_group) {
  rows_ = &of_.segments[row_group];
  if (counted_ != nullptr)
    counted_->bytes += rows_->bytes();
  stream_ = plain_stream(library_, of_, *rows_);
  if (of_.form == encoding::dict)
    source_ = source_vector(of_, *rows_, encoding_);
  else if (of_.form == encoding::rle)
    index_runs();
  else if (of_.form == encoding::dynp)
    index_lengths();
  else if (of_.form == encoding::prefix)
    decode_prefixes();
  opened_ = row_group;
}

vector column_reader::codes(std::span<const uint32_t> positions, const position_order &order, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(positions.size());
  if (of_.form == encoding::rle)
    read_runs(positions, order, out);
  else
    read_packed(positions, order, out, memory);
  return vector(out, rows_->held.nulls != 0 ? validity_of(out, memory) : nullptr);
}

uint32_t column_reader::packed_code(uint32_t index) const {
  const size_t bit = size_t{index} * of_.width;
  return static_cast<uint32_t>(big_endian_at(stream_ + bit / 8) << (bit % 8) >> (64 - of_.width));
}

void column_reader::read_packed(std::span<const uint32_t> positions, const position_order &order,
                                std::span<uint32_t> out, arena &memory) {
  // A call of the library costs as much as the codes of some rows.  If at least one row in 3 is needed, it is faster to
  // unpack all rows between the first and the last one and to pick from them: with the kernels of AVX2 and codes of 20
  // bits, it takes 0.7 nanoseconds a row for nearly all rows, 0.8 for one in 2, 1.1 for one in 3; reading single codes
  // takes 1.1.
  constexpr size_t few = 32;
  constexpr uint32_t one_in = 3;
  if (positions.size() > few && order.ascends && (positions.back() - positions.front()) / one_in < positions.size()) {
    const uint32_t first = positions.front();
    if (order.runs.size() == 1) {
      unpack(first, out);
      return;
    }
    const std::span<uint32_t> unpacked = memory.take<uint32_t>(positions.back() - first + 1);
    unpack(first, unpacked);
    if (order.runs.empty())
      for (size_t i = 0; i < out.size(); ++i)
        out[i] = unpacked[positions[i] - first];
    else
      for (const position_order::run &run : order.runs)
        std::copy_n(&unpacked[run.position - first], run.rows, &out[run.row]);
    return;
  }
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = packed_code(positions[i]);
}

void column_reader::unpack(uint32_t first, std::span<uint32_t> out) {
  const auto rows = static_cast<uint32_t>(out.size());
  vorn_cv unpacked{};
  vorn_build_vector(&unpacked, out.data(), nullptr, nullptr, nullptr, nullptr, nullptr, rows, 0, nullptr, 0);
  vorn_aux aux{};
  aux.vorn_aux_flags = VORN_AUX_UNPACK_UB4;
  aux.vorn_aux_start_slot = first;
  const uint32_t code = vorn_decode_unpack(&library_, &unpacked, &source_, &aux);
  if (code != VORN_RESULT_DONE || unpacked.vorn_cv_popc != rows)
    throw error(fmt::format("unpacking {} rows of column '{}' gave result {} and {} rows", rows, of_.name, code,
                            unpacked.vorn_cv_popc));
}

void column_reader::read_runs(std::span<const uint32_t> positions, const position_order &order,
                              std::span<uint32_t> out) const {
  const uint32_t *const begins = offsets_.data(); // of the runs, and the end of the last one
  const uint32_t *run = begins;
  if (order.runs.size() == 1) {
    run += run_index_[positions.front() / index_step];
    while (positions.front() >= run[1])
      ++run;
    for (size_t done = 0; done < out.size(); ++run) {
      const size_t end = std::min<size_t>(run[1] - positions.front(), out.size());
      std::fill(out.begin() + static_cast<ptrdiff_t>(done), out.begin() + static_cast<ptrdiff_t>(end),
                packed_code(static_cast<uint32_t>(run - begins)));
      done = end;
    }
    return;
  }
  uint32_t code = packed_code(0);
  for (size_t i = 0; i < positions.size(); ++i) {
    const uint32_t position = positions[i];
    if (position < run[0] || position >= run[1]) {
      if (position < run[0] || position / index_step != run[0] / index_step)
        run = begins + run_index_[position / index_step];
      while (position >= run[1])
        ++run;
      code = packed_code(static_cast<uint32_t>(run - begins));
    }
    out[i] = code;
  }
}

template <class Take>
vector column_reader::with_ordinals(const Take &take) const {
  if (of_.form == encoding::dynp) {
    // A byte holds the length codes of some rows, the first row's in the highest bits.  Values lack trailing zero
    // bytes.
    const uint32_t bits = length_code_bits(of_.width);
    const uint32_t per_byte = 8 / bits;
    const uint8_t *const consumed = bytes_of_lengths(of_.width);
    return take([=, this](size_t position) {
      const auto before = static_cast<uint32_t>(position % per_byte);
      const uint8_t lengths = rows_->lens[position / per_byte];
      const uint32_t shift = (per_byte - 1 - before) * bits;
      // Code 0 stands for the length 1, so rows that are masked out count one byte each.
      const auto masked = static_cast<uint8_t>(lengths & ~((1U << (shift + bits)) - 1));
      const uint32_t skipped = consumed[masked] - (per_byte - before);
      const uint32_t length = (lengths >> shift & ((1U << bits) - 1)) + 1;
      const uint64_t ordinal = big_endian_at(stream_ + offsets_[position / per_byte] + skipped) >> (64 - 8 * length);
      return ordinal << (of_.width - 8 * length);
    });
  }
  const uint8_t *const from = of_.form == encoding::prefix ? values_.data() : stream_;
  const auto with_bytes = [&]<size_t Bytes>(std::integral_constant<size_t, Bytes>) {
    return take([from](size_t position) { return big_endian_at(from + position * Bytes) >> (64 - 8 * Bytes); });
  };
  switch (of_.width / 8) {
  case 1:
    return with_bytes(std::integral_constant<size_t, 1>());
  case 2:
    return with_bytes(std::integral_constant<size_t, 2>());
  case 3:
    return with_bytes(std::integral_constant<size_t, 3>());
  case 4:
    return with_bytes(std::integral_constant<size_t, 4>());
  case 5:
    return with_bytes(std::integral_constant<size_t, 5>());
  case 6:
    return with_bytes(std::integral_constant<size_t, 6>());
  case 7:
    return with_bytes(std::integral_constant<size_t, 7>());
  default:
    return with_bytes(std::integral_constant<size_t, 8>());
  }
}

vector column_reader::numbers(std::span<const uint32_t> positions, const position_order &order, arena &memory) const {
  const int64_t low = std::get<key_range>(of_.values).low;
  const auto read = [&]<class T>(T, const auto &value_of) {
    const std::span<T> out = memory.take<T>(positions.size());
    return with_ordinals([&](const auto &ordinal_at) {
      for (const position_order::run &run : order.runs)
        for (size_t i = 0; i < run.rows; ++i)
          out[run.row + i] = value_of(ordinal_at(run.position + i));
      if (order.runs.empty())
        for (size_t i = 0; i < out.size(); ++i)
          out[i] = value_of(ordinal_at(positions[i]));
      return vector(out);
    });
  };
  const bool is_natural = of_.type.kind == value_kind::natural;
  const uint64_t least = is_natural ? natural_of_key(low) : static_cast<uint64_t>(low);
  if (form_ == representation::float64)
    return read(double{}, [=](uint64_t ordinal) { return real_of_key(static_cast<int64_t>(least + ordinal)); });
  if (form_ == representation::int128)
    return read(__int128{}, [=](uint64_t ordinal) {
      const uint64_t number = least + ordinal;
      return static_cast<__int128>(number);
    });
  return read(int64_t{}, [=](uint64_t ordinal) { return static_cast<int64_t>(least + ordinal); });
}

vector column_reader::texts(std::span<const uint32_t> positions, arena &memory) const {
  const size_t bytes = of_.width / 8;
  const auto *const from = reinterpret_cast<const char *>(values_.data());
  const std::span<std::string_view> out = memory.take<std::string_view>(positions.size());
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = {from + positions[i] * bytes, bytes};
  return vector(out);
}

void column_reader::index_runs() {
  offsets_.resize(rows_->cla.size());
  for (size_t i = 0; i < offsets_.size(); ++i)
    offsets_[i] = big_endian(rows_->cla[i]);
  run_index_.resize(rows_->rows / index_step + 1);
  uint32_t run = 0;
  for (uint32_t i = 0; i < run_index_.size(); ++i) {
    while (run + 1 < rows_->runs && offsets_[run + 1] <= i * index_step)
      ++run;
    run_index_[i] = run;
  }
}

void column_reader::index_lengths() {
  const uint32_t per_byte = 8 / length_code_bits(of_.width);
  const uint8_t *const consumed = bytes_of_lengths(of_.width);
  offsets_.resize((rows_->rows + per_byte - 1) / per_byte);
  uint32_t at = 0;
  for (size_t i = 0; i < offsets_.size(); ++i) {
    offsets_[i] = at;
    at += consumed[rows_->lens[i]];
  }
}

void column_reader::decode_prefixes() {
  values_.resize(size_t{rows_->rows} * (of_.width / 8) + sizeof(uint64_t));
  vornenc_column groups{};
  groups.form = VORNENC_PREFIX;
  groups.width = of_.width;
  groups.nrows = rows_->rows;
  groups.vals = rows_->stream.data();
  groups.lens = rows_->lens.data();
  vorn_enc_ctx encoding;
  vorn_cv source{};
  expect_encoded(vornenc_build_column(&source, &encoding, &groups));
  vorn_cv result{};
  vornenc_vector output{};
  output.vals = values_.data();
  output.nrows = rows_->rows;
  vornenc_build_vector(&result, &output);
  if (const uint32_t code = vorn_prefix_decode(&library_, &result, &source, nullptr); code != VORN_RESULT_DONE)
    throw error(fmt::format("decoding column '{}' gave result {}", of_.name, code));
}

stored_column stored_column_of(table &of, size_t column) {
  return {&of.at(column), layout_of(of, column).form, of.values_of(column)};
}

vector row_group_source::read(size_t column, std::span<const uint32_t> positions, arena &memory) {
  const metrics_timer timer(counted_ != nullptr ? counted_ : metrics_timer::in());
  std::unique_ptr<column_reader> &reader = readers_[column];
  if (!reader) {
    const stored_column &of = columns_[column];
    reader = std::make_unique<column_reader>(library_, *of.stored, of.form, of.entries.get(), counted_);
  }
  if (positions.data() == announced_.data() && positions.size() == announced_.size())
    return reader->read(row_group_, positions, order_, memory);
  return reader->read(row_group_, positions, memory);
}

} // namespace store::exec
