#include "vornq/compare.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <span>
#include <string_view>

#include <fmt/format.h>

#include "store/chunk/cells.hpp"
#include "store/error.hpp"

namespace store {

namespace {

using logical::plan;
using logical::plan_kind;

// The positions of the columns of an operator in the answer.
using positions = std::vector<std::optional<size_t>>;

void follow(const plan &of, const positions &shown, row_order &out) {
  if (of.what == plan_kind::projection) {
    positions below(of.children.front().types.size());
    for (size_t c = of.expressions.size(); c-- > 0;)
      if (of.expressions[c].what == logical::operation::column && shown[c])
        below[of.expressions[c].index] = shown[c];
    follow(of.children.front(), below, out);
  } else if (of.what == plan_kind::shared) {
    follow(of.children.back(), shown, out);
  } else if (of.what == plan_kind::limit || of.what == plan_kind::order) {
    out.is_limited = out.is_limited || of.limit || of.offset != 0;
    if (of.what == plan_kind::limit) {
      follow(of.children.front(), shown, out);
      return;
    }
    for (const logical::sort_key &key : of.keys) {
      if (key.by.what != logical::operation::column || !shown[key.by.index])
        break;
      out.keys.push_back(*shown[key.by.index]);
    }
  }
}

enum side { ours, duckdbs };

// One column of both answers.
class compared_column {
public:
  compared_column(const exec::answer &first, const exec::answer &second, size_t column)
      : values_{first.rows.values(column), second.rows.values(column)} {}

  bool is_float() const { return values_[ours].form == exec::representation::float64; }

  // NULL comes first, NaN last, and -0.0 equals 0.0.
  int order(side a, size_t row_of_a, side b, size_t row_of_b) const {
    const bool first_null = values_[a].is_null(row_of_a);
    const bool second_null = values_[b].is_null(row_of_b);
    if (first_null || second_null)
      return static_cast<int>(second_null) - static_cast<int>(first_null);
    if (values_[a].form == exec::representation::text)
      return values_[a].texts()[row_of_a].compare(values_[b].texts()[row_of_b]);
    if (is_float()) {
      const double x = values_[a].float64s()[row_of_a], y = values_[b].float64s()[row_of_b];
      if (std::isnan(x) || std::isnan(y))
        return static_cast<int>(std::isnan(x)) - static_cast<int>(std::isnan(y));
      return static_cast<int>(x > y) - static_cast<int>(x < y);
    }
    const __int128 x = number(a, row_of_a), y = number(b, row_of_b);
    return static_cast<int>(x > y) - static_cast<int>(x < y);
  }

  // The relative difference of two doubles; 0 for equal values, infinity for all other values.
  double difference(side a, size_t row_of_a, side b, size_t row_of_b) const {
    if (order(a, row_of_a, b, row_of_b) == 0)
      return 0;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    if (!is_float() || values_[a].is_null(row_of_a) || values_[b].is_null(row_of_b))
      return infinity;
    const double x = values_[a].float64s()[row_of_a], y = values_[b].float64s()[row_of_b];
    const double out = std::abs(x - y) / std::max(std::abs(x), std::abs(y));
    if (std::isnan(out))
      return infinity;
    return out;
  }

private:
  __int128 number(side of, size_t row) const {
    return values_[of].form == exec::representation::int64 ? values_[of].int64s()[row] : values_[of].int128s()[row];
  }

  std::array<exec::vector, 2> values_;
};

class comparer {
public:
  comparer(const exec::answer &first, const exec::answer &second, const row_order &sorted, comparison &into)
      : answers_{&first, &second}, order_(sorted), found_(into) {
    for (size_t c = 0; c < first.columns.size(); ++c)
      columns_.emplace_back(first, second, c);
    for (const bool of_floats : {false, true}) // doubles come last in the order of rows
      for (size_t c = 0; c < columns_.size(); ++c)
        if (columns_[c].is_float() == of_floats)
          by_importance_.push_back(c);
  }

  void run() {
    const size_t rows = answers_[ours]->rows.rows();
    for (size_t first = 0; first < rows && found_.agree;) {
      size_t end = first + 1;
      while (end < rows && are_tied(first, end))
        ++end;
      compare_tied(first, end, order_.is_limited && (end == rows || first == 0));
      first = end;
    }
  }

private:
  bool are_tied(size_t row, size_t other) const {
    return std::all_of(order_.keys.begin(), order_.keys.end(),
                       [&](size_t key) { return columns_[key].difference(ours, row, ours, other) <= found_.bound; });
  }

