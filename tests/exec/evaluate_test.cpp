// Random expressions over random rows, compared with DuckDB's values.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <string>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "sql/connection.hpp"
#include "sql/duckdb_functions.hpp"
#include "sql/vectors.hpp"
#include "store/error.hpp"
#include "store/evaluate/evaluator.hpp"
#include "store/logical/sql.hpp"
#include "tests/exec/sampled_rows.hpp"

namespace store::exec {

namespace {

using logical::expression;
using logical::operation;
using logical::scalar;
using logical::sql_type;

const scalar null;

std::vector<scalar> duckdb_answer(duckdb::connection &database, const std::string &sql, const sql_type &type) {
  duckdb::result result = database.query(sql);
  std::vector<scalar> out;
  arena memory;
  while (const std::optional<duckdb::chunk> rows = result.next()) {
    const vector values = sql::from_duckdb(rows->column(0), type, static_cast<uint32_t>(rows->rows()), memory);
    for (size_t row = 0; row < values.rows; ++row)
      out.push_back(value_at(values, row));
  }
  return out;
}

// Values in a representation; the row of a NULL holds something else.
vector vector_of(std::span<const scalar> values, representation form, const std::map<scalar, uint32_t> &codes,
                 arena &memory) {
  const std::span<uint64_t> validity = all_valid(memory, values.size());
  return with_type(form, [&]<class T>(T) {
    const std::span<T> out = memory.take<T>(values.size());
    for (size_t row = 0; row < out.size(); ++row) {
      using single = std::conditional_t<std::is_same_v<T, std::string_view>, std::string,
                                        std::conditional_t<std::is_same_v<T, double>, double, __int128>>;
      const scalar &value = values[row];
      out[row] = std::is_same_v<T, uint32_t> ? T{} : std::numeric_limits<T>::max();
      if (value == null)
        set_null(validity, row);
      else if constexpr (std::is_same_v<T, uint32_t>)
        out[row] = codes.at(value);
      else
        out[row] = static_cast<T>(std::get<single>(value));
    }
    return vector(out, validity.data());
  });
}

struct random_column {
  sql_type type;
  std::vector<scalar> values;
  layout form;
  std::map<scalar, uint32_t> codes;
};

class random_expressions {
public:
  explicit random_expressions(uint64_t seed) : random_(seed) {
    for (const char *name : types_)
      for (const bool is_small : {false, true})
        columns_.push_back(made_column(sql_type(name), is_small));
  }

  const std::vector<random_column> &columns() const { return columns_; }
  size_t below(size_t end) { return std::uniform_int_distribution<size_t>(0, end - 1)(random_); }
  bool chance(double share) { return std::bernoulli_distribution(share)(random_); }
  sql_type any_type() { return sql_type(types_[below(std::size(types_))]); }

  expression any(const sql_type &type, size_t depth) {
    expression out = depth == 0 || chance(0.1) ? leaf(type) : inner(type, depth - 1);
    out.type = type;
    return out;
  }

  static constexpr size_t rows = 150;

private:
  static constexpr const char *types_[] = {
      "BOOLEAN",       "TINYINT",       "INTEGER",      "BIGINT",        "HUGEINT",       "UTINYINT", "UINTEGER",
      "UBIGINT",       "DECIMAL(4,1)",  "DECIMAL(9,2)", "DECIMAL(15,2)", "DECIMAL(18,4)", "FLOAT",    "DOUBLE",
      "DECIMAL(30,4)", "DECIMAL(38,2)", "DATE",         "TIMESTAMP",     "VARCHAR"};

  static uint32_t width_of(const sql_type &type) {
    return type.name.starts_with("DECIMAL") ? static_cast<uint32_t>(std::stoul(type.name.substr(8))) : 0;
  }
  static bool is_number(const sql_type &type) { return type.held->is_numeric(); }

