// Scans of stored columns in every form, against plain arrays and against conditions that are asked row by row.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "store/encode/column_builder.hpp"
#include "store/error.hpp"
#include "store/logical/sql.hpp"
#include "store/operator/column_reader.hpp"
#include "store/operator/scan_condition.hpp"
#include "tests/exec/given_rows.hpp"
#include "tests/support/implementation.hpp"
#include "tests/support/random.hpp"

namespace store::exec {
namespace {

using logical::expression;
using logical::operation;

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr size_t two_groups_and_a_part = 2 * size_t{row_group_rows} + 777;

no_functions refused;

column stored(const std::string &name, const std::string &type, const std::vector<cell> &rows,
              const encoding_choice &form) {
  column_builder builder({name, type, type_of(type)}, form);
  builder.with([&]<class Builder>(Builder &any) {
    for (const cell &c : rows)
      if (std::holds_alternative<std::monostate>(c))
        any.append(any.null_row());
      else if constexpr (std::is_same_v<typename Builder::value, int64_t>)
        any.append(any.row_of(std::get<int64_t>(c)));
      else
        any.append(any.row_of(std::holds_alternative<wide_key>(c) ? std::get<wide_key>(c).view()
                                                                  : std::get<std::string_view>(c)));
  });
  return builder.finish();
}

std::shared_ptr<table> table_of(std::vector<column> columns, const std::vector<std::string> &types) {
  std::vector<column_info> infos;
  for (size_t c = 0; c < columns.size(); ++c)
    infos.push_back({columns[c].name, types[c], type_of(types[c])});
  const uint64_t rows = columns.front().rows;
  auto shared = std::make_shared<std::vector<column>>(std::move(columns));
  return std::make_shared<table>("t", std::move(infos), rows,
                                 [shared](size_t c) { return std::shared_ptr<const column>(shared, &(*shared)[c]); });
}

cell cell_of(const vector &plain, size_t row, const column_type &type) {
  if (plain.is_null(row))
    return std::monostate{};
  const __int128 number = plain.form == representation::int64    ? plain.int64s()[row]
                          : plain.form == representation::int128 ? plain.int128s()[row]
                                                                 : 0;
  switch (type.kind) {
  case value_kind::text:
    return plain.texts()[row];
  case value_kind::real:
    return real_key(plain.float64s()[row]);
  case value_kind::natural:
    return natural_key(static_cast<uint64_t>(number));
  case value_kind::wide:
    return wide_key_of(number);
  default:
    return static_cast<int64_t>(number);
  }
}

std::vector<encoding_choice> forms_of(bool has_nulls, bool is_key) {
  std::vector<encoding_choice> out;
  for (const bool compressed : {false, true}) {
    out.push_back({encoding::dict, compressed});
    out.push_back({encoding::rle, compressed});
    for (const encoding form : {encoding::fixed, encoding::dynp, encoding::prefix})
      if (!has_nulls && is_key && !(compressed && form == encoding::prefix))
        out.push_back({form, compressed});
  }
  return out;
}

using scan_test = vorn_test::implementation_test;
VORN_TEST_ALL_IMPLEMENTATIONS(scan_test);

std::vector<std::vector<uint32_t>> position_lists(uint32_t rows, std::mt19937 &random) {
  std::vector<uint32_t> all(rows);
  std::iota(all.begin(), all.end(), 0);
  std::vector<std::vector<uint32_t>> out = {{}, {rows - 1}};
  const auto some = [&](uint32_t first, uint32_t count) {
    return std::vector<uint32_t>(all.begin() + std::min(first, rows), all.begin() + std::min(first + count, rows));
  };
  out.push_back(some(0, 4096));
  out.push_back(some(333, 4096));
  for (const uint32_t one_in : {2U, 50U}) {
    std::vector<uint32_t> sparse;
    for (const uint32_t row : all)
      if (random() % one_in == 0 && sparse.size() < 4096)
        sparse.push_back(row);
    out.push_back(sparse);
    std::shuffle(sparse.begin(), sparse.end(), random);
    out.push_back(std::move(sparse));
  }
  std::vector<uint32_t> repeated;
  for (uint32_t i = 0; i < 500; ++i)
    repeated.push_back(std::min(rows - 1, i / 7 * 3));
  out.push_back(std::move(repeated));
  return out;
}

TEST_P(scan_test, every_form_is_read_at_any_positions) {
  std::mt19937 random(1);
  vorn_test::random_source turns(1);
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const double reals[] = {-0.0, 0.0, not_a_number, infinity, -infinity, -1.5, 2.25};
  const std::string_view words[] = {"", "a", "ab", "abc", "zebra"};
  const std::string_view pairs[] = {"aa", "ab", "zz"};
  struct values_case {
    std::string type;
    bool is_key;
    std::function<cell()> next;
  };
  const auto in_range = [&](int64_t low, int64_t high) {
    return [&random, low, high]() -> cell { return std::uniform_int_distribution<int64_t>(low, high)(random); };
  };
  std::vector<values_case> cases = {
      {"INTEGER", true, in_range(7, 7)},
      {"BOOLEAN", true, in_range(0, 1)},
      {"INTEGER", true, in_range(-3, 40)},
      {"DATE", true, in_range(8000, 10500)},
      {"DECIMAL(15,2)", true, in_range(100, 10'000'000)},
      {"BIGINT", true, in_range(-5'000'000'000, 5'000'000'000)},
      {"BIGINT", true, in_range(INT64_MIN, INT64_MAX)},
      {"UBIGINT", true, in_range(INT64_MIN, INT64_MIN + 1000)}, // numbers up to 1000
      {"UBIGINT", true, in_range(INT64_MIN, INT64_MAX)},
      {"DOUBLE", true, [&]() -> cell { return real_key(reals[random() % std::size(reals)]); }},
      {"HUGEINT", false, [&]() -> cell { return wide_key_of((__int128{1} << 100) * static_cast<int>(random() % 9)); }},
      {"VARCHAR", false, [&]() -> cell { return words[random() % std::size(words)]; }},
      {"VARCHAR", false, [&]() -> cell { return pairs[random() % std::size(pairs)]; }},
  };
  for (const values_case &each : cases)
    for (const bool has_nulls : {false, true}) {
      std::vector<cell> rows;
      while (rows.size() < two_groups_and_a_part) // runs of up to 300 rows, in the first row group
        rows.insert(rows.end(), rows.size() < row_group_rows ? 1 + random() % 300 : 1, each.next());
      rows.resize(two_groups_and_a_part);
      for (size_t row = 0; has_nulls && row < row_group_rows; ++row) // none after the first row group
        if (random() % 5 == 0)
          rows[row] = std::monostate{};
      const bool is_pairs = each.type == "VARCHAR" && std::get<std::string_view>(rows.back()).size() == 2 &&
                            std::none_of(rows.begin(), rows.end(), [](const cell &c) {
                              const auto *text = std::get_if<std::string_view>(&c);
                              return text != nullptr && text->size() != 2;
                            });
      std::vector<encoding_choice> forms = forms_of(has_nulls, each.is_key);
      if (is_pairs && !has_nulls)
        forms.push_back({encoding::prefix, false});
      for (const encoding_choice &form : forms) {
        SCOPED_TRACE(testing::Message() << each.type << " as " << encoding_name(*form.form) << " compressed "
                                        << form.compressed << " NULLs " << has_nulls);
        const auto of = table_of({stored("x", each.type, rows, form)}, {each.type});
        const layout as = layout_of(*of, 0);
        EXPECT_EQ(as.has_nulls, has_nulls);
        const stored_column columns[] = {stored_column_of(*of, 0)};
        row_group_source source(ctx, columns);
        arena memory;
        for (size_t group = 0; group < of->at(0).segments.size(); ++group) {
          source.go_to(group);
          for (const auto &positions : position_lists(of->at(0).segments[group].rows, random)) {
            if (!turns.takes_case())
              continue;
            const vector read = source.read(0, positions, memory);
            ASSERT_EQ(read.form, as.form);
            ASSERT_EQ(read.rows, positions.size());
            ASSERT_TRUE(group == 0 || read.validity == nullptr);
            const vector plain = plain_values(read, as, memory);
            for (size_t i = 0; i < positions.size(); ++i) {
              const cell wanted = rows[group * row_group_rows + positions[i]];
              ASSERT_TRUE(cell_of(plain, i, as.held()) == wanted) << "row group " << group << ", entry " << i;
              const bool is_bounded = as.bounds && plain.form == representation::int64 && !plain.is_null(i);
              ASSERT_TRUE(!is_bounded || (as.bounds->low <= plain.int64s()[i] && plain.int64s()[i] <= as.bounds->high));
            }
            memory.rewind({});
          }
        }
      }
    }
}

// Conditions over a table, with columns of several forms, as expressions and row by row.
class random_conditions {
public:
  explicit random_conditions(uint32_t seed) : random_(seed) {
    const auto integer = [&](int64_t low, int64_t high) {
      return cell(std::uniform_int_distribution<int64_t>(low, high)(random_));
    };
    const auto column_of = [&](const std::string &type, encoding_choice form, const auto &value_of) {
      std::vector<cell> rows;
      for (size_t row = 0; row < two_groups_and_a_part; ++row)
        rows.push_back(value_of(row));
      columns_.push_back(stored("c" + std::to_string(columns_.size()), type, rows, form));
      types_.push_back(type);
      cells_.push_back(std::move(rows));
    };
    column_of("INTEGER", {encoding::fixed}, [](size_t row) { return cell(static_cast<int64_t>(row)); });
    column_of("INTEGER", {encoding::dict}, [&](size_t) { return random_() % 9 == 0 ? cell() : integer(-5, 20); });
    column_of("INTEGER", {encoding::rle}, [&](size_t row) { return row % 40 < 9 ? cell() : cell(int64_t(row / 999)); });
    column_of("INTEGER", {encoding::dynp}, [&](size_t) { return integer(0, 900); });
    column_of("INTEGER", {encoding::dict, true}, [&](size_t) { return integer(0, 3000); });
    column_of("DOUBLE", {encoding::dict}, [&](size_t) {
      const double some[] = {-0.0, 0.0, 1.5, not_a_number, -infinity};
      return random_() % 9 == 0 ? cell() : cell(real_key(some[random_() % std::size(some)]));
    });
    table_ = table_of(std::move(columns_), types_);
  }

