#include "tests/sql/random_query.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include <fmt/format.h>

namespace vorn_test {

namespace {

using role = syntax::role;

constexpr double most_rows = 20'000; // of a join

syntax call(const std::string &name, std::vector<syntax> arguments, std::vector<size_t> may_stand = {}) {
  syntax out(name + "(");
  out.parts = std::move(arguments);
  out.separator = ", ";
  out.end = ")";
  out.may_stand = std::move(may_stand);
  return out;
}

syntax between(syntax left, const std::string &sign, syntax right, bool may_stand = false) {
  syntax out = call("", {std::move(left), std::move(right)});
  out.separator = " " + sign + " ";
  if (may_stand)
    out.may_stand = {0, 1};
  return out;
}

// Columns that an expression may read.
struct scope {
  std::vector<random_column> columns;
  double rows = 1;
  const scope *outer = nullptr; // of the query around a subquery
};

// A query in FROM or at the top, with what others see of it.
struct selection {
  syntax sql;
  std::vector<random_column> columns;
  double rows = 1;
};

class query_maker {
public:
  query_maker(dice &random, std::span<const random_table> tables) : random_(random), tables_(tables) {}

  syntax whole() {
    if (random_.one_in(12))
      return set_operation();
    if (random_.one_in(12))
      return with_common_table();
    return select(2, true).sql;
  }

  random_rows rows_and_condition() {
    scope rows;
    random_rows out;
    out.from = out.other_from = add_source(rows, 1).sql();
    for (uint64_t more = random_.below(3); more > 0; --more) {
      scope right;
      const std::string source = add_source(right, 0).sql();
      const auto both = pair(rows, right);
      if (!both || rows.rows * right.rows / std::max({both->first->distinct, both->second->distinct, 1.0}) > most_rows)
        break;
      const std::string on = fmt::format("{} = {}", both->first->sql, both->second->sql);
      out.from += fmt::format(" JOIN {} ON {}", source, on);
      out.other_from = fmt::format("{} JOIN ({}) ON {}", source, out.other_from, on);
      rows.columns.insert(rows.columns.end(), right.columns.begin(), right.columns.end());
      rows.rows = std::max(rows.rows, right.rows);
    }
    for (uint64_t more = 1 + random_.below(3); more > 0; --more)
      out.columns += fmt::format("{}{}", out.columns.empty() ? "" : ", ", expression_item(rows, 1).sql.sql());
    out.condition = condition(rows, 2).sql();
    return out;
  }

private:
  // Expressions.

  const random_column &any(const scope &in) { return in.columns[random_.below(in.columns.size())]; }
  template <class Test>
  const random_column *one(const scope &in, const Test &test) {
    std::vector<const random_column *> fitting;
    for (const random_column &c : in.columns)
      if (test(c))
        fitting.push_back(&c);
    return fitting.empty() ? nullptr : random_.of(fitting);
  }
  const random_column *one_of_family(const scope &in, family of) {
    return one(in, [&](const random_column &c) { return c.of == of; });
  }

  syntax constant(family of, const random_column *like = nullptr) {
    if (random_.one_in(25))
      return "NULL";
    if (like != nullptr && !like->constants.empty())
      return random_.of(like->constants);
    switch (of) {
    case family::boolean:
      return random_.of({"true", "false"});
    case family::number:
      return random_.of({"0", "1", "2", "-3", "10", "0.5", "1.25"});
    case family::real:
      return random_.of({"0::DOUBLE", "1.5::DOUBLE", "'nan'::DOUBLE", "-2::DOUBLE"});
    case family::text:
      return random_.of({"''", "'a'", "'AIR'", "'x1'"});
    case family::blob:
      return random_.of({"''::BLOB", "'b7'::BLOB"});
    case family::day:
      return random_.of({"DATE '1970-01-01'", "DATE '1995-03-15'"});
    case family::clock:
      return "TIME '10:20:30'";
    case family::moment:
      return random_.of({"TIMESTAMP '1970-01-01'", "TIMESTAMP '1969-12-31 12:34:56.789'"});
    case family::nano:
      return "TIMESTAMP_NS '1970-01-01 00:00:01'";
    case family::instant:
      return "TIMESTAMPTZ '1970-01-01 00:00:00+00'";
    case family::id:
      return "md5('7')::UUID";
    }
    return "NULL";
  }