  scalar any_value(const sql_type &type, bool is_small) {
    static const char *texts[] = {"",    "a",       "ab",       "abc", "b",    "ba",   "xaby",
                                  "a%b", "\u00e4b", "a\u00e4b", "12",  "-3.5", "true", "1994-01-01"};
    switch (type.held->kind) {
    case value_kind::text:
      return std::string(texts[below(is_small ? 8 : std::size(texts))]);
    case value_kind::single:
    case value_kind::real: {
      const double nan = std::numeric_limits<double>::quiet_NaN();
      const double infinity = std::numeric_limits<double>::infinity();
      const double reals[] = {0.0, -0.0, 1, -1, 0.5, 2.5, -2.5, 3.7, 1e10, 1e-3, nan, infinity, -infinity, 1e30};
      const double real = is_small ? static_cast<double>(below(2001)) / 8 - 100 : reals[below(std::size(reals))];
      return type.held->kind == value_kind::single ? static_cast<double>(static_cast<float>(real)) : real;
    }
    case value_kind::boolean:
      return static_cast<__int128>(below(2));
    default:
      break;
    }
    __int128 low = 0;
    __int128 high = 0;
    const uint32_t bits = type.held->plain_bytes * 8;
    if (const uint32_t width = width_of(type); width != 0) {
      high = 1;
      for (uint32_t i = 0; i < width; ++i)
        high *= 10;
      low = -(high -= 1);
    } else if (type.held->kind == value_kind::date) {
      low = -1000000;
      high = 1000000;
    } else if (type.held->kind == value_kind::timestamp) {
      high = __int128{1} << 60;
      low = -high;
    } else if (!type.held->is_signed || type.held->kind == value_kind::natural) {
      high = (__int128{1} << bits) - 1;
    } else {
      high = static_cast<__int128>((static_cast<unsigned __int128>(1) << (bits - 1)) - 1);
      low = -high - 1;
    }
    if (is_small)
      return std::clamp<__int128>(static_cast<__int128>(below(400)) - 150, std::max<__int128>(low, -120), high);
    const __int128 digits = static_cast<__int128>(random_()) << 64 | random_();
    switch (below(4)) {
    case 0:
      return low + static_cast<__int128>(below(2));
    case 1:
      return high - static_cast<__int128>(below(2));
    case 2:
      return std::clamp<__int128>(digits >> below(127), low, high);
    default:
      return std::clamp<__int128>(static_cast<__int128>(below(20)) - 10, low, high);
    }
  }

  random_column made_column(const sql_type &type, bool is_small) {
    random_column out{type, {}, {}, {}};
    out.form.type = type;
    out.form.form = plain_representation(*type.held);
    out.form.has_nulls = chance(0.6);
    for (size_t row = 0; row < rows; ++row)
      out.values.push_back(out.form.has_nulls && chance(0.2) ? null : any_value(type, is_small));
    std::vector<scalar> sorted;
    for (const scalar &value : out.values)
      if (value != null)
        sorted.push_back(value);
    std::sort(sorted.begin(), sorted.end());
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    if (std::holds_alternative<__int128>(sorted.front()) && (is_small || chance(0.5)))
      out.form.bounds = number_bounds{std::get<__int128>(sorted.front()), std::get<__int128>(sorted.back())};
    if (!type.held->is_real() && chance(0.5))
      encode(out, sorted);
    else if (is_small && out.form.form == representation::int128)
      out.form.form = representation::int64;
    return out;
  }

  void encode(random_column &of, const std::vector<scalar> &sorted) {
    const bool with_null = of.form.has_nulls && chance(0.7);
    std::vector<std::string> symbols;
    for (const scalar &value : sorted) {
      of.codes[value] = static_cast<uint32_t>(of.codes.size()) + (with_null ? 1 : 0);
      const auto *number = std::get_if<__int128>(&value);
      if (number == nullptr)
        symbols.push_back(std::get<std::string>(value));
      else if (of.type.held->is_wide())
        symbols.emplace_back(wide_key_of(*number).view());
      else
        symbols.emplace_back(key_symbol(of.type.held->kind == value_kind::natural
                                            ? natural_key(static_cast<uint64_t>(*number))
                                            : static_cast<int64_t>(*number))
                                 .bytes());
    }
    const std::vector<std::string_view> views(symbols.begin(), symbols.end());
    of.form.form = representation::codes;
    of.form.entries = std::make_shared<coded_values>(
        std::make_shared<const dictionary>(dictionary::of(std::span<const std::string_view>(views), with_null)),
        *of.type.held);
  }

  static expression made(operation what, std::vector<expression> children, std::string name = {}) {
    expression out;
    out.what = what;
    out.name = std::move(name);
    out.children = std::move(children);
    return out;
  }

  expression constant(const sql_type &type) {
    expression out;
    out.type = type;
    out.value = chance(0.1) ? null : any_value(type, chance(0.7));
    return out;
  }

  expression leaf(const sql_type &type) {
    expression out;
    if (chance(0.25))
      return constant(type);
    out.what = operation::column;
    do
      out.index = below(columns_.size());
    while (columns_[out.index].type.name != type.name);
    return out;
  }

