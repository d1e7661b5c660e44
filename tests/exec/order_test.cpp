// Orders of rows, compared with a stable sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "store/operator/row_sort.hpp"
#include "tests/exec/sampled_rows.hpp"

namespace store::exec {

namespace {

using logical::scalar;

// Below 0 for a before b.
int compared(const scalar &a, const scalar &b, const logical::sort_key &key) {
  const bool a_is_null = std::holds_alternative<std::monostate>(a);
  const bool b_is_null = std::holds_alternative<std::monostate>(b);
  if (a_is_null || b_is_null)
    return a_is_null == b_is_null ? 0 : a_is_null == key.nulls_first ? -1 : 1;
  const int order = is_less(a, b) ? -1 : is_less(b, a) ? 1 : 0;
  return key.is_descending ? -order : order;
}

std::vector<value_row> modelled(const logical::plan &of, const std::vector<sampled_column> &columns) {
  std::vector<size_t> rows(columns[0].values.size());
  std::iota(rows.begin(), rows.end(), size_t{0});
  std::stable_sort(rows.begin(), rows.end(), [&](size_t a, size_t b) {
    for (const logical::sort_key &key : of.keys)
      if (const int order = compared(columns[key.by.index].values[a], columns[key.by.index].values[b], key); order != 0)
        return order < 0;
    return false;
  });
  rows.erase(rows.begin(), rows.begin() + static_cast<ptrdiff_t>(std::min<size_t>(of.offset, rows.size())));
  rows.resize(std::min<size_t>(of.limit.value_or(rows.size()), rows.size()));
  std::vector<value_row> out;
  for (const size_t row : rows) {
    out.emplace_back();
    for (const sampled_column &c : columns)
      out.back().push_back(c.values[row]);
  }
  return out;
}

TEST(order, equals_a_stable_sort) {
  struct rows_of_result {
    std::optional<uint64_t> limit;
    uint64_t offset = 0;
  };
  const std::vector<rows_of_result> limits = {{}, {10}, {7, 2}, {0}, {900, 100}, {5, 1'000'000}, {{}, 20}};
  vorn_test::random_source random(1);
  for (const auto &[different, rows] : {std::pair<uint32_t, size_t>{1, 100}, {5, 700}, {1000, 4000}, {20, 0}})
    for (const bool with_nulls : {false, true}) {
      const std::vector<sampled_column> columns = sampler(different, rows).columns(different, with_nulls);
      for (size_t round = 0; round < 3 * columns.size(); ++round) {
        if (!random.takes_case())
          continue;
        logical::plan of;
        of.what = logical::plan_kind::order;
        const size_t keys = 1 + round / columns.size() * 2;
        for (size_t k = 0; k < keys; ++k) {
          const size_t c = k == 0 ? round % columns.size() : random.below(columns.size());
          of.keys.push_back({column_of(c, columns[c].of.type), random.once_in(2), random.once_in(2)});
        }
        of.limit = limits[round % limits.size()].limit;
        of.offset = limits[round % limits.size()].offset;
        for (const uint32_t threads : {1U, 3U}) {
          SCOPED_TRACE(testing::Message()
                       << different << " values, " << rows << " rows, NULL " << with_nulls << ", " << threads
                       << " threads, " << keys << " keys, the first is " << columns[round % columns.size()].name);
          no_functions functions;
          const test_run with(generic(), threads);
          const relation_ptr made =
              make_order(of, sampler::relation_of(columns, 1500), column_mask(columns.size(), true), functions);
          expect_same(values_of(*made, with.get()), modelled(of, columns));
        }
      }
    }
}

// Many rows of few keys push rows out that came first.
TEST(order, drops_rows_that_are_no_longer_first) {
  std::vector<sampled_column> columns = sampler(3, 60'000).columns(50'000, false);
  std::vector<sampled_column> two = {columns[2], columns[9]};
  std::vector<logical::scalar> &values = two[0].values;
  std::sort(values.begin(), values.end(), [](const scalar &a, const scalar &b) { return is_less(b, a); });
  for (const size_t keys : std::initializer_list<size_t>{1, 2}) {
    logical::plan of;
    of.keys.push_back({column_of(0, two[0].of.type), false, false});
    if (keys == 2)
      of.keys.push_back({column_of(1, two[1].of.type), true, false});
    of.limit = 100;
    no_functions functions;
    const test_run with(generic(), 2);
    const relation_ptr made = make_order(of, sampler::relation_of(two, 9000), column_mask(2, true), functions);
    expect_same(values_of(*made, with.get()), modelled(of, two));
  }
}

} // namespace

} // namespace store::exec
