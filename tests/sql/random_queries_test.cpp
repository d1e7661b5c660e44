// Random queries over random tables are answered as DuckDB does, by all kernels and on several threads.
//
//     VORN_RANDOM_QUERIES=5000 bin/sql_tests --gtest_filter='*random*'
//
// A query that fails is made smaller, and is printed with the seed that makes it again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "sql/own_query.hpp"
#include "store/error.hpp"
#include "tests/sql/engines.hpp"
#include "tests/sql/random_query.hpp"
#include "tests/store/scratch_folder.hpp"

namespace {

using namespace vorn_test;

constexpr uint32_t databases = 25;

const uint32_t seed = chosen_number("VORN_SEED", 1);
const uint32_t queries = chosen_number("VORN_RANDOM_QUERIES", RANDOM_QUERIES) / databases; // of each database

// What an error says, without its place, and without its numbers: rows fail in any order.
std::string kind_of_error(std::string text) {
  text = store::duckdb::own_message(text);
  text = text.substr(0, std::min(text.find('\n'), text.find(" when casting from source column")));
  std::erase_if(text, [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.'; });
  return text;
}

// What came of a query.
struct outcome {
  enum class kind {
    equal,
    refused_by_both,
    failed_in_both,
    not_executed,
    not_answered_by_duckdb, // for a fault of its own, or of rows that nobody needs
    different,
    unexpected_error,
    no_error,
    other_error
  };
  kind what = kind::equal;
  std::string text = {};
  bool is_fault() const { return what >= kind::different; }
};

class database {
public:
  explicit database(uint32_t number) {
    dice random(seed, number, 0);
    random_database made = random_tables(random);
    store::choice_map encodings = write_tables(folder_, made);
    tables = std::move(made.tables);
    both = std::make_unique<engines>(folder_.path(), std::move(encodings));
    std::string encodings_text;
    for (const auto &[name, text] : made.encodings)
      encodings_text += fmt::format("{} {}\n", name, text);
    if (std::getenv("VORN_KEEP_TABLES") != nullptr)
      folder_.write("encodings.txt", encodings_text);
    if (const char *kept = std::getenv("VORN_KEEP_TABLES"))
      std::filesystem::copy(folder_.path(), kept,
                            std::filesystem::copy_options::recursive |
                                std::filesystem::copy_options::overwrite_existing);
  }

  outcome judge(const syntax &query, uint32_t threads) {
    ask_duckdb(query.sql());
    if (error_.starts_with("INTERNAL Error"))
      return {outcome::kind::not_answered_by_duckdb, error_};
    answer found;
    try {
      if (!plan_)
        plan_ = both->plan(known_);
      found = both->found(*plan_, threads);
    } catch (const store::error &e) {
      return outcome_of_error(e.what());
    }
    if (error_.starts_with("Out of Range Error: Overflow") && found.rows.empty() && has_empty_side(plan_->root))
      return {outcome::kind::not_answered_by_duckdb, error_};
    if (!error_.empty())
      return {outcome::kind::no_error, "DuckDB says: " + error_};
    const answer_shape shape = shape_of(query, expected_->names);
    const bool is_limited = !query.names_of(syntax::role::limit).empty();
    std::string wrong;
    try {
      wrong = is_limited ? difference_of_some(found, *expected_, both->expected(query.sql(false)), shape)
                         : difference(found, *expected_, shape);
    } catch (const store::error &) {
      // A row after the limit fails.
    }
    return {wrong.empty() ? outcome::kind::equal : outcome::kind::different, std::move(wrong)};
  }

  // Whether DuckDB's answer has rows, or is an error.
  bool is_interesting(const syntax &query) {
    ask_duckdb(query.sql());
    return !error_.empty() || !expected_->rows.empty();
  }

  std::vector<random_table> tables;
  std::unique_ptr<engines> both;

private:
  // The store does not run one side of a join where the other side is empty, and so finds no overflow in it.
  bool has_empty_side(const store::logical::plan &part) {
    using store::logical::plan_kind;
    const auto is_empty = [&](const store::logical::plan &side) {
      try {
        return both->found({side, std::vector<std::string>(side.types.size(), "c")}, 1).rows.empty();
      } catch (const store::error &) {
        return false; // it overflows, or reads shared rows
      }
    };
    const auto &sides = part.children;
    return ((part.what == plan_kind::join || part.what == plan_kind::cross_product) &&
            std::any_of(sides.begin(), sides.end(), is_empty)) ||
           std::any_of(sides.begin(), sides.end(), [&](const auto &side) { return has_empty_side(side); });
  }

  void ask_duckdb(const std::string &sql) {
    if (sql == known_)
      return;
    known_ = sql;
    expected_ = {};
    plan_ = {};
    error_.clear();
    try {
      expected_ = both->expected(sql);
    } catch (const store::error &e) {
      error_ = e.what();
    }
  }

  outcome outcome_of_error(const std::string &message) const {
    if (error_.empty())
      return {plan_ ? outcome::kind::unexpected_error : outcome::kind::not_executed, message};
    if (kind_of_error(message) != kind_of_error(error_))
      return {outcome::kind::other_error, fmt::format("{}\nDuckDB says: {}", message, error_)};
    return {plan_ ? outcome::kind::failed_in_both : outcome::kind::refused_by_both, message};
  }

  static answer_shape shape_of(const syntax &query, const std::vector<std::string> &names) {
    answer_shape out;
    const auto places = [&](syntax::role of, std::vector<size_t> &to) {
      for (const std::string &name : query.names_of(of))
        if (const auto found = std::ranges::find(names, name); found != names.end())
          to.push_back(static_cast<size_t>(found - names.begin()));
    };
    places(syntax::role::rounded, out.rounded);
    places(syntax::role::order_key, out.order);
    return out;
  }

  scratch_folder folder_;
  std::string known_; // the query of what follows
  std::optional<answer> expected_;
  std::string error_; // of DuckDB
  std::optional<store::logical::query> plan_;
};

class random_queries : public testing::TestWithParam<uint32_t> {
protected:
  void TearDown() override { vorn_global_ctx = initial_global_ctx; }
};

TEST_P(random_queries, are_answered_as_duckdb_does) {
  database from(GetParam());
  std::map<outcome::kind, uint32_t> counts;
  std::map<std::string, uint32_t> reasons;
  const uint32_t only = chosen_number("VORN_QUERY", queries);
  for (uint32_t number = only < queries ? only : 0; number < (only < queries ? only + 1 : queries); ++number) {
    dice random(seed, GetParam(), number + 1);
    syntax query = random_query(random, from.tables);
    for (int tries = 0; tries < 3 && !from.is_interesting(query); ++tries)
      query = random_query(random, from.tables);
    outcome came;
    for (const implementation &kernels : implementations) {
      if (!runs_here(kernels) || came.is_fault())
        continue;
      ASSERT_NO_FATAL_FAILURE(put_in_force(kernels, from.both->env));
      for (const uint32_t threads : thread_counts) {
        came = from.judge(query, threads);
        if (!came.is_fault())
          continue;
        const std::string whole = query.sql() + "\n" + came.text;
        const auto begun = std::chrono::steady_clock::now();
        shrink(query, [&] {
          return std::chrono::steady_clock::now() - begun < std::chrono::seconds(30) &&
                 from.judge(query, threads).what == came.what;
        });
        came = from.judge(query, threads);
        ADD_FAILURE() << fmt::format(
            "{}, {} threads: {}\n{}\nbefore it was made smaller: {}\nVORN_SEED={} VORN_QUERY={} "
            "--gtest_filter='*random_queries*/{}'",
            kernels.name, threads, came.text, query.sql(), whole, seed, number, GetParam());
        break;
      }
    }
    ++counts[came.what];
    if (came.what != outcome::kind::equal && !came.is_fault())
      ++reasons[kind_of_error(came.text)];
    if (came.what != outcome::kind::equal && std::getenv("VORN_VERBOSE") != nullptr)
      std::cout << fmt::format("query {}: {}\n{}\n", number, came.text, query.sql());
  }
  std::cout << fmt::format(
      "{} queries equal, {} refused and {} failed as in DuckDB, {} not executed, {} not answered by "
      "DuckDB\n",
      counts[outcome::kind::equal], counts[outcome::kind::refused_by_both], counts[outcome::kind::failed_in_both],
      counts[outcome::kind::not_executed], counts[outcome::kind::not_answered_by_duckdb]);
  for (const auto &[reason, count] : reasons)
    std::cout << fmt::format("  {} times: {}\n", count, reason);
  EXPECT_LE(counts[outcome::kind::not_executed], 2 + queries / 8);
}

INSTANTIATE_TEST_SUITE_P(of, random_queries, testing::Range(0U, databases));

} // namespace