  syntax leaf(const scope &in, family of) {
    const random_column *c = one_of_family(in, of);
    return c == nullptr ? constant(of) : syntax(c->sql);
  }

  syntax small_number(const scope &in) {
    const random_column *c = one(in, [](const random_column &of) { return of.of == family::number && of.is_small; });
    return c == nullptr || random_.one_in(4) ? syntax(random_.of({"1", "2", "-3", "0.5", "1.25"})) : syntax(c->sql);
  }

  syntax case_of(const scope &in, family of, uint64_t depth) {
    std::vector<syntax> branches;
    for (uint64_t more = 1 + random_.below(2); more > 0; --more)
      branches.push_back({" WHEN ", condition(in, depth - 1), " THEN ", value(in, of, depth - 1)});
    syntax otherwise = syntax{" ELSE ", value(in, of, depth - 1)}.optional();
    return syntax{"CASE", syntax::list(std::move(branches), ""), std::move(otherwise), " END"};
  }

  // What all types have.
  syntax common(const scope &in, family of, uint64_t depth) {
    switch (random_.below(4)) {
    case 0:
      return call("coalesce", {value(in, of, depth - 1), value(in, of, depth - 1)}, {0, 1});
    case 1:
      return call("nullif", {value(in, of, depth - 1), value(in, of, depth - 1)}, {0, 1});
    case 2:
      // Which zero is greater nobody says.
      if (of != family::real && of != family::boolean)
        return call(random_.of({"greatest", "least"}), {value(in, of, depth - 1), value(in, of, depth - 1)}, {0, 1});
      [[fallthrough]];
    default:
      return case_of(in, of, depth);
    }
  }

  syntax value(const scope &in, family of, uint64_t depth) {
    if (depth == 0 || random_.one_in(3))
      return random_.one_in(8) ? constant(of) : leaf(in, of);
    if (of != family::boolean && random_.one_in(4))
      return common(in, of, depth);
    switch (of) {
    case family::boolean:
      return condition(in, depth);
    case family::number:
      return number(in, depth);
    case family::real:
      return real(in, depth);
    case family::text:
      return text(in, depth);
    case family::day:
      return day(in, depth);
    case family::moment:
      return moment(in, depth);
    default:
      return leaf(in, of);
    }
  }

  syntax number(const scope &in, uint64_t depth) {
    const auto small = [&] { return depth > 1 && random_.one_in(3) ? number(in, 1) : small_number(in); };
    switch (random_.below(14)) {
    case 0:
    case 1:
    case 2:
      return between(small(), random_.of({"+", "-", "*"}), small(), true);
    case 3:
      return between(value(in, family::number, depth - 1), random_.of({"%", "//"}), small_number(in), true);
    case 4:
      return call(random_.of({"-", "abs", "sign"}), {small()}, {0});
    case 5:
      return call(random_.of({"length", "strlen", "ascii", "unicode"}), {value(in, family::text, depth - 1)});
    case 6:
      return call("instr", {value(in, family::text, depth - 1), random_.of({"'a'", "'1'", "' '"})});
    case 7:
      return call(random_.of({"year", "month", "day", "dayofweek", "quarter", "week", "dayofyear"}),
                  {value(in, random_.of({family::day, family::day, family::moment}), depth - 1)});
    case 8:
      return syntax{"extract(", random_.of({"hour", "minute", "epoch", "century", "isoyear"}), " FROM ",
                    leaf(in, family::moment), ")"};
    case 9:
      return between(leaf(in, family::day), "-", leaf(in, family::day));
    case 10:
      return call("date_diff",
                  {random_.of({"'day'", "'month'", "'year'"}), leaf(in, family::day), leaf(in, family::day)});
    case 11:
      return call(random_.of({"round", "floor", "ceil", "trunc"}), {small()}, {0});
    case 12:
      return syntax{random_.of({"TRY_CAST(", "TRY_CAST(", "CAST("}), small(), " AS ",
                    random_.of({"BIGINT", "INTEGER", "SMALLINT", "DECIMAL(12, 3)", "DECIMAL(5, 1)", "UTINYINT"}), ")"};
    default:
      // Numbers at the ends of their types: the result may leave the type.
      return random_.one_in(5) ? between(leaf(in, family::number), random_.of({"+", "-", "*"}), small_number(in), true)
                               : call("length", {leaf(in, family::text)});
    }
  }