  std::shared_ptr<table> of() const { return table_; }

  expression next(int depth) {
    expression out;
    out.type = logical::sql_type("BOOLEAN");
    const uint32_t pick = random_() % 8;
    if (depth > 0 && pick < 5) {
      out.what = pick < 2 ? operation::all_of : pick < 4 ? operation::any_of : operation::negation;
      for (uint32_t i = 0; i < (pick == 4 ? 1 : 2 + random_() % 2); ++i)
        out.children.push_back(next(depth - 1));
      return out;
    }
    const size_t column = random_() % types_.size();
    out.children.push_back(reference(column));
    if (pick == 0) {
      out.what = random_() % 2 == 0 ? operation::is_null : operation::is_not_null;
      return out;
    }
    if (pick == 1) {
      out.what = random_() % 2 == 0 ? operation::in : operation::not_in;
      for (uint32_t i = 0; i < 1 + random_() % 4; ++i)
        out.children.push_back(constant(column));
      return out;
    }
    if (types_[column] == "INTEGER" && random_() % 3 == 0)
      out.children[0] = sum(std::move(out.children[0]));
    out.what = static_cast<operation>(static_cast<int>(operation::equal) + random_() % 8);
    const size_t others[] = {1, 2, 3, 4};
    const bool with_column = types_[column] == "INTEGER" && random_() % 6 == 0;
    out.children.push_back(with_column ? reference(others[random_() % 4]) : constant(column));
    if (random_() % 4 == 0)
      std::swap(out.children[0], out.children[1]);
    return out;
  }

