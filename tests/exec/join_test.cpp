// Joins of every kind against a loop over all pairs of rows.
#include <cmath>
#include <limits>
#include <map>
#include <random>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "store/error.hpp"
#include "tests/exec/given_rows.hpp"
#include "tests/support/random.hpp"
#include <vorn/stand_in.hpp>

namespace store::exec {

namespace {

using logical::join_kind;
using logical::operation;

constexpr int no_number = -1;
using numbers = std::vector<int>; // values by their number in a domain, or no_number

// How the keys of a side lie.
enum class key_form { number, number_codes, wide, sparse, real, text, text_codes, flags };

std::string_view sql_name(key_form form) {
  switch (form) {
  case key_form::wide:
    return "HUGEINT";
  case key_form::real:
    return "DOUBLE";
  case key_form::text:
  case key_form::text_codes:
    return "VARCHAR";
  case key_form::flags:
    return "BOOLEAN";
  default:
    return "BIGINT";
  }
}

double real_at(int number) {
  constexpr double special[] = {0.0, -0.0, std::numeric_limits<double>::quiet_NaN(),
                                std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()};
  return number < 5 ? special[number] : number * 1.5;
}
// Values whose numbers differ are equal where this is.
int equal_number(key_form form, int number) {
  return form == key_form::real && number == 1            ? 0
         : form == key_form::flags && number != no_number ? number % 2
                                                          : number;
}
int64_t number_at(int number) { return int64_t{number} * 3 - 40; }
int64_t sparse_at(int number) {
  return number == 0 ? std::numeric_limits<int64_t>::min() : number * int64_t{0x3f84d5b5b547} * (number % 2 ? 1 : -1);
}
std::string text_at(int number) { return number == 0 ? "" : fmt::format("text {}", number * 7919 % 1000); }

template <class T, class ValueAt>
kept_column plain_column(representation form, const numbers &values, ValueAt value_at) {
  kept_column out(form);
  for (const int number : values)
    if (number == no_number)
      out.append_nulls(1);
    else
      out.append_raw<T>(1)[0] = value_at(number);
  return out;
}

// A column of codes: the dictionary has the values that occur, and perhaps NULL.
template <class Value, class ValueAt>
kept_column coded_column(layout &of, const numbers &values, ValueAt value_at) {
  std::map<Value, uint32_t> codes;
  bool has_null = false;
  for (const int number : values)
    if (number == no_number)
      has_null = true;
    else
      codes.emplace(value_at(number), 0);
  std::vector<std::conditional_t<std::is_same_v<Value, std::string>, std::string_view, Value>> distinct;
  for (auto &[value, code] : codes) {
    code = static_cast<uint32_t>(distinct.size() + (has_null ? 1 : 0));
    distinct.emplace_back(value);
  }
  of.form = representation::codes;
  of.entries =
      std::make_shared<coded_values>(std::make_shared<dictionary>(dictionary::of(
                                         std::span<const typename decltype(distinct)::value_type>(distinct), has_null)),
                                     of.held());
  return plain_column<uint32_t>(representation::codes, values, [&](int number) { return codes.at(value_at(number)); });
}

struct side {
  std::vector<key_form> forms;
  std::vector<numbers> keys; // columns
  numbers tested;            // a column that a further condition compares
  size_t rows() const { return tested.size(); }