  expression cast_from(const sql_type &from, size_t depth) {
    expression out = made(operation::cast, {any(from, depth)});
    out.may_fail = chance(0.5);
    return out;
  }

  expression inner(const sql_type &type, size_t depth) {
    if (type.held->kind == value_kind::boolean && chance(0.9))
      return condition(depth);
    if (chance(0.15))
      return made(operation::case_when, {any(sql_type("BOOLEAN"), depth), any(type, depth), any(type, depth)});
    if (is_number(type) && chance(0.7))
      return arithmetic(type, depth);
    if (type.held->kind == value_kind::text && chance(0.8))
      switch (below(3)) {
      case 0:
        return made(operation::function, {any(type, depth), number(1 + below(3)), number(below(4))}, "substring");
      case 1:
        return made(operation::function, {any(type, depth)}, "upper");
      default:
        return made(operation::function, {any(type, depth), any(type, depth)}, "||");
      }
    if (type.name == "BIGINT" && chance(0.5))
      return chance(0.5) ? made(operation::function, {any(sql_type("DATE"), depth)}, "year")
                         : made(operation::function, {any(sql_type("DATE"), depth), any(sql_type("DATE"), depth)}, "-");
    if (type.held->kind == value_kind::date || type.held->kind == value_kind::timestamp)
      return cast_from(sql_type(chance(0.5) ? "DATE" : "TIMESTAMP"), depth);
    if (type.held->kind == value_kind::text)
      return made(operation::case_when, {any(sql_type("BOOLEAN"), depth), any(type, 0), any(type, 0)});
    sql_type from = any_type();
    while (!is_number(from) && from.held->kind != value_kind::boolean)
      from = any_type();
    return cast_from(from, depth);
  }

  static expression number(size_t value) {
    expression out;
    out.type = sql_type("BIGINT");
    out.value = static_cast<__int128>(value);
    return out;
  }

  expression arithmetic(const sql_type &type, size_t depth) {
    if (const uint32_t width = width_of(type); width != 0) {
      const uint32_t scale = type.held->scale;
      if (chance(0.4) && width != 18 && width != 38) { // the sum of two numbers with a digit less
        const sql_type part(fmt::format("DECIMAL({},{})", width - 1, scale));
        return made(operation::function, {cast_to(part, depth), cast_to(part, depth)}, chance(0.5) ? "+" : "-");
      }
      if (width == 18 || width == 38) {
        if (chance(0.5))
          return made(operation::function, {any(type, depth), any(type, depth)}, chance(0.5) ? "+" : "-");
        const sql_type a(width == 18 ? "DECIMAL(15,2)" : "DECIMAL(30,1)");
        const sql_type b(fmt::format("DECIMAL(16,{})", scale - a.held->scale));
        return made(operation::function, {cast_to(a, depth), cast_to(b, depth)}, "*");
      }
      return made(operation::function, {any(type, depth)}, "-");
    }
    if (type.held->is_real())
      return made(operation::function, {any(type, depth), any(type, depth)},
                  std::string(1, type.name == "DOUBLE" ? "+-*/%"[below(5)] : "+-*/"[below(4)]));
    if (type.held->is_signed && type.held->kind != value_kind::natural && chance(0.1))
      return made(operation::function, {any(type, depth)}, "-");
    static const char *signs[] = {"+", "-", "*", "//", "%"};
    return made(operation::function, {any(type, depth), any(type, depth)}, signs[below(std::size(signs))]);
  }

  expression cast_to(const sql_type &type, size_t depth) {
    expression out = cast_from(any_decimal(), depth);
    out.type = type;
    return out;
  }
  sql_type any_decimal() {
    static const char *names[] = {"DECIMAL(4,1)", "DECIMAL(9,2)", "DECIMAL(15,2)", "INTEGER", "TINYINT"};
    return sql_type(names[below(std::size(names))]);
  }

  expression condition(size_t depth) {
    const sql_type truth("BOOLEAN");
    const sql_type type = any_type();
    switch (below(9)) {
    case 0:
      return made(chance(0.5) ? operation::all_of : operation::any_of, {any(truth, depth), any(truth, depth)});
    case 1:
      return made(operation::negation, {any(truth, depth)});
    case 2:
      return made(chance(0.5) ? operation::is_null : operation::is_not_null, {any(type, depth)});
    case 3: {
      expression out = made(chance(0.5) ? operation::in : operation::not_in, {any(type, depth)});
      const bool constants = chance(0.5);
      for (size_t i = chance(0.3) ? 12 : 3; i > 0; --i)
        out.children.push_back(constants ? constant(type) : any(type, chance(0.7) ? 0 : depth));
      return out;
    }
    case 4: {
      static const char *names[] = {"prefix", "suffix", "contains", "~~", "!~~"};
      static const char *patterns[] = {"", "a", "a%b", "%ab%", "a%", "%b", "_b", "%a%b%", "\u00e4%"};
      expression pattern = made(operation::constant, {});
      pattern.type = sql_type("VARCHAR");
      pattern.value = std::string(patterns[below(std::size(patterns))]);
      return made(operation::function, {any(pattern.type, depth), pattern}, names[below(std::size(names))]);
    }
    default:
      return made(static_cast<operation>(static_cast<int>(operation::equal) + static_cast<int>(below(8))),
                  {any(type, depth), any(type, depth)});
    }
  }