  syntax real(const scope &in, uint64_t depth) {
    const auto below = [&] { return value(in, family::real, depth - 1); };
    switch (random_.below(8)) {
    case 0:
    case 1:
      return between(below(), random_.of({"+", "-", "*"}), below(), true);
    case 2: {
      const random_column *by = one(in, [](const random_column &c) { return c.of == family::real && !c.is_any_zero; });
      return between(below(), "/", by == nullptr ? "4::DOUBLE" : by->sql.c_str(), true);
    }
    case 3:
      return between(small_number(in), "/", random_.one_in(2) ? small_number(in) : "7");
    case 4:
      return call("sqrt", {call("abs", {below()}, {0})}, {0});
    case 5:
      return call(random_.of({"-", "abs", "floor", "ceil"}), {below()}, {0});
    case 6:
      return syntax{"CAST(", value(in, family::number, depth - 1), " AS DOUBLE)"};
    default:
      return between(leaf(in, family::real), "*", small_number(in));
    }
  }

  syntax text(const scope &in, uint64_t depth) {
    const auto below = [&] { return value(in, family::text, depth - 1); };
    switch (random_.below(9)) {
    case 0:
      return call(random_.of({"upper", "lower", "trim", "reverse", "md5"}), {below()}, {0});
    case 1:
      return call("substring", {below(), random_.of({"1", "2", "-3"}), random_.of({"1", "2", "5"})}, {0});
    case 2:
      return between(below(), "||", below(), true);
    case 3:
      return call("replace", {below(), random_.of({"'a'", "'1'", "'special'"}), random_.of({"''", "'bb'"})}, {0});
    case 4:
      return call(random_.of({"left", "right"}), {below(), random_.of({"0", "1", "3"})}, {0});
    case 5:
      return call(random_.of({"concat", "concat_ws"}), {random_.of({"'-'", "''"}), below(), below()}, {1, 2});
    case 6: {
      // The text of a zero says which one it is.
      const random_column *c = one(in, [](const random_column &of) { return !of.is_any_zero; });
      return c == nullptr ? leaf(in, family::text) : syntax{"CAST(", c->sql, " AS VARCHAR)"};
    }
    case 7:
      return call("regexp_replace", {below(), random_.of({"'[0-9]+'", "'^.'", "'a|e'"}), "'_'"}, {0});
    default:
      return call("strftime",
                  {leaf(in, random_.of({family::day, family::moment})), random_.of({"'%Y-%m'", "'%a %d'"})});
    }
  }

  syntax day(const scope &in, uint64_t depth) {
    const auto below = [&] { return value(in, family::day, depth - 1); };
    switch (random_.below(4)) {
    case 0:
      return between(leaf(in, family::day), random_.of({"+", "-"}), random_.of({"1", "30", "365"}));
    case 1:
      return syntax{"CAST(", leaf(in, family::moment), " AS DATE)"};
    case 2:
      return syntax{"CAST(date_trunc(", random_.of({"'month'", "'year'", "'week'"}), ", ", leaf(in, family::day),
                    ") AS DATE)"};
    default:
      return call("last_day", {below()}, {0});
    }
  }

  syntax moment(const scope &in, uint64_t depth) {
    switch (random_.below(3)) {
    case 0:
      return between(value(in, family::moment, depth - 1), random_.of({"+", "-"}),
                     random_.of({"INTERVAL 1 MONTH", "INTERVAL 90 DAY", "INTERVAL '36 hours'"}));
    case 1:
      return syntax{"CAST(", leaf(in, random_.of({family::day, family::nano, family::instant})), " AS TIMESTAMP)"};
    default:
      return call("date_trunc", {random_.of({"'hour'", "'day'", "'month'"}), leaf(in, family::moment)});
    }
  }