  // True, false or nothing for NULL.
  std::optional<bool> ask(const expression &e, size_t row) const {
    switch (e.what) {
    case operation::negation: {
      const std::optional<bool> inner = ask(e.children[0], row);
      return inner ? std::optional(!*inner) : inner;
    }
    case operation::all_of:
    case operation::any_of: {
      const bool decides = e.what == operation::any_of;
      std::optional<bool> out = !decides;
      for (const expression &child : e.children) {
        const std::optional<bool> part = ask(child, row);
        if (part == decides)
          return decides;
        if (!part)
          out = part;
      }
      return out;
    }
    case operation::is_null:
    case operation::is_not_null:
      return !value_of(e.children[0], row).has_value() == (e.what == operation::is_null);
    case operation::in:
    case operation::not_in: {
      std::optional<bool> found = false;
      for (size_t i = 1; i < e.children.size() && found != true; ++i)
        if (const auto equal = compared(operation::equal, e.children[0], e.children[i], row); equal != false)
          found = equal;
      return found && e.what == operation::not_in ? std::optional(!*found) : found;
    }
    default:
      return compared(e.what, e.children[0], e.children[1], row);
    }
  }

  static expression sum(expression column) {
    expression out;
    out.what = operation::function;
    out.name = "+";
    out.type = column.type;
    out.children = {std::move(column), expression()};
    out.children[1].type = out.type;
    out.children[1].value = __int128{3};
    return out;
  }

private:
  expression reference(size_t column) const {
    expression out;
    out.what = operation::column;
    out.index = column;
    out.type = logical::sql_type(types_[column]);
    return out;
  }

