#include "store/operator/group_finder.hpp"

#include <algorithm>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "store/chunk/fast_loop.hpp"
#include "store/chunk/float_bits.hpp"
#include "store/operator/number_table.hpp"
#include "store/operator/text_table.hpp"

namespace store::exec {

namespace {

using uint128 = unsigned __int128;

constexpr uint128 range_of_numbers = uint128{1} << 32;
constexpr uint128 range_of_64_bits = uint128{1} << 64;

constexpr uint64_t bits_of_null = ~uint64_t{0}; // the bits of no value

// The contribution of a column to a key.
struct key_part {
  size_t column = 0;
  __int128 low = 0;
  uint64_t for_null = 0; // added to the value, so that 0 is NULL
  uint128 range = 0;     // the number of possible contributions
};

uint128 range_of(const number_bounds &bounds) {
  // The bounds of a column without a value may be in reverse order.
  return bounds.low > bounds.high ? 1 : static_cast<uint128>(bounds.high) - static_cast<uint128>(bounds.low) + 1;
}

bool is_numbered_first(const layout &column) {
  return column.form == representation::text || (column.form == representation::int128 &&
                                                 (!column.bounds || range_of(*column.bounds) - 1 >= range_of_64_bits));
}

key_part part_of(const layout &column, size_t index) {
  key_part out{index, 0, column.has_nulls ? 1U : 0U, 0};
  if (is_numbered_first(column)) {
    out.range = range_of_numbers - 1;
  } else if (column.form == representation::codes) {
    out.range = std::max<uint64_t>(column.entries->codes(), 1);
  } else if (column.form == representation::float64) {
    out.for_null = 0;
    out.range = range_of_64_bits;
  } else {
    const number_bounds bounds =
        column.bounds.value_or(number_bounds{std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()});
    out.low = bounds.low;
    out.range = range_of(bounds);
  }
  out.range += out.for_null;
  return out;
}

// The values of a column that are numbered before they are packed.
class column_numbers {
public:
  explicit column_numbers(representation form) {
    if (form != representation::text)
      tables_.emplace<number_table<uint128>>(0);
  }

  vector find(const vector &values, arena &memory) {
    const std::span<uint32_t> numbers = memory.take<uint32_t>(values.rows);
    if (auto *texts = std::get_if<text_table>(&tables_)) {
      texts->find(values, numbers);
    } else {
      const auto from = values.int128s();
      const std::span<uint128> keys = memory.take<uint128>(values.rows);
      for (size_t row = 0; row < keys.size(); ++row)
        keys[row] = values.is_null(row) ? 0 : static_cast<uint128>(from[row]);
      std::get<number_table<uint128>>(tables_).find(keys, numbers, memory.take<uint32_t>(values.rows));
    }
    return vector(numbers, values.validity);
  }

private:
  std::variant<text_table, number_table<uint128>> tables_;
};

// keys[row] * part.range + what the value of the row contributes.
template <class Key>
void pack(std::span<Key> keys, const key_part &part, const vector &values, bool is_first) {
  const auto range = static_cast<Key>(part.range);
  const auto pack_all = [&](auto contribution) {
    if (values.validity == nullptr)
      fast_loop([=, of_rows = keys.data(), rows = keys.size()] {
        if (is_first)
          for (size_t row = 0; row < rows; ++row)
            of_rows[row] = contribution(row);
        else
          for (size_t row = 0; row < rows; ++row)
            of_rows[row] = of_rows[row] * range + contribution(row);
      });
    else
      for (size_t row = 0; row < keys.size(); ++row)
        keys[row] = (is_first ? 0 : keys[row] * range) + (values.is_null(row) ? contribution.null : contribution(row));
  };
  const auto integers = [&]<class T>(std::span<const T> from) {
    struct {
      const T *from = nullptr;
      Key less = 0;
      Key null = 0;
      Key operator()(size_t row) const { return static_cast<Key>(from[row]) - less; }
    } contribution{from.data(), static_cast<Key>(static_cast<uint128>(part.low) - part.for_null)};
    pack_all(contribution);
  };
  switch (values.form) {
  case representation::codes:
    return integers(values.codes());
  case representation::int64:
    return integers(values.int64s());
  case representation::int128:
    return integers(values.int128s());
  default:
    break;
  }
  struct {
    const double *from = nullptr;
    Key null = static_cast<Key>(bits_of_null);
    Key operator()(size_t row) const { return static_cast<Key>(bits_of(from[row])); }
  } contribution{values.float64s().data()};
  pack_all(contribution);
}

// A number for each key below a limit.
class direct_table {
public:
  explicit direct_table(size_t keys) : numbers_(keys) {}