  // Conditions.

  syntax condition(const scope &in, uint64_t depth) {
    if (depth == 0)
      return predicate(in, 0);
    const uint64_t kind = random_.below(9);
    if (kind < 3) {
      std::vector<syntax> all;
      for (uint64_t more = 2 + random_.below(2); more > 0; --more)
        all.push_back(condition(in, random_.below(depth)));
      syntax out = syntax::list(std::move(all), random_.of({" OR ", " AND "}));
      out.text = "(";
      out.end = ")";
      return out;
    }
    if (kind == 3)
      return call("NOT ", {condition(in, depth - 1)}, {0});
    return predicate(in, depth - 1);
  }

  syntax predicate(const scope &in, uint64_t depth) {
    if (depth > 0 && allows_subqueries_ && random_.one_in(4))
      return subquery_predicate(in, depth);
    const random_column &c = any(in);
    const char *const no = random_.of({"", "", "NOT "});
    const auto low = [&] { return constant(c.of, &c); };
    switch (random_.below(13)) {
    case 0:
    case 1:
    case 2:
      return syntax{c.sql, " ", comparison(), " ", low()};
    case 3:
      return syntax{c.sql, " ", no, "BETWEEN ", low(), " AND ", low()};
    case 4:
      return syntax{c.sql, " ", no, "IN (", syntax::list({low(), low(), low()}, ", "), ")"};
    case 5:
      return syntax{c.sql, " IS ", no, "NULL"};
    case 6:
      if (c.of == family::boolean)
        return syntax{c.sql};
      return syntax{c.sql, " IS ", no, "DISTINCT FROM ", random_.one_in(2) ? low() : leaf(in, c.of)};
    case 7:
    case 8:
      return text_predicate(in, depth);
    case 9:
      return syntax{c.sql, " ", comparison(), " ", leaf(in, c.of)};
    case 10:
      // Different types, which compare as DuckDB casts them.
      return syntax{leaf(in, family::number), " ", comparison(), " ",
                    leaf(in, random_.of({family::number, family::real}))};
    default:
      return syntax{value(in, c.of, depth), " ", comparison(), " ", random_.one_in(2) ? low() : value(in, c.of, depth)};
    }
  }
  const char *comparison() { return random_.of({"=", "<>", "<>", "<", "<=", ">", ">="}); }

  syntax text_predicate(const scope &in, uint64_t depth) {
    const char *const no = random_.of({"", "", "NOT "});
    switch (random_.below(4)) {
    case 0:
    case 1:
      return syntax{value(in, family::text, depth), " ", no, random_.of({"LIKE ", "LIKE ", "ILIKE "}),
                    random_.of({"'a%'", "'%'", "'_'", "'%1%'", "'00_1%'", "''", "'%special%requests%'", "'PROMO%'",
                                "'%AIR'", "'\xC3\xA9_'"})};
    case 2:
      return syntax{no,
                    call(random_.of({"starts_with", "ends_with", "contains"}),
                         {value(in, family::text, depth), random_.of({"'a'", "''", "'AIR'", "'9'", "'more than'"})})};
    default:
      return syntax{no, call("regexp_matches",
                             {value(in, family::text, depth), random_.of({"'^a[0-9]'", "'1.*1'", "'[A-Z]{3}'"})})};
    }
  }

  // A subquery over one table, perhaps about the row of the query around.
  struct inner {
    scope columns;
    syntax from; // with its condition
  };
  inner subquery_rows(const scope &outer, uint64_t depth) {
    inner out;
    out.columns.outer = &outer;
    const random_table &table = tables_[1 + random_.below(tables_.size() - 1)];
    const std::string alias = add_table(out.columns, table);
    std::vector<syntax> all;
    if (!random_.one_in(3))
      if (auto both = pair(outer, out.columns))
        all.push_back({both->second->sql, random_.one_in(8) ? " < " : " = ", both->first->sql});
    const bool could = std::exchange(allows_subqueries_, depth > 1 && random_.one_in(3));
    if (all.empty() || random_.one_in(3))
      all.push_back(condition(out.columns, std::min<uint64_t>(depth, 1)));
    allows_subqueries_ = could;
    out.from = {" FROM " + table.name + " AS " + alias, where(std::move(all))};
    return out;
  }