  // Equal, or two doubles that differ by rounding.
  bool agree(const compared_column &column, size_t row_of_ours, size_t row_of_duckdbs) {
    const double difference = column.difference(ours, row_of_ours, duckdbs, row_of_duckdbs);
    if (difference > found_.bound)
      return false;
    found_.rounded += difference != 0 ? 1 : 0;
    found_.largest = std::max(found_.largest, difference);
    return true;
  }

  // Rows that may come in any order.
  void compare_tied(size_t first, size_t end, bool may_be_others) {
    const comparison before = found_;
    if (differs_at(
            first, end, [](size_t row) { return row; }, [](size_t row) { return row; }) == end)
      return;
    found_ = before;
    const std::vector<uint32_t> sorted[] = {sorted_rows(ours, first, end), sorted_rows(duckdbs, first, end)};
    const size_t at = differs_at(
        first, end, [&](size_t row) { return sorted[ours][row - first]; },
        [&](size_t row) { return sorted[duckdbs][row - first]; });
    if (at == end)
      return;
    const comparison differing = found_;
    found_ = before;
    if (may_be_others && keys_agree(first, end)) {
      found_.open_rows += end - first;
      return;
    }
    found_ = differing;
    found_.agree = false;
    found_.difference = described(sorted[ours][at - first], sorted[duckdbs][at - first]);
  }

  // The first row with different values in the two answers.
  template <class Ours, class DuckDBs>
  size_t differs_at(size_t first, size_t end, const Ours &row_of_ours, const DuckDBs &row_of_duckdbs) {
    for (size_t row = first; row < end; ++row)
      for (const compared_column &column : columns_)
        if (!agree(column, row_of_ours(row), row_of_duckdbs(row)))
          return row;
    return end;
  }

  bool keys_agree(size_t first, size_t end) {
    for (size_t row = first; row < end; ++row)
      for (const size_t key : order_.keys)
        if (!agree(columns_[key], row, row))
          return false;
    return true;
  }

  std::vector<uint32_t> sorted_rows(side of, size_t first, size_t end) const {
    std::vector<uint32_t> out(end - first);
    std::iota(out.begin(), out.end(), static_cast<uint32_t>(first));
    std::sort(out.begin(), out.end(), [&](uint32_t a, uint32_t b) {
      for (const size_t c : by_importance_)
        if (const int order = columns_[c].order(of, a, of, b); order != 0)
          return order < 0;
      return false;
    });
    return out;
  }

  std::string described(size_t row_of_ours, size_t row_of_duckdbs) const {
    for (size_t c = 0; c < columns_.size(); ++c)
      if (columns_[c].difference(ours, row_of_ours, duckdbs, row_of_duckdbs) > found_.bound)
        return fmt::format("row {}, {}: {} instead of {}", row_of_ours + 1, shortened(answers_[ours]->names[c]),
                           text(ours, row_of_ours, c), text(duckdbs, row_of_duckdbs, c));
    return {};
  }

  std::string text(side of, size_t row, size_t column) const {
    std::string out;
    const exec::layout &layout = answers_[of]->columns[column];
    append_text(out, cell_at(answers_[of]->rows.values(column), layout, row), layout.held());
    return shortened(out);
  }

  std::array<const exec::answer *, 2> answers_;
  const row_order &order_;
  comparison &found_;
  std::vector<compared_column> columns_;
  std::vector<size_t> by_importance_;
};

std::string difference_of_shape(const exec::answer &first, const exec::answer &second) {
  if (first.columns.size() != second.columns.size())
    return fmt::format("{} columns instead of {}", first.columns.size(), second.columns.size());
  for (size_t c = 0; c < first.columns.size(); ++c) {
    if (first.names[c] != second.names[c])
      return fmt::format("column {} is called {} instead of {}", c + 1, shortened(first.names[c]),
                         shortened(second.names[c]));
    if (first.columns[c].type.name != second.columns[c].type.name)
      return fmt::format("column {} is of type {} instead of {}", shortened(first.names[c]), first.columns[c].type.name,
                         second.columns[c].type.name);
  }
  if (first.rows.rows() != second.rows.rows())
    return fmt::format("{} rows instead of {}", first.rows.rows(), second.rows.rows());
  return {};
}

} // namespace

row_order order_of(const plan &root) {
  row_order out;
  positions shown(root.types.size());
  for (size_t c = 0; c < shown.size(); ++c)
    shown[c] = c;
  follow(root, shown, out);
  return out;
}

comparison compare(const exec::answer &first, const exec::answer &second, const row_order &order, uint64_t rows_read) {
  comparison out;
  out.bound = 2 * (static_cast<double>(rows_read) + 4) * 0x1p-53;
  out.difference = difference_of_shape(first, second);
  out.agree = out.difference.empty();
  if (out.agree)
    comparer(first, second, order, out).run();
  return out;
}

} // namespace store
