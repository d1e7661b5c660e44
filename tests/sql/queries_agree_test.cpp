// Random queries agree with themselves: the parts of a partition are the whole, and a condition that is written in
// another way, a join in another order, another encoding, other kernels and other threads give the same rows.  DuckDB
// plans the queries and answers none of them.
//
//     VORN_AGREEING_QUERIES=20000 bin/sql_tests --gtest_filter='*agree*'
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "store/error.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/random_query.hpp"

namespace {

using namespace vorn_test;
using rows = std::vector<std::vector<std::string>>;

constexpr uint32_t agreeing_databases = 10;

class queries_agree : public testing::TestWithParam<uint32_t> {
protected:
  queries_agree()
      : random_(chosen_number("VORN_SEED", 1), GetParam(), 7), made_(random_tables(random_)),
        encodings_(write_tables(folder_, made_)), chosen_(folder_.path(), encodings_), usual_(folder_.path()) {
    for (const implementation &kernels : implementations)
      if (runs_here(kernels))
        runnable_.push_back(&kernels);
  }
  ~queries_agree() override { vorn_global_ctx = initial_global_ctx; }

  // The rows in an order that they alone decide, by one of the encodings, kernels and numbers of threads.
  rows answer_to(const std::string &sql) {
    engines &by = random_.one_in(2) ? chosen_ : usual_;
    put_in_force(*random_.of(runnable_), by.env);
    rows out = by.found(by.plan(sql), random_.of({1U, 3U})).rows;
    std::ranges::sort(out);
    return out;
  }

  // The same rows, from a form of the query.  A form in which another part fails first proves nothing.
  void compare(const rows &whole, const std::string &form, const std::function<rows()> &get) {
    try {
      const rows found = get();
      ++compared_;
      if (found != whole)
        ADD_FAILURE() << fmt::format("{} rows, not {}, or other ones: {}", found.size(), whole.size(), form);
    } catch (const store::error &) {
      ++failed_;
    }
  }

  void compare_forms(const random_rows &of) {
    const std::string all = fmt::format("SELECT {} FROM {}", of.columns, of.from);
    const auto where = [&](std::string_view form) {
      return fmt::format("{} WHERE {}", all, fmt::format(fmt::runtime(form), of.condition));
    };
    rows kept, whole;
    try {
      whole = answer_to(all);
      kept = answer_to(where("{}"));
    } catch (const store::error &) {
      ++failed_;
      return;
    }
    const std::string others = where("NOT ({})"), unknown = where("({}) IS NULL");
    compare(whole, where("{}") + " and the other two", [&] {
      rows out = kept;
      for (const std::string &part : {others, unknown})
        for (std::vector<std::string> &row : answer_to(part))
          out.push_back(std::move(row));
      std::ranges::sort(out);
      return out;
    });
    const std::string together = fmt::format("{} UNION ALL {} UNION ALL {}", where("({})"), others, unknown);
    compare(whole, together, [&] { return answer_to(together); });
    for (const char *form : {"{}", "NOT (NOT ({}))", "({}) IS TRUE", "({0}) AND ({0})", "coalesce(({}), false)",
                             "CASE WHEN {} THEN true ELSE false END"})
      compare(kept, where(form), [&] { return answer_to(where(form)); });
    const std::string swapped = fmt::format("SELECT {} FROM {} WHERE {}", of.columns, of.other_from, of.condition);
    compare(kept, swapped, [&] { return answer_to(swapped); });
    const std::string counted = fmt::format("SELECT count(*) FROM {} WHERE {}", of.from, of.condition);
    compare({{std::to_string(kept.size())}}, counted, [&] { return answer_to(counted); });
    const std::string summed =
        fmt::format("SELECT coalesce(sum(CASE WHEN {} THEN 1 ELSE 0 END), 0) FROM {}", of.condition, of.from);
    compare({{std::to_string(kept.size())}}, summed, [&] { return answer_to(summed); });
  }

  dice random_;
  random_database made_;
  scratch_folder folder_;
  store::choice_map encodings_;
  engines chosen_, usual_;
  std::vector<const implementation *> runnable_;
  uint64_t compared_ = 0;
  uint64_t failed_ = 0;
};

TEST_P(queries_agree, with_themselves) {
  const uint64_t wanted = chosen_number("VORN_AGREEING_QUERIES", AGREEING_QUERIES) / agreeing_databases;
  while (compared_ < wanted && failed_ < 10 * wanted && !HasFailure())
    compare_forms(random_rows_and_condition(random_, made_.tables));
  std::cout << fmt::format("{} answers compared, {} queries failed\n", compared_, failed_);
  EXPECT_GE(compared_, wanted);
}

INSTANTIATE_TEST_SUITE_P(of, queries_agree, testing::Range(0U, agreeing_databases));

} // namespace
