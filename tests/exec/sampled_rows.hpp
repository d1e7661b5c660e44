// Random rows with a column of each representation, and the rows of a relation as values.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "store/error.hpp"
#include "store/library/kernels.hpp"
#include "store/logical/expression.hpp"
#include "store/operator/operators.hpp"
#include "tests/exec/given_rows.hpp"
#include "tests/support/random.hpp"

namespace store::exec {

using value_row = std::vector<logical::scalar>;

// Doubles are equal where their bits are, and NaN equals NaN.
inline bool are_same(const logical::scalar &a, const logical::scalar &b) {
  const auto *x = std::get_if<double>(&a);
  const auto *y = std::get_if<double>(&b);
  if (x == nullptr || y == nullptr)
    return a == b;
  return std::bit_cast<uint64_t>(*x) == std::bit_cast<uint64_t>(*y) || (std::isnan(*x) && std::isnan(*y));
}

inline logical::scalar value_at(const vector &values, size_t row) {
  if (values.is_null(row))
    return {};
  return with_type(values.form, [&]<class T>(T) -> logical::scalar {
    const T value = values.values<T>()[row];
    if constexpr (std::is_same_v<T, std::string_view>)
      return std::string(value);
    else if constexpr (std::is_same_v<T, double>)
      return value;
    else
      return static_cast<__int128>(value);
  });
}

inline const vorn_ctx &generic() {
  static const kernels library("generic", "");
  return library.generic();
}

// In the order of SQL; neither value is NULL.
inline bool is_less(const logical::scalar &a, const logical::scalar &b) {
  if (const auto *x = std::get_if<double>(&a)) {
    const double y = std::get<double>(b);
    return *x < y || (std::isnan(y) && !std::isnan(*x));
  }
  if (const auto *text = std::get_if<std::string>(&a))
    return *text < std::get<std::string>(b);
  return std::get<__int128>(a) < std::get<__int128>(b);
}

// Threads may find another zero first.
inline bool is_zero(const logical::scalar &value) {
  return std::holds_alternative<double>(value) && std::get<double>(value) == 0;
}

inline void expect_same(const std::vector<value_row> &got, const std::vector<value_row> &expected) {
  ASSERT_EQ(got.size(), expected.size());
  size_t wrong = 0;
  for (size_t row = 0; row < got.size(); ++row) {
    ASSERT_EQ(got[row].size(), expected[row].size());
    for (size_t c = 0; c < got[row].size(); ++c)
      if (!are_same(got[row][c], expected[row][c]) && !(is_zero(got[row][c]) && is_zero(expected[row][c])) &&
          ++wrong < 5)
        ADD_FAILURE() << "row " << row << ", column " << c;
  }
}

// All columns of all rows that a relation gives, in the order of its morsels.
inline std::vector<value_row> values_of(relation &rows, const query_run &run) {
  rows.open(run);
  std::vector<std::vector<value_row>> morsels(rows.morsels());
  run_all(rows, run, [&](size_t, size_t morsel, chunk &c) {
    std::vector<vector> columns;
    for (size_t i = 0; i < c.columns(); ++i)
      columns.push_back(plain_values(c.column(i), rows.columns()[i], c.memory()));
    for (size_t row = 0; row < c.rows(); ++row) {
      value_row &out = morsels[morsel].emplace_back();
      for (const vector &column : columns)
        out.push_back(value_at(column, row));
    }
  });
  std::vector<value_row> out;
  for (const std::vector<value_row> &morsel : morsels)
    out.insert(out.end(), morsel.begin(), morsel.end());
  return out;
}

// A column of random values, with few different ones or many.
struct sampled_column {
  std::string name;
  layout of;
  std::vector<logical::scalar> values;
};

class sampler {
public:
  sampler(uint64_t seed, size_t rows) : random_(seed), rows_(rows) {}

