#include "store/operator/integer_sum.hpp"

#include <algorithm>
#include <limits>
#include <vector>

#include <fmt/format.h>

#include "store/chunk/chunk.hpp"
#include "store/chunk/large_memory.hpp"
#include "store/error.hpp"

namespace store::exec {

namespace {

// Sums of 64 bits.  They are added to sums of 128 bits before they could overflow.
class bounded_sum final : public accumulator {
public:
  // No value has a larger magnitude.
  bounded_sum(uint64_t largest, const layout &values, representation result)
      : rows_of_room_((uint64_t{1} << 63) / (largest + 1)), entries_(values.entries), result_(result) {}

  static bool can_sum(__int128 largest) { return largest <= std::numeric_limits<int64_t>::max() / (4 * chunk_rows); }

  void grow(size_t groups) override {
    sums_.resize(groups);
    if (!flushed_.empty())
      flushed_.resize(groups);
  }
  bool needs_order() const override { return false; }
  void add(const grouped_rows &rows, const vector &values) override {
    use_room(rows.rows);
    const auto added = [&](const auto &value_of) {
      fold_unordered(rows, std::span(sums_), int64_t{0}, value_of, [](int64_t &sum, int64_t value) { sum += value; });
    };
    if (entries_)
      added([codes = values.codes().data(), of = entries_->int64s().data()](size_t row) { return of[codes[row]]; });
    else
      added([from = values.int64s().data()](size_t row) { return from[row]; });
  }
  void merge(const accumulator &other, std::span<const uint32_t> groups) override {
    const auto &from = static_cast<const bounded_sum &>(other);
    use_room(from.rows_);
    if (!from.flushed_.empty())
      flushed_.resize(sums_.size());
    for (size_t g = 0; g < groups.size(); ++g) {
      sums_[groups[g]] += from.sums_[g];
      if (!from.flushed_.empty())
        flushed_[groups[g]] += from.flushed_[g];
    }
  }
  vector result(arena &memory) override {
    if (result_ == representation::int64) {
      for (size_t g = 0; g < flushed_.size(); ++g)
        sums_[g] += static_cast<int64_t>(flushed_[g]);
      return vector(std::span(sums_));
    }
    const std::span<__int128> out = memory.take<__int128>(sums_.size());
    for (size_t g = 0; g < sums_.size(); ++g)
      out[g] = sums_[g] + (flushed_.empty() ? 0 : flushed_[g]);
    return vector(out);
  }

private:
  void use_room(uint64_t rows) {
    if (rows > rows_of_room_ - rows_)
      flush();
    rows_ += rows;
  }
  void flush() {
    flushed_.resize(sums_.size());
    for (size_t g = 0; g < sums_.size(); ++g)
      flushed_[g] += sums_[g];
    std::fill(sums_.begin(), sums_.end(), 0);
    rows_ = 0;
  }

  uint64_t rows_of_room_;
  uint64_t rows_ = 0;                           // rows in `sums_`
  std::shared_ptr<const coded_values> entries_; // of codes
  representation result_;
  large_vector<int64_t> sums_;
  large_vector<__int128> flushed_; // empty until the first flush
};

[[noreturn]] void overflow(__int128 sum, __int128 value) {
  throw error(fmt::format("Out of Range Error: Overflow in HUGEINT addition: {} + {}", sum, value));
}

// Sums of 128 bits of any values.
template <class T>
class wide_sum final : public accumulator {
public:
  explicit wide_sum(representation result) : result_(result) {}

  void grow(size_t groups) override { sums_.resize(groups); }
  bool needs_order() const override { return std::is_same_v<T, __int128>; } // a partial sum may overflow
  void add(const grouped_rows &rows, const vector &values) override {
    fold_rows(
        rows, std::span(sums_), [from = values.values<T>().data()](size_t row) { return from[row]; },
        [](__int128 &sum, T value) { add_to(sum, value); });
  }
  void merge(const accumulator &other, std::span<const uint32_t> groups) override {
    const auto &from = static_cast<const wide_sum &>(other);
    for (size_t g = 0; g < groups.size(); ++g)
      add_to<__int128>(sums_[groups[g]], from.sums_[g]);
  }
  vector result(arena &memory) override {
    if (result_ != representation::int64)
      return vector(std::span(sums_));
    const std::span<int64_t> out = memory.take<int64_t>(sums_.size());
    for (size_t g = 0; g < sums_.size(); ++g)
      out[g] = static_cast<int64_t>(sums_[g]);
    return vector(out);
  }

private:
  // There are too few rows for a sum of 64-bit values to overflow 128 bits.
  template <class Value>
  static void add_to(__int128 &sum, Value value) {
    if constexpr (std::is_same_v<Value, int64_t>) {
      sum += value;
    } else if (__int128 out; !__builtin_add_overflow(sum, value, &out)) {
      sum = out;
    } else {
      overflow(sum, value);
    }
  }

  representation result_;
  large_vector<__int128> sums_;
};

__int128 largest_of(const layout &values) {
  return values.bounds ? std::max<__int128>({values.bounds->high, -values.bounds->low, 0}) : most_rows * most_rows;
}

} // namespace

bool can_sum_codes(const layout &values) {
  return values.form == representation::codes && plain_representation(values.held()) == representation::int64 &&
         bounded_sum::can_sum(largest_of(values));
}

std::unique_ptr<accumulator> make_integer_sum(const layout &values, representation result) {
  if (values.form == representation::int128)
    return std::make_unique<wide_sum<__int128>>(result);
  const __int128 largest = largest_of(values);
  if (bounded_sum::can_sum(largest))
    return std::make_unique<bounded_sum>(static_cast<uint64_t>(largest), values, result);
  return std::make_unique<wide_sum<int64_t>>(result);
}

} // namespace store::exec