  expression constant(size_t column) {
    expression out;
    out.type = logical::sql_type(types_[column]);
    if (random_() % 12 == 0)
      return out;
    const cell &some = cells_[column][random_() % two_groups_and_a_part];
    const int64_t key = std::holds_alternative<int64_t>(some) ? std::get<int64_t>(some) : 0;
    if (types_[column] == "DOUBLE")
      out.value = random_() % 4 == 0 ? 0.75 : real_of_key(key);
    else
      out.value = __int128{key} + (random_() % 4 == 0 ? 5000 - static_cast<int>(random_() % 10000) : 0);
    return out;
  }

  // A number that orders as the value does; reals with both zeros equal and NaN above all.
  std::optional<double> value_of(const expression &e, size_t row) const {
    const auto ordered = [](double real) { return std::isnan(real) ? std::numeric_limits<double>::max() : real; };
    if (e.what == operation::constant) {
      if (const auto *real = std::get_if<double>(&e.value))
        return ordered(*real);
      const auto *number = std::get_if<__int128>(&e.value);
      return number != nullptr ? std::optional(static_cast<double>(*number)) : std::nullopt;
    }
    if (e.what == operation::function) {
      const std::optional<double> value = value_of(e.children[0], row);
      return value ? std::optional(*value + 3) : value;
    }
    const cell &value = cells_[e.index][row];
    if (std::holds_alternative<std::monostate>(value))
      return std::nullopt;
    const int64_t key = std::get<int64_t>(value);
    return types_[e.index] == "DOUBLE" ? ordered(real_of_key(key)) : static_cast<double>(key);
  }

  std::optional<bool> compared(operation what, const expression &left, const expression &right, size_t row) const {
    const std::optional<double> a = value_of(left, row);
    const std::optional<double> b = value_of(right, row);
    if (what == operation::distinct_from || what == operation::not_distinct_from)
      return (a == b) == (what == operation::not_distinct_from);
    if (!a || !b)
      return std::nullopt;
    switch (what) {
    case operation::equal:
      return *a == *b;
    case operation::not_equal:
      return *a != *b;
    case operation::less:
      return *a < *b;
    case operation::less_equal:
      return *a <= *b;
    case operation::greater:
      return *a > *b;
    default:
      return *a >= *b;
    }
  }