  syntax where(std::vector<syntax> all) { return syntax{" WHERE ", syntax::list(std::move(all), " AND ")}.optional(); }

  // Columns of two scopes that compare.
  std::optional<std::pair<const random_column *, const random_column *>> pair(const scope &left, const scope &right) {
    const bool is_key = !random_.one_in(3);
    for (int tries = 0; tries < 20; ++tries) {
      const random_column &a = any(left);
      if (a.of == family::boolean || (is_key && tries < 15 && a.key.empty()))
        continue;
      const random_column *b = one(
          right, [&](const random_column &c) { return c.of == a.of && (!is_key || tries >= 15 || c.key == a.key); });
      if (b != nullptr)
        return {{&a, b}};
    }
    return std::nullopt;
  }

  syntax subquery_predicate(const scope &in, uint64_t depth) {
    inner rows = subquery_rows(in, depth);
    const char *const no = random_.of({"", "", "NOT "});
    const auto both = pair(in, rows.columns);
    switch (both ? random_.below(7) : 0) {
    case 0:
    case 1:
    case 2:
      return syntax{no, "EXISTS (SELECT ", random_.of({"*", "1"}), std::move(rows.from), ")"};
    case 3:
    case 4:
      return syntax{both->first->sql, " ", no, "IN (SELECT ", both->second->sql, std::move(rows.from), ")"};
    case 5:
      return syntax{
          both->first->sql,     " ", comparison(), " ", random_.of({"ANY", "ALL"}), " (SELECT ", both->second->sql,
          std::move(rows.from), ")"};
    default:
      return syntax{both->first->sql,  " ", comparison(),         " (SELECT ", random_.of({"min(", "max("}),
                    both->second->sql, ")", std::move(rows.from), ")"};
    }
  }

  // FROM.

  std::string add_table(scope &to, const random_table &table) {
    std::string alias = fmt::format("x{}", aliases_++);
    for (random_column c : table.columns) {
      c.sql = alias + "." + c.sql;
      to.columns.push_back(std::move(c));
    }
    to.rows = table.rows;
    return alias;
  }

  syntax add_source(scope &to, uint64_t depth) {
    if (common_ != nullptr && random_.one_in(2))
      return add_selection(to, *common_, "common");
    if (depth > 0 && random_.one_in(6)) {
      selection below = select(depth - 1, false);
      syntax text{"(", std::move(below.sql), ")"};
      return add_selection(to, below, std::move(text));
    }
    // A long table comes once.
    const bool may_be_long = !uses_long_table_ || tables_[0].rows < 10'000;
    const random_table &table = tables_[may_be_long && random_.one_in(3) ? 0 : random_.below(tables_.size() - 1) + 1];
    uses_long_table_ = uses_long_table_ || &table == &tables_[0];
    const std::string alias = add_table(to, table);
    return table.name + " AS " + alias;
  }
  syntax add_selection(scope &to, const selection &below, syntax text) {
    const std::string alias = fmt::format("x{}", aliases_++);
    for (random_column c : below.columns) {
      c.nulls = 0.5; // perhaps
      c.is_any_zero = c.of == family::real;
      c.sql = alias + "." + c.sql;
      to.columns.push_back(std::move(c));
    }
    to.rows = below.rows;
    return {std::move(text), " AS " + alias};
  }

