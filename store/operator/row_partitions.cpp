#include "store/operator/row_partitions.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

#include "store/library/expect.hpp"
#include "store/library/row_vector.hpp"
#include "store/operator/hash_values.hpp"

namespace store::exec {

namespace {

// The columns of some rows in the one form in which they are hashed.
class hashed_columns {
public:
  hashed_columns(uint32_t rows, arena &memory) : rows_(rows), memory_(memory) {}

  void add(const vector &values) {
    switch (values.form) {
    case representation::int64:
      add_words(values, values.int64s(), [](int64_t number) { return static_cast<uint64_t>(number); });
      break;
    case representation::int128:
      add_words(values, values.int128s(), [](__int128 number) { return static_cast<uint64_t>(number); });
      add_high_words(values);
      break;
    case representation::float64:
      add_words(values, values.float64s(), [](double real) {
        return std::bit_cast<uint64_t>(real == 0          ? 0.0
                                       : std::isnan(real) ? std::numeric_limits<double>::quiet_NaN()
                                                          : real);
      });
      break;
    default: {
      const std::span<std::string_view> texts = memory_.take<std::string_view>(rows_);
      for (size_t row = 0; row < rows_; ++row)
        texts[row] = values.is_null(row) ? std::string_view() : values.texts()[row];
      texts_.emplace_back(texts);
    }
    }
  }

  std::span<const uint64_t> hashes(const vorn_ctx &library) const {
    std::span<const uint64_t> out = hash_values(library, rows_, words_, texts_, memory_);
    for (const auto &[high, is_needed] : high_words_) {
      const std::span<const uint64_t> with_high = hash_values(library, high, out, memory_);
      const std::span<uint64_t> chosen = memory_.take<uint64_t>(rows_);
      for (size_t row = 0; row < rows_; ++row)
        chosen[row] = is_needed[row] ? with_high[row] : out[row];
      out = chosen;
    }
    return out;
  }

private:
  template <class Value, class Word>
  void add_words(const vector &values, std::span<const Value> from, const Word &word) {
    const std::span<uint64_t> words = memory_.take<uint64_t>(rows_);
    for (size_t row = 0; row < rows_; ++row)
      words[row] = values.is_null(row) ? 0 : word(from[row]);
    words_.emplace_back(words);
  }

  // Only of numbers that do not fit into 64 bits, so that the others have the hash values of 64-bit numbers.
  void add_high_words(const vector &values) {
    const std::span<const __int128> numbers = values.int128s();
    const auto fits = [&](size_t row) {
      return values.is_null(row) || static_cast<int64_t>(numbers[row]) == numbers[row];
    };
    size_t fitting = 0;
    const std::span<bool> is_needed = memory_.take<bool>(rows_);
    const std::span<uint64_t> high = memory_.take<uint64_t>(rows_);
    for (size_t row = 0; row < rows_; ++row) {
      is_needed[row] = !fits(row);
      fitting += is_needed[row] ? 0 : 1;
      high[row] = static_cast<uint64_t>(numbers[row] >> 64);
    }
    if (fitting != rows_)
      high_words_.push_back({high, is_needed});
  }

  struct high_part {
    std::span<const uint64_t> words;
    std::span<const bool> is_needed;
  };

  uint32_t rows_;
  arena &memory_;
  std::vector<std::span<const uint64_t>> words_;
  std::vector<std::span<const std::string_view>> texts_;
  std::vector<high_part> high_words_;
};

// What vorn_partition appends for a row.
struct record {
  uint64_t row;
  uint64_t hash;
};

// Takes hash values in blocks, and puts the row numbers of the partitions together.
class partitioner {
public:
  explicit partitioner(uint32_t partitions)
      : partitions_(partitions), bits_(hash_bits(partitions)),
        area_records_(std::clamp<size_t>((size_t{1} << 20) / areas(), 16, 256)), records_(areas() * area_records_),
        next_(areas()), end_(areas()), out_(partitions) {
    for (size_t area = 0; area < areas(); ++area) {
      next_[area] = first_of(area);
      end_[area] = first_of(area) + area_records_;
    }
    vorn_build_partition_buffer(&buffer_, nullptr, next_.data(), end_.data(), 63, static_cast<uint8_t>(64 - bits_),
                                VORN_PB_RID);
  }

  void add(const vorn_ctx &library, std::span<const uint64_t> hashes, uint64_t first_row) {
    row_vector keys(vorn_build_encoding_type_hash_values, hashes.data(), nullptr, hashes.size());
    row_vector numbers = row_vector::numbered_from(first_row);
    vorn_aux aux{};
    for (;;) {
      const uint32_t code = vorn_partition(&library, &buffer_, keys.get(), numbers.get(), vornenc_hash, &aux);
      if (code == VORN_RESULT_DONE)
        return;
      expect(code, VORN_RESULT_PARTITION_FULL, "partitioning");
      empty(aux.vorn_aux_full_part);
    }
  }

  std::vector<std::vector<uint32_t>> finish() {
    for (size_t area = 0; area < areas(); ++area)
      empty(area);
    // Where several areas are one partition, each is in order, but not all of them together.
    if (partitions_ != areas())
      for (std::vector<uint32_t> &rows : out_)
        std::sort(rows.begin(), rows.end());
    return std::move(out_);
  }

private:
  // An area belongs to each value of the first bits of a hash value.  A number of partitions that is no power of two
  // has 16 areas or more for each partition, so that partitions differ by a sixteenth at most.
  static uint32_t hash_bits(uint32_t partitions) {
    const auto bits = static_cast<uint32_t>(std::bit_width(partitions - 1));
    return std::has_single_bit(partitions) ? bits : bits + 4;
  }
  size_t areas() const { return size_t{1} << bits_; }
  record *first_of(size_t area) { return &records_[area * area_records_]; }

  void empty(size_t area) {
    std::vector<uint32_t> &to = out_[area * partitions_ >> bits_];
    for (const record *r = first_of(area); r != next_[area]; ++r)
      to.push_back(static_cast<uint32_t>(r->row));
    next_[area] = first_of(area);
  }

  size_t partitions_;
  uint32_t bits_;
  size_t area_records_; // before they are taken out
  std::vector<record> records_;
  std::vector<void *> next_;
  std::vector<void *> end_;
  vorn_partition_buffer buffer_{};
  std::vector<std::vector<uint32_t>> out_;
};

} // namespace

std::vector<std::vector<uint32_t>> row_partitions(const vorn_ctx &library, const answer &rows,
                                                  std::span<const size_t> by, uint32_t partitions) {
  if (by.empty() || partitions == 1) {
    std::vector<std::vector<uint32_t>> out(partitions);
    out[0].resize(rows.rows.rows());
    std::iota(out[0].begin(), out[0].end(), 0);
    return out;
  }
  partitioner splitting(partitions);
  arena memory;
  for (size_t first = 0; first < rows.rows.rows(); first += chunk_rows, memory.rewind({})) {
    const auto count = static_cast<uint32_t>(std::min<size_t>(chunk_rows, rows.rows.rows() - first));
    hashed_columns keys(count, memory);
    for (const size_t column : by)
      keys.add(plain_values(rows_of(rows.rows.values(column), first, count), rows.columns[column], memory));
    splitting.add(library, keys.hashes(library), first);
  }
  return splitting.finish();
}

} // namespace store::exec