  std::mt19937 random_;
  std::vector<column> columns_;
  std::vector<std::string> types_;
  std::vector<std::vector<cell>> cells_;
  std::shared_ptr<table> table_;
};

// The ids of the rows, in order.
std::vector<size_t> rows_given(relation &scanned, const query_run &run) {
  scanned.open(run);
  std::vector<bool> needed(scanned.columns().size());
  needed[0] = true;
  row_collector collected(scanned.columns(), needed, run.threads.threads());
  run_all(scanned, run, [&](size_t thread, size_t morsel, chunk &c) { collected.append(thread, morsel, c); });
  const kept_rows all = collected.finish();
  return all.rows() == 0 ? std::vector<size_t>()
                         : std::vector<size_t>(all.values(0).int64s().begin(), all.values(0).int64s().end());
}

TEST_P(scan_test, conditions_select_the_rows_on_which_they_are_true) {
  random_conditions conditions(GetParam().capability + 3);
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const test_run run(ctx);
  const size_t columns[] = {0, 1, 2, 3, 4, 5};
  const column_mask needed = {true, false, false, false, false, false};
  for (int round = 0; round < 60; ++round) {
    std::vector<expression> all_of;
    for (int i = 0; i < 1 + round % 3; ++i) {
      all_of.push_back(conditions.next(round % 4));
      write_sql(all_of.back());
    }
    const relation_ptr scanned = make_scan(conditions.of(), columns, needed, all_of, refused);
    std::vector<size_t> wanted;
    for (size_t row = 0; row < two_groups_and_a_part; ++row)
      if (std::all_of(all_of.begin(), all_of.end(),
                      [&](const expression &e) { return conditions.ask(e, row) == true; }))
        wanted.push_back(row);
    std::string text;
    for (const expression &e : all_of)
      text += e.sql + "; ";
    ASSERT_EQ(rows_given(*scanned, run.get()), wanted) << text << scanned->description();
    const number_bounds ids = scanned->columns()[0].bounds.value();
    ASSERT_TRUE(wanted.empty() || (ids.low <= __int128{wanted.front()} && __int128{wanted.back()} <= ids.high)) << text;
  }
}

expression id_compared(operation what, int64_t number) {
  expression out;
  out.what = what;
  out.type = logical::sql_type("BOOLEAN");
  out.children.resize(2);
  out.children[0].what = operation::column;
  out.children[0].type = out.children[1].type = logical::sql_type("INTEGER");
  out.children[1].value = __int128{number};
  write_sql(out);
  return out;
}

TEST_P(scan_test, row_groups_are_skipped_and_unread_columns_stay_unread) {
  random_conditions some(1);
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const test_run made(ctx);
  query_run run = made.get();
  run.explains = true;
  const size_t columns[] = {0, 3};
  const expression only_last[] = {id_compared(operation::greater_equal, 2 * int64_t{row_group_rows} + 700)};
  const relation_ptr scanned = make_scan(some.of(), columns, {false, false}, only_last, refused);
  scanned->open(run);
  uint64_t rows = 0;
  run_all(*scanned, run, [&](size_t, size_t, chunk &c) { rows += c.rows(); });
  EXPECT_EQ(rows, 77U);
  EXPECT_EQ(scanned->metrics().row_groups, 1U);
  EXPECT_EQ(scanned->metrics().skipped, 2U);
  EXPECT_EQ(scanned->metrics().bytes, 0U);
  EXPECT_FALSE(some.of()->is_loaded(3)) << "nobody reads the column";

  // A function of a dictionary is asked once for each code, so no row is read.
  expression shifted[] = {id_compared(operation::less, 0)};
  shifted[0].children[0] = random_conditions::sum(shifted[0].children[0]);
  write_sql(shifted[0]);
  const size_t with_dictionary[] = {1};
  const relation_ptr by_codes = make_scan(some.of(), with_dictionary, {false}, shifted, refused);
  EXPECT_EQ(by_codes->description(), "t where c1 is a range of codes");
}

TEST_P(scan_test, operators_over_a_scan_keep_its_order) {
  random_conditions some(1);
  vorn_ctx ctx = env.context();
  ctx.vorn_ctx_decompress = vorn_qpak_decode;
  const size_t id[] = {0};
  const column_mask needed = {true};
  const auto scanned = [&](std::span<const expression> all_of) {
    return make_scan(some.of(), id, needed, all_of, refused);
  };
  const expression odd_start[] = {id_compared(operation::greater, 60'001)};
  const expression none[] = {id_compared(operation::less, 0)};
  const auto numbers = [](size_t first, size_t count) {
    std::vector<size_t> out(count);
    std::iota(out.begin(), out.end(), first);
    return out;
  };
  for (const uint32_t threads : {1U, 3U}) {
    const test_run run(ctx, threads);
    logical::plan limit;
    const auto limited = [&](relation_ptr rows) {
      const relation_ptr made = make_limit(limit, std::move(rows), needed);
      return rows_given(*made, run.get());
    };
    limit.limit = 70'000;
    limit.offset = 3;
    EXPECT_EQ(limited(scanned(odd_start)), numbers(60'005, 70'000)) << "over the end of a row group";
    limit.limit = 0;
    EXPECT_TRUE(limited(scanned({})).empty());
    limit.limit = std::nullopt;
    limit.offset = two_groups_and_a_part - 2;
    EXPECT_EQ(limited(scanned({})), numbers(two_groups_and_a_part - 2, 2));
    EXPECT_TRUE(limited(scanned(none)).empty());

    // Both sides read the same ten rows, one of them through a filter.
    limit.limit = 10;
    limit.offset = 0;
    const auto shared = make_shared_rows(make_limit(limit, scanned({}), needed), needed);
    const expression above[] = {id_compared(operation::greater, 5)};
    const relation_ptr both = make_union_all(make_filter(make_shared_reference(shared), above, refused),
                                             make_shared_reference(shared), needed);
    for (int twice = 0; twice < 2; ++twice) {
      EXPECT_EQ(rows_given(*both, run.get()), (std::vector<size_t>{6, 7, 8, 9, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
    }
  }
}

} // namespace
} // namespace store::exec