  // Sources that are joined.  `where` gets the conditions of those that are only listed.
  syntax from(scope &to, std::vector<syntax> &where, uint64_t depth) {
    std::vector<syntax> joined = {add_source(to, depth)};
    for (uint64_t more = random_.of({0U, 0U, 1U, 1U, 1U, 2U, 3U}); more > 0; --more) {
      scope right;
      syntax source = add_source(right, depth);
      std::vector<syntax> on;
      double rows = to.rows * right.rows;
      const bool is_cross = rows <= 20'000 && random_.one_in(6);
      for (uint64_t keys = is_cross ? 0 : random_.of({1U, 1U, 1U, 2U});
           keys > 0 || (rows > most_rows && !is_cross && on.size() < 5); keys -= keys > 0)
        if (const auto both = pair(to, right)) {
          const auto [a, b] = *both;
          const bool takes_nulls = random_.one_in(4);
          on.push_back({a->sql, takes_nulls ? " IS NOT DISTINCT FROM " : " = ", b->sql});
          rows *= 1 / std::max({a->distinct, b->distinct, 1.0}) + (takes_nulls ? a->nulls * b->nulls : 0);
        } else {
          break;
        }
      if (rows > most_rows)
        continue;
      syntax condition = syntax::list(std::move(on), " AND ");
      const bool has_condition = !condition.parts.empty();
      const bool leaves_left = !random_.one_in(5); // else rows of the right side stay alone
      std::string kind =
          random_.of({" JOIN ", " JOIN ", " JOIN ", " LEFT JOIN ", " LEFT JOIN ", " SEMI JOIN ", " ANTI JOIN "});
      if (!leaves_left)
        kind = random_.of({" RIGHT JOIN ", " FULL JOIN "});
      scope both = to;
      both.columns.insert(both.columns.end(), right.columns.begin(), right.columns.end());
      both.rows = std::max({rows, to.rows, right.rows});
      if (!has_condition) {
        joined.push_back(syntax{more > 1 || random_.one_in(2) ? " CROSS JOIN " : ", ", std::move(source)}.optional());
      } else if (more == 1 && random_.one_in(4)) {
        joined.push_back(syntax{", ", std::move(source)}.optional());
        where.push_back(std::move(condition));
      } else {
        if (random_.one_in(4)) {
          const bool could = std::exchange(allows_subqueries_, false);
          condition.parts.push_back(random_.one_in(2) ? predicate(both, 0) : condition_of_two(to, right));
          condition.parts.back().may_go = true;
          allows_subqueries_ = could;
        }
        joined.push_back(syntax{kind, std::move(source), " ON ", std::move(condition)}.optional());
        if (kind == " SEMI JOIN " || kind == " ANTI JOIN ")
          continue;
      }
      const scope *const outer = to.outer;
      to = std::move(both);
      to.outer = outer;
    }
    syntax out = syntax::list(std::move(joined), "");
    out.may_stand.clear();
    out.parts.front().may_go = false;
    return out;
  }
  syntax condition_of_two(const scope &left, const scope &right) {
    const auto both = pair(left, right);
    return both ? syntax{both->first->sql, " ", comparison(), " ", both->second->sql} : syntax("true");
  }

  // SELECT.

  struct item {
    syntax sql;
    random_column column;
    bool is_rounded = false;
  };

  item expression_item(const scope &in, uint64_t depth) {
    const random_column like = in.columns[random_.below(in.columns.size())];
    item out{random_.one_in(2) ? syntax(like.sql) : value(in, like.of, depth), like};
    if (out.sql.text != like.sql || !out.sql.parts.empty()) {
      out.column.is_small = false;
      out.column.distinct = 1;
      out.column.key.clear();
      out.column.sum = summed::never;
    }
    return out;
  }

