// Aggregates and groups, compared with a map.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "store/error.hpp"
#include "tests/exec/sampled_rows.hpp"

namespace store::exec {

namespace {

using logical::aggregate_kind;
using logical::scalar;

// A value as a key of a map: -0 is 0, and all NaNs are one.
std::string key_text(const scalar &value) {
  if (const auto *number = std::get_if<__int128>(&value))
    return "i" + std::string(reinterpret_cast<const char *>(number), sizeof *number);
  if (const auto *text = std::get_if<std::string>(&value))
    return "t" + *text;
  const auto *real = std::get_if<double>(&value);
  if (real == nullptr)
    return "n";
  return std::isnan(*real) ? "nan" : "r" + std::to_string(std::bit_cast<uint64_t>(*real == 0 ? 0.0 : *real));
}

// The aggregate of some values, all of one group.
scalar modelled(const logical::aggregate &what, std::vector<scalar> values) {
  if (what.what == aggregate_kind::count_rows)
    return static_cast<__int128>(values.size());
  if (what.what == aggregate_kind::first)
    return values.empty() ? scalar() : values.front();
  std::erase_if(values, [](const scalar &v) { return std::holds_alternative<std::monostate>(v); });
  if (what.is_distinct) {
    std::set<std::string> seen;
    std::erase_if(values, [&](const scalar &v) { return !seen.insert(key_text(v)).second; });
  }
  if (what.what == aggregate_kind::count)
    return static_cast<__int128>(values.size());
  if (values.empty())
    return {};
  if (what.what == aggregate_kind::min)
    return *std::min_element(values.begin(), values.end(), is_less);
  if (what.what == aggregate_kind::max)
    return *std::max_element(values.begin(), values.end(), is_less);
  if (std::holds_alternative<double>(values.front())) {
    double sum = 0;
    for (const scalar &v : values)
      sum += std::get<double>(v);
    return what.what == aggregate_kind::sum ? sum : sum / static_cast<double>(values.size());
  }
  __int128 sum = 0;
  for (const scalar &v : values)
    sum += std::get<__int128>(v);
  if (what.what == aggregate_kind::sum)
    return sum;
  const long double scale = std::pow(10.0, what.argument->type.held->scale);
  return static_cast<double>(static_cast<long double>(sum) / (static_cast<long double>(values.size()) * scale));
}

// Every aggregate of every column, plain, of distinct values, and with a condition.
std::vector<logical::aggregate> all_aggregates(const std::vector<sampled_column> &columns) {
  std::vector<logical::aggregate> out;
  const auto add = [&](aggregate_kind what, std::optional<size_t> argument, const char *type) {
    logical::aggregate made;
    made.what = what;
    if (argument)
      made.argument = column_of(*argument, columns[*argument].of.type);
    made.type = logical::sql_type(type);
    for (const bool is_distinct : {false, true})
      for (const bool has_condition : {false, true}) {
        const bool is_repeatable = what == aggregate_kind::count_rows || what == aggregate_kind::first;
        if ((is_distinct && is_repeatable) || (has_condition && what == aggregate_kind::count))
          continue;
        made.is_distinct = is_distinct;
        made.condition.reset();
        if (has_condition)
          made.condition = column_of(columns.size() - 1, columns.back().of.type);
        out.push_back(made);
      }
  };
  add(aggregate_kind::count_rows, {}, "BIGINT");
  for (size_t c = 0; c < columns.size(); ++c) {
    const layout &of = columns[c].of;
    add(aggregate_kind::count, c, "BIGINT");
    for (const aggregate_kind kind : {aggregate_kind::min, aggregate_kind::max, aggregate_kind::first})
      add(kind, c, of.type.name.c_str());
    if (of.held().is_bytes())
      continue;
    const bool is_decimal = of.type.name.starts_with("DECIMAL");
    add(aggregate_kind::sum, c, of.held().is_real() ? "DOUBLE" : is_decimal ? "DECIMAL(38,2)" : "HUGEINT");
    if (of.type.name != "BOOLEAN")
      add(aggregate_kind::average, c, "DOUBLE");
  }
  return out;
}

std::vector<value_row> modelled(const logical::plan &of, const std::vector<sampled_column> &columns,
                                const std::vector<size_t> &set) {
  std::map<std::string, size_t> numbers;
  std::vector<std::vector<size_t>> rows_of;
  if (set.empty())
    rows_of.emplace_back();
  for (size_t row = 0; row < columns[0].values.size(); ++row) {
    std::string key;
    for (const size_t g : set)
      key += key_text(columns[of.groups[g].index].values[row]) + "|";
    const size_t number = set.empty() ? 0 : numbers.emplace(key, numbers.size()).first->second;
    rows_of.resize(std::max(rows_of.size(), number + 1));
    rows_of[number].push_back(row);
  }
  std::vector<value_row> out;
  for (const std::vector<size_t> &rows : rows_of) {
    value_row &made = out.emplace_back(of.groups.size());
    for (const size_t g : set)
      made[g] = columns[of.groups[g].index].values[rows.front()];
    for (const logical::aggregate &a : of.aggregates) {
      std::vector<scalar> values;
      for (const size_t row : rows)
        if (!a.condition || columns[a.condition->index].values[row] == scalar(__int128{1}))
          values.push_back(a.argument ? columns[a.argument->index].values[row] : scalar());
      made.push_back(modelled(a, std::move(values)));
    }
  }
  return out;
}

std::vector<value_row> run(const logical::plan &of, const std::vector<sampled_column> &columns, uint32_t threads) {
  no_functions functions;
  const test_run with(generic(), threads);
  const relation_ptr made = make_aggregate(of, sampler::relation_of(columns, 600),
                                           column_mask(of.groups.size() + of.aggregates.size(), true), functions);
  std::vector<value_row> first = values_of(*made, with.get());
  // No value is outside of what the layout says.
  for (const value_row &row : first)
    for (size_t c = 0; c < row.size(); ++c) {
      const layout &of_column = made->columns()[c];
      EXPECT_TRUE(of_column.has_nulls || !std::holds_alternative<std::monostate>(row[c])) << "column " << c;
      if (const auto *number = std::get_if<__int128>(&row[c]); number != nullptr && of_column.bounds) {
        EXPECT_TRUE(*number >= of_column.bounds->low && *number <= of_column.bounds->high) << "column " << c;
      }
    }
  return first;
}

logical::plan plan_of(const std::vector<sampled_column> &columns, const std::vector<size_t> &groups) {
  logical::plan out;
  out.what = logical::plan_kind::aggregate;
  for (const size_t g : groups)
    out.groups.push_back(column_of(g, columns[g].of.type));
  return out;
}

// A sum of doubles has the order of rows; other aggregates are merged from those of threads.
std::vector<logical::aggregate> without_order(std::vector<logical::aggregate> all) {
  std::erase_if(all, [](const logical::aggregate &a) {
    return a.what == aggregate_kind::first ||
           (a.argument && (a.argument->type.held->is_real() || a.argument->type.name == "HUGEINT") &&
            (a.what == aggregate_kind::sum || a.what == aggregate_kind::average));
  });
  return all;
}

TEST(aggregate, equals_a_map) {
  struct sample {
    uint32_t different;
    size_t rows;
    bool with_nulls;
  };
  vorn_test::random_source turns(1);
  for (const auto &[different, rows, with_nulls] : {sample{3, 900, false}, {200, 900, true}, {200, 0, true}}) {
    const std::vector<sampled_column> columns = sampler(different + rows, rows).columns(different, with_nulls);
    const std::vector<std::vector<size_t>> keys = {
        {}, {0, 2}, {9, 6}, {3, 4, 9, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, {1}, {3}, {4}, {7}, {9}};
    for (const std::vector<size_t> &groups : keys)
      for (const bool is_ordered : {true, false}) {
        if (!turns.takes_case())
          continue;
        logical::plan of = plan_of(columns, groups);
        of.aggregates = is_ordered ? all_aggregates(columns) : without_order(all_aggregates(columns));
        std::vector<size_t> set(groups.size());
        std::iota(set.begin(), set.end(), size_t{0});
        const std::vector<value_row> expected = modelled(of, columns, set);
        for (const uint32_t threads : {1U, 3U}) {
          SCOPED_TRACE(testing::Message() << different << " values, " << rows << " rows, NULL " << with_nulls << ", "
                                          << threads << " threads, " << groups.size() << " keys, the first is "
                                          << (groups.empty() ? "none" : columns[groups[0]].name));
          expect_same(run(of, columns, threads), expected);
        }
      }
  }
}

TEST(aggregate, has_grouping_sets) {
  const std::vector<sampled_column> columns = sampler(1, 5000).columns(20, true);
  logical::plan of = plan_of(columns, {0, 9});
  of.grouping_sets = {{0, 1}, {1}, {}, {0}};
  of.aggregates = without_order(all_aggregates(columns));
  std::vector<value_row> expected;
  for (const std::vector<size_t> &set : of.grouping_sets) {
    const std::vector<value_row> some = modelled(of, columns, set);
    expected.insert(expected.end(), some.begin(), some.end());
  }
  for (const uint32_t threads : {1U, 3U})
    expect_same(run(of, columns, threads), expected);
}

TEST(aggregate, says_where_a_sum_overflows) {
  std::vector<sampled_column> columns(1);
  columns[0].of = {.type = {"HUGEINT"}, .form = representation::int128};
  const auto largest = static_cast<__int128>(~static_cast<unsigned __int128>(0) >> 1);
  columns[0].values = {scalar(largest), scalar(__int128{1})};
  logical::plan of = plan_of(columns, {});
  of.aggregates.emplace_back();
  of.aggregates[0].what = aggregate_kind::sum;
  of.aggregates[0].type = {"HUGEINT"};
  of.aggregates[0].argument = column_of(0, "HUGEINT");
  try {
    run(of, columns, 1);
    ADD_FAILURE() << "no error";
  } catch (const error &e) {
    EXPECT_STREQ(e.what(),
                 "Out of Range Error: Overflow in HUGEINT addition: 170141183460469231731687303715884105727 + 1");
  }
}

TEST(distinct, keeps_first_rows) {
  for (const uint32_t threads : {1U, 3U}) {
    std::vector<sampled_column> columns = sampler(2, 20'000).columns(30, true);
    columns = {columns[0], columns[6], columns[9]};
    const logical::plan of = plan_of(columns, {0, 1, 2});
    const test_run with(generic(), threads);
    const relation_ptr made = make_distinct(sampler::relation_of(columns, 5000));
    for (const char *which : {"first", "second"}) {
      SCOPED_TRACE(which);
      expect_same(values_of(*made, with.get()), modelled(of, columns, {0, 1, 2}));
    }
  }
}

} // namespace

} // namespace store::exec