  // Key columns, the tested column, the number of the row.
  relation_ptr relation(size_t rows_of_morsel) const {
    static std::vector<std::unique_ptr<std::string>> texts; // as long as the tests
    std::vector<layout> layouts;
    std::vector<kept_column> columns;
    for (size_t k = 0; k < keys.size(); ++k) {
      layout of;
      of.type = logical::sql_type(std::string(sql_name(forms[k])));
      of.form = plain_representation(of.held());
      switch (forms[k]) {
      case key_form::number:
        columns.push_back(plain_column<int64_t>(of.form, keys[k], number_at));
        break;
      case key_form::sparse:
        columns.push_back(plain_column<int64_t>(of.form, keys[k], sparse_at));
        break;
      case key_form::flags:
        columns.push_back(plain_column<int64_t>(of.form, keys[k], [](int number) { return number % 2; }));
        break;
      case key_form::number_codes:
        columns.push_back(coded_column<int64_t>(of, keys[k], number_at));
        break;
      case key_form::wide:
        columns.push_back(
            plain_column<__int128>(of.form, keys[k], [](int number) { return __int128{sparse_at(number)} << 50; }));
        break;
      case key_form::real:
        columns.push_back(plain_column<double>(of.form, keys[k], real_at));
        break;
      case key_form::text:
        columns.push_back(plain_column<std::string_view>(of.form, keys[k], [](int number) {
          return std::string_view(*texts.emplace_back(std::make_unique<std::string>(text_at(number))));
        }));
        break;
      case key_form::text_codes:
        columns.push_back(coded_column<std::string>(of, keys[k], text_at));
        break;
      }
      layouts.push_back(of);
    }
    layout number;
    number.type = logical::sql_type("BIGINT");
    layouts.push_back(number);
    columns.push_back(plain_column<int64_t>(number.form, tested, [](int n) { return int64_t{n}; }));
    layouts.push_back(number);
    columns.emplace_back(number.form);
    for (size_t row = 0; row < rows(); ++row)
      columns.back().append_raw<int64_t>(1)[0] = static_cast<int64_t>(row);
    kept_rows kept(layouts);
    for (size_t c = 0; c < columns.size(); ++c)
      kept.column(c) = std::move(columns[c]);
    kept.set_rows(rows());
    return std::make_unique<given_rows>(layouts, std::move(kept), rows_of_morsel);
  }
};

struct join_case {
  std::string name;
  std::vector<key_form> left_forms;
  std::vector<key_form> right_forms;
  bool nulls_match = false; // of the last key
  bool has_test = false;
  bool is_residual = false; // the test is a residual condition, not one of the conditions
};

side random_side(const std::vector<key_form> &forms, size_t rows, int domain, int null_percent, std::mt19937 &random) {
  side out{forms, std::vector<numbers>(forms.size()), {}};
  const auto number = [&](int below) {
    return static_cast<int>(random() % 100) < null_percent ? no_number
                                                           : static_cast<int>(random() % static_cast<unsigned>(below));
  };
  for (size_t row = 0; row < rows; ++row) {
    for (numbers &column : out.keys)
      column.push_back(number(domain));
    out.tested.push_back(number(4));
  }
  return out;
}

// 1, 0, or null where it is not known.
int is_partner(const join_case &of, const side &left, size_t l, const side &right, size_t r) {
  int out = 1;
  const auto add = [&out](int holds) { out = holds == 0 || out == 0 ? 0 : holds == no_number ? no_number : out; };
  for (size_t k = 0; k < left.keys.size(); ++k) {
    const int a = equal_number(of.left_forms[k], left.keys[k][l]);
    const int b = equal_number(of.right_forms[k], right.keys[k][r]);
    const bool matches_nulls = of.nulls_match && k + 1 == left.keys.size();
    add(!matches_nulls && (a == no_number || b == no_number) ? no_number : a == b ? 1 : 0);
  }
  if (of.has_test)
    add(left.tested[l] == no_number || right.tested[r] == no_number ? no_number
        : left.tested[l] < right.tested[r]                          ? 1
                                                                    : 0);
  return out;
}

// Rows as the numbers of their sides' rows, and the mark.
using answer = std::vector<std::array<int64_t, 2>>;

answer expected(const join_case &of, join_kind kind, const side &left, const side &right) {
  answer out;
  std::vector<bool> right_matched(right.rows());
  for (size_t l = 0; l < left.rows(); ++l) {
    const auto row = static_cast<int64_t>(l);
    int found = 0;
    for (size_t r = 0; r < right.rows(); ++r) {
      const int holds = is_partner(of, left, l, right, r);
      found = holds == 1 || found == 1 ? 1 : holds == no_number ? no_number : found;
      if (holds != 1)
        continue;
      right_matched[r] = true;
      if (kind == join_kind::inner || kind == join_kind::left || kind == join_kind::right || kind == join_kind::full)
        out.push_back({row, static_cast<int64_t>(r)});
      if (kind == join_kind::single) {
        out.push_back({row, static_cast<int64_t>(r)});
        break;
      }
    }
    if (kind == join_kind::mark)
      out.push_back({row, found});
    else if ((kind == join_kind::semi && found == 1) || (kind == join_kind::anti && found != 1) ||
             (found != 1 && (kind == join_kind::left || kind == join_kind::full || kind == join_kind::single)))
      out.push_back({row, no_number});
  }
  if (kind == join_kind::right || kind == join_kind::full)
    for (size_t r = 0; r < right.rows(); ++r)
      if (!right_matched[r])
        out.push_back({no_number, static_cast<int64_t>(r)});
  return out;
}

logical::plan plan_of(const join_case &of, join_kind kind) {
  logical::plan out;
  out.what = logical::plan_kind::join;
  out.join = kind;
  const size_t keys = of.left_forms.size();
  for (size_t k = 0; k < keys; ++k) {
    const std::string type(sql_name(of.left_forms[k]));
    out.conditions.push_back({column_of(k, type),
                              of.nulls_match && k + 1 == keys ? operation::not_distinct_from : operation::equal,
                              column_of(k, type)});
  }
  if (!of.has_test)
    return out;
  if (!of.is_residual) {
    out.conditions.insert(out.conditions.begin(),
                          {column_of(keys, "BIGINT"), operation::less, column_of(keys, "BIGINT")});
    return out;
  }
  out.residual.emplace();
  out.residual->what = operation::less;
  out.residual->type = logical::sql_type("BOOLEAN");
  out.residual->children = {column_of(keys, "BIGINT"), column_of(keys + 2 + keys, "BIGINT")};
  out.residual->sql = fmt::format("(c{} < c{})", keys, keys + 2 + keys);
  return out;
}

answer joined(const join_case &of, join_kind kind, const side &left, const side &right, uint32_t threads) {
  const size_t left_columns = left.keys.size() + 2;
  const bool has_left_only = kind == join_kind::semi || kind == join_kind::anti;
  const size_t columns = kind == join_kind::mark ? left_columns + 1 : has_left_only ? left_columns : 2 * left_columns;
  column_mask needed(columns, false);
  needed[left_columns - 1] = true;
  needed[columns - 1] = true;
  no_functions functions;
  const relation_ptr join = make_join(plan_of(of, kind), left.relation(700), right.relation(700), needed, functions);
  EXPECT_EQ(join->columns().size(), columns);
  vorn_host::environment environment;
  const vorn_ctx library = environment.context();
  const test_run run(library, threads);
  std::map<size_t, answer> of_morsels;
  std::mutex guard;
  for (int again = 0; again < 2; ++again) {
    of_morsels.clear();
    join->open(run.get());
    arena unused;
    EXPECT_NE(join->begin(run.get(), unused), nullptr) << "a union begins a stream also where there are no morsels";
    run_all(*join, run.get(), [&](size_t, size_t morsel, chunk &rows) {
      EXPECT_LE(rows.rows(), chunk_rows);
      EXPECT_NE(rows.rows(), 0U);
      const auto value = [](const vector &v, size_t row) { return v.is_null(row) ? no_number : v.int64s()[row]; };
      const vector row_numbers = rows.column(left_columns - 1);
      const vector last = rows.column(columns - 1);
      const std::lock_guard lock(guard);
      for (size_t row = 0; row < rows.rows(); ++row)
        of_morsels[morsel].push_back({value(row_numbers, row), has_left_only ? no_number : value(last, row)});
    });
  }
  answer out;
  for (const auto &[morsel, rows] : of_morsels)
    out.insert(out.end(), rows.begin(), rows.end());
  return out;
}

TEST(Join, EveryKindOfJoinGivesWhatALoopOverAllPairsGives) {
  using enum key_form;
  const std::vector<join_case> cases = {
      {"numbers", {number}, {number}},
      {"numbers that NULLs match", {number}, {number}, true},
      {"codes of two dictionaries of numbers", {number_codes}, {number_codes}},
      {"codes of numbers on the left", {number_codes}, {number}},
      {"codes of numbers on the right", {number}, {number_codes}},
      {"numbers far apart", {sparse}, {sparse}},
      {"numbers of 128 bits", {wide}, {wide}},
      {"reals", {real}, {real}},
      {"texts", {text}, {text}},
      {"texts that NULLs match", {text}, {text}, true},
      {"codes of texts", {text_codes}, {text_codes}},
      {"codes of texts that NULLs match", {text_codes}, {text_codes}, true},
      {"codes of texts on the left", {text_codes}, {text}},
      {"codes of texts on the right", {text}, {text_codes}},
      {"two keys of numbers", {number, flags}, {number_codes, flags}},
      {"two keys, NULLs of the second match", {text_codes, number}, {text_codes, number}, true},
      {"three keys that fill several words", {sparse, wide, flags}, {sparse, wide, flags}, true},
      {"a text and a real", {text, real}, {text_codes, real}, true},
      {"numbers, and a comparison", {number}, {number}, false, true},
      {"texts, and a residual condition", {text}, {text}, false, true, true},
      {"two keys and a residual condition", {number, flags}, {number, flags}, true, true, true},
      {"no key but a comparison", {}, {}, false, true},
      {"no condition", {}, {}},
  };
  struct sizes {
    size_t left, right;
    int domain;
    int null_percent;
  };
  constexpr sizes all_sizes[] = {{0, 40, 10, 10},  {40, 0, 10, 10},     {50, 700, 30, 3},
                                 {700, 50, 30, 0}, {1500, 300, 900, 5}, {9, 5000, 7, 20}};
  std::mt19937 random(22);
  vorn_test::random_source turns(22);
  for (const join_case &of : cases)
    for (const auto &[left_rows, right_rows, domain, null_percent] : all_sizes) {
      if (of.left_forms.empty() && left_rows * right_rows > 50000)
        continue;
      const side left = random_side(of.left_forms, left_rows, domain, null_percent, random);
      const side right = random_side(of.right_forms, right_rows, domain + 5, null_percent, random);
      for (const join_kind kind : {join_kind::inner, join_kind::left, join_kind::right, join_kind::full,
                                   join_kind::semi, join_kind::anti, join_kind::mark, join_kind::single}) {
        if (!turns.takes_case())
          continue;
        SCOPED_TRACE(
            fmt::format("{}, kind {}, {} and {} rows", of.name, static_cast<int>(kind), left_rows, right_rows));
        answer wanted = expected(of, kind, left, right);
        answer given = joined(of, kind, left, right, 1);
        EXPECT_EQ(joined(of, kind, left, right, 3), given) << "rows in another order with three threads";
        std::sort(wanted.begin(), wanted.end());
        std::sort(given.begin(), given.end());
        ASSERT_EQ(given, wanted);
      }
    }
}

} // namespace
} // namespace store::exec