  item aggregate(const scope &in, bool may_round) {
    item out;
    random_column &c = out.column;
    const std::string distinct = random_.one_in(6) ? "DISTINCT " : "";
    switch (random_.below(8)) {
    case 0:
    case 1:
      out.sql = "count(*)";
      break;
    case 2:
      out.sql = syntax{"count(" + distinct, any(in).sql, ")"};
      break;
    case 3:
    case 4:
    case 5: {
      const bool is_average = random_.one_in(2);
      const random_column *of = one(in, [&](const random_column &some) {
        return (some.of == family::number || some.of == family::real) &&
               (some.sum == summed::exactly || (some.sum == summed::rounded && may_round));
      });
      if (of == nullptr) {
        out.sql = "count(*)";
        break;
      }
      syntax argument = of->sql;
      if (of->is_small && random_.one_in(2)) {
        // The product of a real and of a decimal number is not exact.
        syntax other = of->of == family::real ? syntax("0.5::DOUBLE") : small_number(in);
        argument = random_.one_in(3) ? syntax{"CASE WHEN ", condition(in, 1), " THEN ", of->sql, " ELSE 0 END"}
                                     : between(of->sql, "*", std::move(other), true);
      }
      out.is_rounded = of->sum == summed::rounded;
      out.sql = syntax{(is_average ? "avg(" : "sum(") + distinct, std::move(argument), ")"};
      c.of = is_average || of->of == family::real ? family::real : family::number;
      c.sum = summed::never;
      c.is_any_zero = true;
      break;
    }
    default: {
      const random_column &of = any(in);
      c = of;
      c.is_any_zero = true;
      out.sql = syntax{random_.of({"min(", "max("}), of.sql, ")"};
    }
    }
    if (random_.one_in(8)) {
      const bool could = std::exchange(allows_subqueries_, false);
      out.sql = {std::move(out.sql), syntax{" FILTER (WHERE ", condition(in, 1), ")"}.optional()};
      allows_subqueries_ = could;
    }
    c.sql = out.sql.sql();
    c.constants.resize(std::min<size_t>(c.constants.size(), 3));
    return out;
  }