  std::mt19937_64 random_;
  std::vector<random_column> columns_;
};

// Types are right only from the root down; texts are written after that.
void finish(expression &e) {
  for (expression &child : e.children)
    finish(child);
  logical::write_sql(e);
}

std::string text_of(const scalar &value) {
  if (const auto *number = std::get_if<__int128>(&value))
    return fmt::format("{}", *number);
  if (const auto *real = std::get_if<double>(&value))
    return fmt::format("{:a}", std::isnan(*real) ? std::abs(*real) : *real);
  return std::holds_alternative<std::string>(value) ? std::get<std::string>(value) : "NULL";
}

void load(duckdb::connection &database, const random_expressions &random) {
  std::string names;
  std::string values;
  for (size_t c = 0; c < random.columns().size(); ++c)
    names += fmt::format(", c{} {}", c, random.columns()[c].type.name);
  for (size_t row = 0; row < random.rows; ++row) {
    values += fmt::format("{}({}", row == 0 ? "" : ", ", row);
    for (const random_column &of : random.columns())
      values += ", " + logical::constant_sql(of.values[row], of.type);
    values += ")";
  }
  database.query("create or replace table t(r integer" + names + ")");
  database.query("insert into t values " + values);
}

TEST(Evaluate, GivesDuckdbsValues) {
  const char *const wanted = std::getenv("VORN_EXPRESSIONS");
  const size_t tables = wanted == nullptr ? 3 : std::strtoul(wanted, nullptr, 10);
  std::map<std::string, size_t> methods;
  duckdb::connection database;
  // Statistics of the table might show that an expression that fails is not needed.
  database.query("set disabled_optimizers = 'statistics_propagation'");
  const vorn_ctx library{};
  sql::duckdb_functions functions(library);
  size_t failed = 0;
  for (size_t seed = 0; seed < tables; ++seed) {
    random_expressions random(seed);
    load(database, random);
    std::vector<layout> layouts;
    for (const random_column &of : random.columns())
      layouts.push_back(of.form);
    for (size_t i = 0; i < 300; ++i) {
      expression what = random.any(random.any_type(), 1 + random.below(3));
      finish(what);
      SCOPED_TRACE(fmt::format("seed {}: {} {}", seed, what.type.name, what.sql));
      std::vector<scalar> expected;
      std::string reason;
      try {
        expected = duckdb_answer(database, "select " + what.sql + " from t", what.type);
      } catch (const error &e) {
        reason = e.what();
      }
      ASSERT_EQ(reason.find("Binder"), reason.npos) << reason;

      arena memory;
      chunk rows(memory, random.rows);
      for (const random_column &of : random.columns())
        rows.add_column(vector_of(of.values, of.form.form, of.codes, memory));
      try {
        const auto bound = exec::bind(what, layouts, functions, random.chance(0.5) ? 0 : 1e9);
        ++methods[bound->method()];
        const vector raw = bound->begin()->run(rows);
        ASSERT_EQ(raw.form, bound->result().form);
        ASSERT_EQ(raw.rows, random.rows);
        const vector made = plain_values(raw, bound->result(), memory);
        ASSERT_EQ(reason, "") << "DuckDB fails";
        ASSERT_EQ(expected.size(), made.rows);
        for (size_t row = 0; row < expected.size(); ++row) {
          const scalar value = value_at(made, row);
          ASSERT_EQ(text_of(value), text_of(expected[row])) << "row " << row << " " << bound->method();
          if (const auto *number = std::get_if<__int128>(&value); number != nullptr && bound->result().bounds) {
            ASSERT_GE(*number, bound->result().bounds->low);
            ASSERT_LE(*number, bound->result().bounds->high);
          }
          ASSERT_TRUE(bound->result().has_nulls || value != null);
        }
      } catch (const error &e) {
        ++failed;
        ASSERT_NE(reason, "") << e.what();
      }
    }
  }
  for (const auto &[method, count] : methods)
    RecordProperty(method.empty() ? "none" : method, static_cast<int>(count));
  RecordProperty("errors", static_cast<int>(failed));
  EXPECT_LT(failed, tables * 300 / 2);
}

expression tested(operation what, expression left, const scalar &right) {
  expression constant;
  constant.type = left.type;
  constant.value = right;
  expression out;
  out.what = what;
  out.type = sql_type("BOOLEAN");
  out.children = {std::move(left), constant};
  finish(out);
  return out;
}

expression made_of(operation what, const std::string &name, expression from, const char *type) {
  expression out;
  out.what = what;
  out.name = name;
  out.type = sql_type(type);
  out.children.push_back(std::move(from));
  finish(out);
  return out;
}

layout plain_layout(const char *type, representation form) {
  layout out;
  out.type = sql_type(type);
  out.form = form;
  return out;
}

// A condition does not see the rows that the one before it has dropped, and fails if it sees them.
TEST(RowCondition, AsksForTheRowsThatAreLeft) {
  const vorn_ctx library{};
  sql::duckdb_functions functions(library);
  const layout layouts[] = {plain_layout("INTEGER", representation::int64)};
  const auto below =
      exec::bind(tested(operation::less, column_of(0, "INTEGER"), __int128{1000}), layouts, functions, 0);
  const auto fails =
      exec::bind(tested(operation::greater,
                        made_of(operation::function, "abs",
                                made_of(operation::cast, "", column_of(0, "INTEGER"), "TINYINT"), "TINYINT"),
                        __int128{1}),
                 layouts, functions, 0);
  const int64_t values[] = {5, 1000, 1, 7, 2000, 100};
  const uint64_t validity = ~uint64_t{8}; // 7 is NULL
  arena memory;
  const auto kept = [&](std::vector<std::shared_ptr<const bound_expression>> conditions) {
    chunk rows(memory, std::size(values));
    rows.add_column(vector(std::span<const int64_t>(values), &validity));
    row_condition all_of(std::move(conditions));
    std::vector<int64_t> out;
    if (all_of.keep(rows))
      out.assign(rows.column(0).int64s().begin(), rows.column(0).int64s().end());
    return out;
  };
  EXPECT_EQ(kept({below, fails}), (std::vector<int64_t>{5, 100}));
  EXPECT_EQ(kept({below, below}), (std::vector<int64_t>{5, 1, 100}));
  EXPECT_THROW(kept({fails, below}), error);
  EXPECT_EQ(kept({exec::bind(tested(operation::less, column_of(0, "INTEGER"), null), layouts, functions, 0)}),
            (std::vector<int64_t>{}));
}

// An expression is evaluated by codes unless it fails for a value of the dictionary, which no row may have.
TEST(Evaluate, GoesByCodesWhereItCan) {
  const vorn_ctx library{};
  sql::duckdb_functions functions(library);
  layout texts = plain_layout("VARCHAR", representation::codes);
  const std::string_view symbols[] = {"1", "22", "x"};
  texts.entries = std::make_shared<coded_values>(
      std::make_shared<const dictionary>(dictionary::of(std::span<const std::string_view>(symbols))), texts.held());
  const auto value_and_method = [&](const expression &what, double rows) {
    const auto bound = exec::bind(what, std::span<const layout>(&texts, 1), functions, rows);
    const uint32_t codes[] = {1};
    arena memory;
    chunk one(memory, 1);
    one.add_column(vector(std::span<const uint32_t>(codes)));
    return text_of(value_at(plain_values(bound->begin()->run(one), bound->result(), memory), 0)) + ", " +
           bound->method();
  };
  expression reversed = made_of(operation::function, "reverse", column_of(0, "VARCHAR"), "VARCHAR");
  EXPECT_EQ(value_and_method(reversed, 100), "22, DuckDB by codes");
  EXPECT_EQ(value_and_method(reversed, 2), "22, DuckDB by rows");
  EXPECT_EQ(value_and_method(made_of(operation::cast, "", column_of(0, "VARCHAR"), "INTEGER"), 100),
            "22, DuckDB by rows");
  EXPECT_EQ(value_and_method(tested(operation::greater, column_of(0, "VARCHAR"), std::string("2")), 2), "1, codes");
  reversed.is_volatile = true;
  EXPECT_EQ(value_and_method(reversed, 100), "22, DuckDB by rows");
}

} // namespace

} // namespace store::exec