  size_t find(std::span<const uint32_t> keys, std::span<uint32_t> numbers, std::span<uint32_t> new_rows) {
    const size_t added =
        has_many_new_ ? find_with<true>(keys, numbers, new_rows) : find_with<false>(keys, numbers, new_rows);
    has_many_new_ = added * 32 > keys.size();
    return added;
  }

private:
  // If many keys are new, a branch on new keys is mostly mispredicted.
  template <bool many_new>
  size_t find_with(std::span<const uint32_t> keys, std::span<uint32_t> numbers, std::span<uint32_t> new_rows) {
    size_t added = 0;
    uint32_t *const table = numbers_.begin();
    for (size_t row = 0; row < keys.size(); ++row) {
      uint32_t &place = table[keys[row]];
      uint32_t number = place;
      if constexpr (many_new) {
        new_rows[added] = static_cast<uint32_t>(row);
        added += number == 0 ? 1 : 0;
        keys_ += number == 0 ? 1 : 0;
        number = number == 0 ? keys_ : number;
        place = number;
      } else if (number == 0) {
        number = place = ++keys_;
        new_rows[added++] = static_cast<uint32_t>(row);
      }
      numbers[row] = number - 1;
    }
    return added;
  }

  zeroed_array<uint32_t> numbers_; // the number plus 1; 0 for a key that is not in the table
  uint32_t keys_ = 0;
  bool has_many_new_ = false; // among the last rows
};

constexpr double least_direct_keys = 1 << 16;
constexpr double most_direct_keys = 1 << 28;
constexpr double direct_keys_of_row = 4;

template <class Table>
struct key_of_table {
  using type = uint128;
};
template <>
struct key_of_table<direct_table> {
  using type = uint32_t;
};
template <>
struct key_of_table<number_table<uint64_t>> {
  using type = uint64_t;
};

} // namespace

// Packs some columns into one key.
class group_finder::step {
public:
  // Packs as many columns as fit, from `first` on.
  step(std::span<const layout> columns, size_t first, double rows) : follows_(first != 0), end_(first) {
    uint128 range = follows_ ? range_of_numbers : 1;
    for (; end_ < columns.size(); ++end_) {
      const key_part part = part_of(columns[end_], end_);
      if (part.range > ~uint128{0} / range)
        break;
      range *= part.range;
      parts_.push_back(part);
      numbered_.emplace_back();
      if (is_numbered_first(columns[end_]))
        numbered_.back().emplace(columns[end_].form);
    }
    const double direct = std::clamp(rows * direct_keys_of_row, least_direct_keys, most_direct_keys);
    if (static_cast<double>(range) <= direct)
      table_.emplace<direct_table>(static_cast<size_t>(range));
    else if (range <= range_of_64_bits)
      table_.emplace<number_table<uint64_t>>(std::min(rows, static_cast<double>(range)));
    else
      table_.emplace<number_table<uint128>>(rows);
  }

  size_t end() const { return end_; }
  const char *method() const {
    constexpr const char *names[] = {"table by key", "hash table, 64 bits", "hash table, 128 bits"};
    return names[table_.index()];
  }

  found_groups find(std::span<const uint32_t> before, std::span<const vector> columns, uint32_t rows, arena &memory) {
    return std::visit(
        [&]<class Table>(Table &table) {
          using key = typename key_of_table<Table>::type;
          const std::span<key> keys = memory.take<key>(rows);
          if (follows_)
            std::copy(before.begin(), before.end(), keys.begin());
          for (size_t p = 0; p < parts_.size(); ++p) {
            const vector &values = columns[parts_[p].column];
            pack(keys, parts_[p], numbered_[p] ? numbered_[p]->find(values, memory) : values, p == 0 && !follows_);
          }
          const std::span<uint32_t> numbers = memory.take<uint32_t>(rows);
          const std::span<uint32_t> new_rows = memory.take<uint32_t>(rows + 1);
          const size_t added = table.find(keys, numbers, new_rows);
          return found_groups{numbers, new_rows.first(added)};
        },
        table_);
  }

private:
  bool follows_; // the number of an earlier step is part of the key
  size_t end_;
  std::vector<key_part> parts_;
  std::deque<std::optional<column_numbers>> numbered_; // of the parts
  std::variant<direct_table, number_table<uint64_t>, number_table<uint128>> table_{std::in_place_index<0>, 1};
};

group_finder::group_finder(std::span<const layout> columns, double rows) : groups_(columns.empty() ? 1 : 0) {
  for (size_t first = 0; first < columns.size(); first = steps_.back()->end())
    steps_.push_back(std::make_unique<step>(columns, first, rows));
}

group_finder::~group_finder() = default;
group_finder::group_finder(group_finder &&) noexcept = default;

found_groups group_finder::find(std::span<const vector> columns, uint32_t rows, arena &memory) {
  found_groups found;
  for (const std::unique_ptr<step> &s : steps_)
    found = s->find(found.numbers, columns, rows, memory);
  groups_ += found.new_rows.size();
  return found;
}

std::string group_finder::method() const {
  std::string out;
  for (const std::unique_ptr<step> &s : steps_)
    out += (out.empty() ? "" : ", then ") + std::string(s->method());
  return out;
}

double most_groups(std::span<const layout> columns, double unknown) {
  double product = 1;
  for (const layout &column : columns) {
    const double range = column.form == representation::float64 || is_numbered_first(column)
                             ? unknown
                             : static_cast<double>(part_of(column, 0).range);
    product *= column.distinct ? std::min(range, static_cast<double>(*column.distinct) + 1) : range;
  }
  return product;
}

} // namespace store::exec