  // `is_top`: the answer itself, whose values may be rounded.
  selection select(uint64_t depth, bool is_top, const std::vector<family> &wanted = {}) {
    scope in;
    std::vector<syntax> all;
    syntax sources = from(in, all, depth);
    if (in.columns.empty())
      return {"SELECT 1 AS r0", {{.sql = "r0"}}, 1};
    if (!random_.one_in(3))
      all.push_back(condition(in, random_.below(depth + 2)));

    selection out;
    out.rows = in.rows;
    syntax rest;
    syntax having;
    std::vector<item> items;
    const bool is_grouped = wanted.empty() && random_.one_in(2);
    bool is_distinct = !is_grouped && random_.one_in(6);
    if (is_grouped)
      items = grouped_items(in, is_top, rest, having);
    else if (wanted.empty())
      for (uint64_t more = 1 + random_.below(4); more > 0; --more)
        items.push_back(expression_item(in, depth));
    else
      for (const family of : wanted) {
        items.push_back({value(in, of, 1), {.sql = "", .of = of}});
      }
    if (is_top && !is_grouped && allows_subqueries_ && wanted.empty() && random_.one_in(8)) {
      inner rows = subquery_rows(in, 1);
      item next;
      next.sql = {random_.of({"(SELECT count(*)", "(SELECT min("}), ""};
      next.sql = random_.one_in(2)
                     ? syntax{"(SELECT count(*)", std::move(rows.from), ")"}
                     : syntax{"(SELECT max(", rows.columns.columns.front().sql, ")", std::move(rows.from), ")"};
      items.push_back(std::move(next));
    }

    std::vector<syntax> shown, keys;
    for (size_t i = 0; i < items.size(); ++i) {
      item &next = items[i];
      const std::string name = fmt::format("r{}", i);
      shown.push_back(
          syntax{std::move(next.sql), " AS " + name}.as(is_top && next.is_rounded ? role::rounded : role::none, name));
      next.column.sql = name;
      out.columns.push_back(next.column);
    }

    // A limit inside a query takes the same rows only if all columns order them.
    const bool is_limited = wanted.empty() && random_.one_in(is_top ? 4 : 8) && (is_top || !(is_grouped && is_top));
    if (wanted.empty() && ((is_top && random_.one_in(2)) || (!is_top && is_limited)))
      for (uint64_t more = is_top ? 1 + random_.below(3) : items.size(); more > 0; --more) {
        const size_t by = is_top ? random_.below(items.size()) : more - 1;
        if (items[by].is_rounded)
          continue;
        const std::string name = fmt::format("r{}", by);
        keys.push_back(syntax{name, random_.of({"", " DESC"}), random_.of({"", "", " NULLS FIRST", " NULLS LAST"})}.as(
            is_top ? role::order_key : role::none, name));
      }
    syntax order;
    if (!keys.empty())
      order = syntax{" ORDER BY ", syntax::list(std::move(keys), ", ")}.optional();
    syntax limit;
    if (is_limited) {
      syntax offset = random_.one_in(3) ? syntax(fmt::format(" OFFSET {}", random_.below(20))).optional() : syntax();
      limit = syntax{fmt::format(" LIMIT {}", random_.one_in(15) ? 0U : random_.of({1U, 5U, 100U, 5'000U})),
                     std::move(offset)}
                  .optional();
      if (is_top)
        limit = std::move(limit).as(role::limit);
    }
    const bool has_condition = !all.empty();
    out.sql = {"SELECT ",
               is_distinct ? syntax("DISTINCT ").optional() : syntax(),
               syntax::list(std::move(shown), ", "),
               " FROM ",
               std::move(sources),
               has_condition ? where(std::move(all)) : syntax(),
               std::move(rest),
               std::move(having),
               std::move(order),
               std::move(limit)};
    return out;
  }

  std::vector<item> grouped_items(const scope &in, bool is_top, syntax &group_by, syntax &having) {
    std::vector<item> out;
    std::vector<syntax> groups;
    scope made; // groups and aggregates, which stand like columns
    for (uint64_t more = random_.below(4); more > 0; --more) {
      const random_column like = any(in);
      item next{syntax(like.sql), like};
      if (random_.one_in(3))
        if (syntax made_value = value(in, like.of, 1); !made_value.parts.empty()) {
          next.sql = std::move(made_value);
          next.column.is_small = false;
          next.column.key.clear();
          next.column.sum = summed::never;
        }
      next.column.sql = next.sql.sql();
      next.column.is_any_zero = like.of == family::real;
      groups.emplace_back(next.column.sql);
      made.columns.push_back(next.column);
      out.push_back(std::move(next));
    }
    for (uint64_t more = random_.below(4) + (out.empty() ? 1 : 0); more > 0; --more) {
      item next = aggregate(in, is_top);
      if (!next.is_rounded)
        made.columns.push_back(next.column);
      out.push_back(std::move(next));
    }
    if (!groups.empty()) {
      const bool is_set = random_.one_in(12);
      syntax all = syntax::list(std::move(groups), ", ");
      group_by = is_set ? syntax{" GROUP BY ", random_.of({"ROLLUP", "CUBE"}), " (", std::move(all), ")"}
                        : syntax{" GROUP BY ", std::move(all)}.optional();
    }
    if (!made.columns.empty()) {
      const bool could = std::exchange(allows_subqueries_, false);
      if (random_.one_in(4))
        having = syntax{" HAVING ", condition(made, 1)}.optional();
      if (random_.one_in(4)) {
        out.push_back(expression_item(made, 1));
      }
      allows_subqueries_ = could;
    }
    return out;
  }

  syntax set_operation() {
    std::vector<family> wanted;
    for (uint64_t more = 1 + random_.below(3); more > 0; --more)
      wanted.push_back(random_.of({family::number, family::text, family::day, family::moment}));
    return syntax{select(1, false, wanted).sql,
                  random_.of({" UNION ALL ", " UNION ALL ", " UNION ", " EXCEPT ", " INTERSECT "}),
                  select(1, false, wanted).sql}
        .standing({0, 2});
  }

  syntax with_common_table() {
    selection below = select(1, false);
    common_ = &below;
    syntax above = select(1, true).sql;
    common_ = nullptr;
    return syntax{"WITH common AS ", random_.of({"", "MATERIALIZED "}), "(", std::move(below.sql), ") ",
                  std::move(above)};
  }

  dice &random_;
  std::span<const random_table> tables_;
  const selection *common_ = nullptr; // of WITH
  size_t aliases_ = 0;
  bool uses_long_table_ = false;
  bool allows_subqueries_ = true;
};

} // namespace

syntax random_query(dice &random, std::span<const random_table> tables) { return query_maker(random, tables).whole(); }

random_rows random_rows_and_condition(dice &random, std::span<const random_table> tables) {
  return query_maker(random, tables).rows_and_condition();
}

} // namespace vorn_test