  // Of every representation; the last one holds booleans.
  std::vector<sampled_column> columns(uint32_t different, bool with_nulls) {
    std::vector<sampled_column> out;
    const int64_t least = std::numeric_limits<int64_t>::min();
    out.push_back(coded("integer codes", "INTEGER", different, with_nulls));
    out.push_back(coded("text codes", "VARCHAR", different, with_nulls));
    out.push_back(column(
        "bounded integers", {.type = {"INTEGER"}, .bounds = number_bounds{-3, different}}, with_nulls,
        [&](uint32_t i) { return __int128{i} - 3; }, different));
    out.push_back(column(
        "64 bits", {.type = {"BIGINT"}}, with_nulls,
        [&](uint32_t i) { return __int128{i % 2 == 0 ? least : -(least + 1)} + (i % 2 == 0 ? i : -__int128{i}); },
        different));
    out.push_back(column(
        "128 bits", {.type = {"HUGEINT"}, .form = representation::int128}, with_nulls,
        [&](uint32_t i) { return (__int128{1} << (i % 100)) * (i % 3 == 0 ? -1 : 1); }, different));
    out.push_back(column(
        "decimals", {.type = {"DECIMAL(15,2)"}, .bounds = number_bounds{-999'999'999'999'999, 999'999'999'999'999}},
        with_nulls, [&](uint32_t i) { return __int128{i} * 12'345'678'901 % 999'999'999'999'999; }, different));
    out.push_back(column(
        "doubles", {.type = {"DOUBLE"}, .form = representation::float64}, with_nulls,
        [&](uint32_t i) { return i == 0   ? 0.0
                                 : i == 1 ? -0.0
                                 : i == 2 ? 1e300
                                          : i / 7.0 - 1; }, different));
    out.push_back(column(
        "special doubles", {.type = {"DOUBLE"}, .form = representation::float64}, with_nulls,
        [&](uint32_t i) {
          const double values[] = {1, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                   -2, -std::numeric_limits<double>::quiet_NaN()};
          return i < 5 ? values[i] : i;
        },
        different));
    out.push_back(column(
        "small 128 bits", {.type = {"HUGEINT"}, .form = representation::int128, .bounds = number_bounds{0, different}},
        with_nulls, [&](uint32_t i) { return __int128{i}; }, different));
    out.push_back(column(
        "texts", {.type = {"VARCHAR"}, .form = representation::text}, with_nulls,
        [&](uint32_t i) { return i == 0 ? std::string() : std::string(i % 20, 'x') + std::to_string(i); }, different));
    out.push_back(column(
        "booleans", {.type = {"BOOLEAN"}, .bounds = number_bounds{0, 1}}, with_nulls,
        [&](uint32_t i) { return __int128{i}; }, 2));
    return out;
  }

  // Columns of equal length as a relation.
  static std::unique_ptr<given_rows> relation_of(const std::vector<sampled_column> &columns, size_t rows_of_morsel) {
    std::vector<layout> layouts(columns.size());
    for (size_t i = 0; i < columns.size(); ++i)
      layouts[i] = columns[i].of;
    kept_rows kept(layouts);
    for (size_t i = 0; i < columns.size(); ++i)
      keep(kept.column(i), columns[i]);
    kept.set_rows(columns.empty() ? 0 : columns[0].values.size());
    return std::make_unique<given_rows>(layouts, std::move(kept), rows_of_morsel);
  }

private:
  template <class Make>
  sampled_column column(std::string name, layout of, bool with_nulls, const Make &make, uint32_t different) {
    of.has_nulls = with_nulls;
    sampled_column out{std::move(name), std::move(of), {}};
    for (size_t row = 0; row < rows_; ++row)
      if (with_nulls && random_.once_in(10))
        out.values.emplace_back();
      else
        out.values.emplace_back(make(static_cast<uint32_t>(random_.below(different))));
    return out;
  }

  sampled_column coded(std::string name, std::string type, uint32_t different, bool with_nulls) {
    std::vector<int64_t> keys;
    std::vector<std::string> texts;
    for (uint32_t i = 0; i < different; ++i) {
      keys.push_back(int64_t{i} * 10 - 50);
      texts.push_back(std::string(1 + i / 26 % 26, static_cast<char>('a' + i % 26)) + std::to_string(100'000 + i));
    }
    std::sort(texts.begin(), texts.end());
    layout of{.type = {type}, .form = representation::codes};
    if (of.held().is_bytes()) {
      const std::vector<std::string_view> symbols(texts.begin(), texts.end());
      of.entries =
          std::make_shared<coded_values>(std::make_shared<dictionary>(dictionary::of(symbols, with_nulls)), of.held());
      return column(
          std::move(name), of, with_nulls, [&](uint32_t i) { return texts[i]; }, different);
    }
    of.entries =
        std::make_shared<coded_values>(std::make_shared<dictionary>(dictionary::of(keys, with_nulls)), of.held());
    of.bounds = number_bounds{keys.front(), keys.back()};
    return column(
        std::move(name), of, with_nulls, [&](uint32_t i) { return __int128{keys[i]}; }, different);
  }

  static void keep(kept_column &into, const sampled_column &from) {
    arena memory;
    const size_t rows = from.values.size();
    const std::span<uint64_t> validity = all_valid(memory, rows);
    for (size_t row = 0; row < rows; ++row)
      if (std::holds_alternative<std::monostate>(from.values[row]))
        set_null(validity, row);
    with_type(from.of.form, [&]<class T>(T) {
      const std::span<T> out = memory.take<T>(rows);
      for (size_t row = 0; row < rows; ++row)
        out[row] = stored<T>(from, row);
      into.append(vector(out, from.of.has_nulls ? validity.data() : nullptr));
    });
  }

  template <class T>
  static T stored(const sampled_column &from, size_t row) {
    const logical::scalar &value = from.values[row];
    if (std::holds_alternative<std::monostate>(value))
      return T{};
    if constexpr (std::is_same_v<T, std::string_view>) {
      return std::get<std::string>(value);
    } else if constexpr (std::is_same_v<T, double>) {
      return std::get<double>(value);
    } else if constexpr (std::is_same_v<T, uint32_t>) {
      const auto place = [&](auto values, auto wanted) {
        const auto first = values.begin() + static_cast<ptrdiff_t>(from.of.entries->symbols().first_code());
        return static_cast<uint32_t>(std::lower_bound(first, values.end(), wanted) - values.begin());
      };
      if (const auto *text = std::get_if<std::string>(&value))
        return place(from.of.entries->texts(), std::string_view(*text));
      return place(from.of.entries->int64s(), static_cast<int64_t>(std::get<__int128>(value)));
    } else {
      return static_cast<T>(std::get<__int128>(value));
    }
  }

  vorn_test::random_source random_;
  size_t rows_;
};

} // namespace store::exec
