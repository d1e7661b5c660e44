#include "sql/plan_reader.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "sql/json_document.hpp"
#include "store/error.hpp"
#include "store/logical/sql.hpp"

namespace store::sql {

namespace {

using logical::aggregate;
using logical::aggregate_kind;
using logical::expression;
using logical::join_condition;
using logical::join_kind;
using logical::operation;
using logical::plan;
using logical::plan_kind;
using logical::sql_type;
using nlohmann::json;

plan made(plan_kind what, std::vector<sql_type> types) {
  plan out;
  out.what = what;
  out.types = std::move(types);
  return out;
}

plan over(plan_kind what, plan child) {
  plan out = made(what, child.types);
  out.children.push_back(std::move(child));
  return out;
}

plan reference_to(size_t kept, const std::vector<sql_type> &types) {
  plan out = made(plan_kind::shared_reference, types);
  out.shared_index = kept;
  return out;
}

// `rest` with rows that are kept for it.
plan sharing(size_t kept, plan rows, plan rest) {
  plan out = made(plan_kind::shared, rest.types);
  out.shared_index = kept;
  out.children.push_back(std::move(rows));
  out.children.push_back(std::move(rest));
  return out;
}

expression column(size_t index, const sql_type &type) {
  expression out;
  out.what = operation::column;
  out.index = index;
  out.type = type;
  logical::write_sql(out);
  return out;
}

expression constant(logical::scalar value, const sql_type &type) {
  expression out;
  out.what = operation::constant;
  out.value = std::move(value);
  out.type = type;
  logical::write_sql(out);
  return out;
}

plan filtered(plan rows, std::vector<expression> all_of) {
  if (all_of.empty())
    return rows;
  plan out = over(plan_kind::filter, std::move(rows));
  out.expressions = std::move(all_of);
  return out;
}

plan projected(plan rows, std::vector<expression> expressions) {
  plan out = over(plan_kind::projection, std::move(rows));
  out.types.clear();
  for (const expression &e : expressions)
    out.types.push_back(e.type);
  out.expressions = std::move(expressions);
  return out;
}

// Some columns of rows, or all where the list is empty or names just these.
plan some_columns(plan rows, const std::vector<size_t> &kept) {
  std::vector<size_t> all(rows.types.size());
  std::iota(all.begin(), all.end(), size_t{0});
  if (kept.empty() || kept == all)
    return rows;
  std::vector<expression> columns;
  columns.reserve(kept.size());
  for (size_t index : kept)
    columns.push_back(column(index, rows.types.at(index)));
  return projected(std::move(rows), std::move(columns));
}

std::vector<size_t> indexes(const json &from, const char *name) {
  const auto found = from.find(name);
  return found == from.end() || found->is_null() ? std::vector<size_t>() : found->get<std::vector<size_t>>();
}

void append(std::vector<sql_type> &to, const std::vector<sql_type> &from) {
  to.insert(to.end(), from.begin(), from.end());
}

std::vector<sql_type> types_of(const json &list) {
  std::vector<sql_type> out;
  for (const json &type : list) {
    out.push_back(expression_reader::type(type));
    if (!out.back().held)
      throw missing_part{"values of the type " + out.back().name, "", {}};
  }
  return out;
}

expression compared(operation what, expression left, expression right) {
  expression out;
  out.what = what;
  out.type = sql_type("BOOLEAN");
  out.children.push_back(std::move(left));
  out.children.push_back(std::move(right));
  return out;
}

expression all_of(std::vector<expression> parts) {
  if (parts.size() == 1)
    return std::move(parts[0]);
  expression out;
  out.what = operation::all_of;
  out.type = sql_type("BOOLEAN");
  out.children = std::move(parts);
  logical::write_sql(out);
  return out;
}

// Whether an expression reads columns, and all of them in a range.
bool reads_only(const expression &e, size_t first, size_t last) {
  bool any = false;
  bool inside = true;
  logical::for_each_column(e, [&](size_t index) {
    any = true;
    inside = inside && index >= first && index < last;
  });
  return any && inside;
}

// Comparisons of the left side with the right side become conditions of the join, the others its residual condition.
void set_conditions(plan &join, std::vector<expression> parts, size_t left_columns, size_t all_columns) {
  std::vector<expression> rest;
  for (expression &part : parts) {
    const bool is_pair = is_comparison(part.what) && !part.is_volatile;
    const bool straight = is_pair && reads_only(part.children[0], 0, left_columns) &&
                          reads_only(part.children[1], left_columns, all_columns);
    const bool crossed = is_pair && !straight && reads_only(part.children[1], 0, left_columns) &&
                         reads_only(part.children[0], left_columns, all_columns);
    if (!straight && !crossed) {
      rest.push_back(std::move(part));
      continue;
    }
    join_condition condition{std::move(part.children[crossed ? 1 : 0]), crossed ? mirrored(part.what) : part.what,
                             std::move(part.children[crossed ? 0 : 1])};
    logical::move_columns(condition.right, -left_columns); // modulo the numbers of size_t
    join.conditions.push_back(std::move(condition));
  }
  if (!rest.empty())
    join.residual = all_of(std::move(rest));
}

struct join_form {
  join_kind kind;
  bool is_swapped = false; // DuckDB's right child is our left one
};

join_form form_of(const std::string &name) {
  static constexpr std::array<std::pair<std::string_view, join_form>, 10> known{{
      {"INNER", {join_kind::inner}},
      {"LEFT", {join_kind::left}},
      {"RIGHT", {join_kind::right}},
      {"OUTER", {join_kind::full}},
      {"FULL", {join_kind::full}},
      {"SEMI", {join_kind::semi}},
      {"ANTI", {join_kind::anti}},
      {"MARK", {join_kind::mark}},
      {"SINGLE", {join_kind::single}},
      {"RIGHT_SEMI", {join_kind::semi, true}},
  }};
  for (const auto &[text, form] : known)
    if (text == name)
      return form;
  if (name == "RIGHT_ANTI")
    return {join_kind::anti, true};
  throw missing_part{"joins of this kind", name, {}};
}

// The columns that a join gives.
std::vector<sql_type> join_types(join_kind kind, const plan &left, const plan &right) {
  std::vector<sql_type> out = left.types;
  if (kind == join_kind::mark)
    out.emplace_back("BOOLEAN");
  else if (kind != join_kind::semi && kind != join_kind::anti)
    append(out, right.types);
  return out;
}

// The conditions that DuckDB has pushed into a scan, over its columns.  Each is of one column of the table.
class scan_filters {
public:
  scan_filters(const expression_reader &expressions, const std::vector<size_t> &scanned,
               const std::vector<sql_type> &types)
      : expressions_(expressions), scanned_(scanned), types_(types) {}

  std::vector<expression> read(const json &from) const {
    std::vector<expression> out;
    const auto list = from.find("filters");
    if (list == from.end() || list->is_null())
      return out;
    for (const json &filter : *list) {
      const auto found = std::find(scanned_.begin(), scanned_.end(), filter.at("key").get<size_t>());
      if (found == scanned_.end())
        throw missing_part{"conditions on hidden columns", "", {}};
      const auto index = static_cast<size_t>(found - scanned_.begin());
      if (std::optional<expression> e = condition(filter.at("value"), column(index, types_[index])))
        out.push_back(std::move(*e));
    }
    for (expression &e : out)
      logical::write_sql(e);
    return out;
  }

private:
  // Nothing for a condition that the operators above repeat.
  std::optional<expression> condition(const json &from, const expression &of) const {
    const std::string kind = from.at("filter_type").get<std::string>();
    if (kind == "OPTIONAL_FILTER" || kind == "DYNAMIC_FILTER")
      return std::nullopt;
    if (kind == "CONSTANT_COMPARISON")
      return compared(comparison_of(from.at("comparison_type").get<std::string>()), of,
                      expression_reader::constant(from.at("constant")));
    if (kind == "EXPRESSION_FILTER") {
      expression out = expressions_.read(from.at("expr"));
      logical::move_columns(out, of.index); // it calls its column 0
      return out;
    }
    expression out;
    out.type = sql_type("BOOLEAN");
    if (kind == "IS_NULL" || kind == "IS_NOT_NULL") {
      out.what = kind == "IS_NULL" ? operation::is_null : operation::is_not_null;
      out.children.push_back(of);
    } else if (kind == "IN_FILTER") {
      out.what = operation::in;
      out.children.push_back(of);
      for (const json &value : from.at("values"))
        out.children.push_back(expression_reader::constant(value));
    } else if (kind == "CONJUNCTION_AND" || kind == "CONJUNCTION_OR") {
      out.what = kind == "CONJUNCTION_AND" ? operation::all_of : operation::any_of;
      for (const json &child : from.at("child_filters"))
        if (std::optional<expression> e = condition(child, of))
          out.children.push_back(std::move(*e));
        else if (out.what == operation::any_of)
          return std::nullopt;
      if (out.children.empty())
        return std::nullopt;
      if (out.children.size() == 1)
        return std::move(out.children[0]);
    } else {
      throw missing_part{"conditions of this kind in a scan", kind, {}};
    }
    return out;
  }

  const expression_reader &expressions_;
  const std::vector<size_t> &scanned_;
  const std::vector<sql_type> &types_;
};

std::string words(std::string operator_name) {
  operator_name.erase(0, operator_name.starts_with("LOGICAL_") ? 8 : 0);
  for (char &c : operator_name)
    c = c == '_' ? ' ' : static_cast<char>(std::tolower(c));
  return operator_name;
}

// The first place in the text that a part of a plan names, and the function there.
std::optional<uint32_t> first_location(const json &from) {
  if (from.is_object())
    if (const auto here = expression_reader::location(from))
      return here;
  if (from.is_structured())
    for (const auto &item : from.items())
      if (item.key() != "children" || !from.contains("expressions"))
        if (const auto inside = first_location(item.value()))
          return inside;
  return std::nullopt;
}

[[noreturn]] void refuse(const json &from) {
  const std::string name = from.at("type").get<std::string>();
  static constexpr std::array<std::pair<std::string_view, std::string_view>, 7> known{{
      {"LOGICAL_WINDOW", "window functions"},
      {"LOGICAL_RECURSIVE_CTE", "recursive queries"},
      {"LOGICAL_UNNEST", "lists that become rows"},
      {"LOGICAL_SAMPLE", "samples"},
      {"LOGICAL_ASOF_JOIN", "ASOF joins"},
      {"LOGICAL_POSITIONAL_JOIN", "positional joins"},
      {"LOGICAL_PIVOT", "pivots"},
  }};
  std::string function;
  if (const auto expressions = from.find("expressions");
      expressions != from.end() && !expressions->empty() && expressions->at(0).contains("expression_class"))
    if (const json &first = expressions->at(0); is_text(first.at("expression_class"), "BOUND_WINDOW")) {
      function = first.at("type").get<std::string>().substr(std::string_view("WINDOW_").size());
      std::transform(function.begin(), function.end(), function.begin(), [](char c) { return std::tolower(c); });
      if (function == "aggregate")
        function = first.value("name", function);
    }
  for (const auto &[operator_name, text] : known)
    if (operator_name == name)
      throw missing_part{std::string(text), function, first_location(from)};
  throw missing_part{"operators of the kind " + words(name), "", first_location(from)};
}

void require(bool holds) {
  if (!holds)
    throw error("DuckDB's plan contradicts itself");
}

void require_columns(const expression &e, size_t columns) {
  logical::for_each_column(e, [&](size_t index) { require(index < columns); });
}

// Every column that a plan names is there.
void check(const plan &of) {
  for (const plan &child : of.children)
    check(child);
  const size_t below = of.children.empty() ? 0 : of.children[0].types.size();
  for (const expression &e : of.expressions)
    require_columns(e, below);
  for (const expression &e : of.groups)
    require_columns(e, below);
  for (const std::vector<size_t> &set : of.grouping_sets)
    for (const size_t group : set)
      require(group < of.groups.size());
  for (const aggregate &a : of.aggregates) {
    require(a.argument.has_value() != (a.what == aggregate_kind::count_rows));
    for (const std::optional<expression> *e : {&a.argument, &a.condition})
      if (*e)
        require_columns(**e, below);
  }
  for (const logical::sort_key &key : of.keys)
    require_columns(key.by, below);
  for (const std::vector<expression> &row : of.rows) {
    require(row.size() == of.types.size());
    for (const expression &e : row)
      require_columns(e, 0);
  }
  if (of.what == plan_kind::union_all)
    require(of.children[1].types.size() == below);
  if (of.what != plan_kind::join)
    return;
  const size_t right = of.children[1].types.size();
  for (const join_condition &condition : of.conditions) {
    require_columns(condition.left, below);
    require_columns(condition.right, right);
  }
  if (of.residual)
    require_columns(*of.residual, below + right);
}

} // namespace

plan plan_reader::read_whole(const json &from) {
  const auto is_foreign = [](const std::exception &e) {
    return error(fmt::format("DuckDB's plan is of another form than that of version 1.5: {}", e.what()));
  };
  try {
    plan out = read(from.at("plans").at(0));
    check(out);
    return out;
  } catch (const json::exception &e) {
    throw is_foreign(e);
  } catch (const std::logic_error &e) { // a text that is no number, a place that is not there
    throw is_foreign(e);
  }
}

plan plan_reader::read(const json &from) {
  const std::string name = from.at("type").get<std::string>();
  if (name == "LOGICAL_GET")
    return read_scan(from);
  if (name == "LOGICAL_FILTER")
    return read_filter(from);
  if (name == "LOGICAL_PROJECTION")
    return read_projection(from);
  if (name == "LOGICAL_COMPARISON_JOIN")
    return read_comparison_join(from);
  if (name == "LOGICAL_ANY_JOIN")
    return read_any_join(from);
  if (name == "LOGICAL_DELIM_JOIN")
    return read_correlated_join(from);
  if (name == "LOGICAL_DELIM_GET")
    return read_outer_columns();
  if (name == "LOGICAL_CROSS_PRODUCT")
    return read_cross_product(from);
  if (name == "LOGICAL_AGGREGATE_AND_GROUP_BY")
    return read_aggregate(from);
  if (name == "LOGICAL_DISTINCT")
    return read_distinct(from);
  if (name == "LOGICAL_ORDER_BY" || name == "LOGICAL_TOP_N")
    return read_order(from);
  if (name == "LOGICAL_LIMIT")
    return read_limit(from);
  if (name == "LOGICAL_UNION")
    return read_union(from);
  if (name == "LOGICAL_INTERSECT")
    return read_set_operation(from, join_kind::semi);
  if (name == "LOGICAL_EXCEPT")
    return read_set_operation(from, join_kind::anti);
  if (name == "LOGICAL_MATERIALIZED_CTE")
    return read_common_table(from);
  if (name == "LOGICAL_CTE_REF")
    return read_common_reference(from);
  if (name == "LOGICAL_EXPRESSION_GET")
    return read_values(from);
  if (name == "LOGICAL_CHUNK_GET")
    return read_chunk(from);
  if (name == "LOGICAL_EMPTY_RESULT")
    return made(plan_kind::values, types_of(from.at("return_types")));
  if (name == "LOGICAL_DUMMY_SCAN") {
    plan out = made(plan_kind::values, {});
    out.rows.emplace_back();
    return out;
  }
  refuse(from);
}

plan plan_reader::read_child(const json &from, size_t index) { return read(from.at("children").at(index)); }

plan plan_reader::read_scan(const json &from) {
  const std::string function = from.at("name").get<std::string>();
  plan scan = made(plan_kind::scan, {});
  if (function == "vorn_table")
    scan.table = from.at("parameters").at(0).at("value").get<std::string>();
  else if (function == "seq_scan")
    scan.table = from.at("function_data").at("table").get<std::string>();
  else
    throw missing_part{"table functions", function, first_location(from)};
  if (!member(member(from, "extra_info"), "sample_options").is_null())
    throw missing_part{"samples", "", {}};

  const json &types = from.at("returned_types");
  const auto is_held = [&](size_t index) { return expression_reader::type(types.at(index)).held.has_value(); };
  for (const json &read : from.at("column_indexes")) {
    size_t index = read.at("index").get<size_t>();
    if (!member(read, "child_indexes").empty())
      throw missing_part{"parts of a column", from.at("names").at(index).get<std::string>(), {}};
    const std::vector<size_t> passed_on = indexes(from, "projection_ids");
    if (index >= types.size() &&
        std::find(passed_on.begin(), passed_on.end(), scan.table_columns.size()) != passed_on.end())
      throw missing_part{"hidden columns", "rowid", {}};
    // A query that counts rows names a column that it does not read.
    if (index >= types.size() || !is_held(index))
      for (index = 0; index < types.size() && !is_held(index);)
        ++index;
    if (index == types.size())
      throw missing_part{"tables without a column of a type that can be stored", scan.table, {}};
    scan.table_columns.push_back(index);
    scan.types.push_back(expression_reader::type(types.at(index)));
  }
  std::vector<expression> conditions;
  if (const auto filters = from.find("table_filters"); filters != from.end() && !filters->is_null())
    conditions = scan_filters(expressions_, scan.table_columns, scan.types).read(*filters);
  return some_columns(filtered(std::move(scan), std::move(conditions)), indexes(from, "projection_ids"));
}

plan plan_reader::read_values(const json &from) {
  if (!is_text(from.at("children").at(0).at("type"), "LOGICAL_DUMMY_SCAN"))
    throw missing_part{"rows of values that refer to the query around them", "", first_location(from)};
  plan out = made(plan_kind::values, types_of(from.at("expr_types")));
  for (const json &row : from.at("expressions"))
    out.rows.push_back(read_held(row));
  return out;
}

plan plan_reader::read_chunk(const json &from) {
  const json &held = from.at("collection");
  plan out = made(plan_kind::values, types_of(held.at("types")));
  for (const json &column : held.at("values"))
    for (size_t row = 0; row < column.size(); ++row) {
      if (row == out.rows.size())
        out.rows.emplace_back();
      out.rows[row].push_back(expression_reader::constant(column[row]));
    }
  return out;
}

plan plan_reader::read_filter(const json &from) {
  std::vector<expression> conditions;
  for (const json &read : from.at("expressions")) {
    expression e = expressions_.read(read);
    if (e.what == operation::all_of)
      std::move(e.children.begin(), e.children.end(), std::back_inserter(conditions));
    else
      conditions.push_back(std::move(e));
  }
  return some_columns(filtered(read_child(from, 0), std::move(conditions)), indexes(from, "projection_map"));
}

plan plan_reader::read_projection(const json &from) {
  plan rows = read_child(from, 0);
  return projected(std::move(rows), read_held(from.at("expressions")));
}

std::vector<expression> plan_reader::read_held(const json &list) const {
  std::vector<expression> out;
  out.reserve(list.size());
  for (const json &read : list)
    out.push_back(expressions_.read_held(read));
  return out;
}

plan plan_reader::joined(const json &from, plan left, plan right) const {
  const join_form form = form_of(from.at("join_type").get<std::string>());
  plan out = made(plan_kind::join, {});
  out.join = form.kind;
  std::vector<expression> rest;
  for (const json &read : from.at("conditions")) {
    if (!read.contains("left") || read.at("left").is_null())
      throw missing_part{"conditions of joins of this kind", read.begin().key(), first_location(read)};
    out.conditions.push_back({expressions_.read(read.at("left")), comparison_of(read.at("comparison")),
                              expressions_.read(read.at("right"))});
  }
  if (const auto predicate = from.find("predicate"); predicate != from.end() && !predicate->is_null())
    out.residual = expressions_.read(*predicate);
  if (form.is_swapped) {
    if (out.residual)
      throw missing_part{"conditions of joins of this kind", from.at("join_type").get<std::string>(), {}};
    for (join_condition &condition : out.conditions) {
      std::swap(condition.left, condition.right);
      condition.comparison = mirrored(condition.comparison);
    }
    std::swap(left, right);
  }
  out.types = join_types(out.join, left, right);
  // Which columns go on, where DuckDB says it.
  std::vector<size_t> kept = indexes(from, form.is_swapped ? "right_projection_map" : "left_projection_map");
  std::vector<size_t> kept_right = indexes(from, form.is_swapped ? "left_projection_map" : "right_projection_map");
  if (!kept.empty() || !kept_right.empty()) {
    const size_t width = left.types.size();
    if (kept.empty())
      for (size_t i = 0; i < width; ++i)
        kept.push_back(i);
    if (kept_right.empty())
      for (size_t i = width; i < out.types.size(); ++i)
        kept.push_back(i);
    for (size_t index : kept_right)
      if (width + index < out.types.size())
        kept.push_back(width + index);
  }
  out.children.push_back(std::move(left));
  out.children.push_back(std::move(right));
  return some_columns(std::move(out), kept);
}

plan plan_reader::read_comparison_join(const json &from) {
  plan left = read_child(from, 0);
  plan right = read_child(from, 1);
  return joined(from, std::move(left), std::move(right));
}

plan plan_reader::read_any_join(const json &from) {
  const join_form form = form_of(from.at("join_type").get<std::string>());
  plan left = read_child(from, 0);
  plan right = read_child(from, 1);
  if (form.is_swapped)
    throw missing_part{"joins of this kind", from.at("join_type").get<std::string>(), first_location(from)};
  plan out = made(plan_kind::join, join_types(form.kind, left, right));
  out.join = form.kind;
  expression condition = expressions_.read(from.at("condition"));
  const size_t width = left.types.size() + right.types.size();
  std::vector<expression> parts;
  if (condition.what == operation::all_of)
    parts = std::move(condition.children);
  else
    parts.push_back(std::move(condition));
  set_conditions(out, std::move(parts), left.types.size(), width);
  out.children.push_back(std::move(left));
  out.children.push_back(std::move(right));
  return out;
}

plan plan_reader::read_correlated_join(const json &from) {
  if (from.value("delim_flipped", false))
    throw missing_part{"subqueries whose sides are swapped", "", first_location(from)};
  plan outer = read_child(from, 0);
  const size_t kept = shared_++;
  around_.push_back({kept, outer.types, read_held(from.at("duplicate_eliminated_columns"))});
  plan inner = read_child(from, 1);
  around_.pop_back();
  plan rest = joined(from, reference_to(kept, outer.types), std::move(inner));
  return sharing(kept, std::move(outer), std::move(rest));
}

plan plan_reader::read_outer_columns() {
  require(!around_.empty());
  const outer_columns &of = around_.back();
  return over(plan_kind::distinct, projected(reference_to(of.kept, of.types), of.read));
}

plan plan_reader::read_cross_product(const json &from) {
  plan left = read_child(from, 0);
  plan right = read_child(from, 1);
  plan out = made(plan_kind::cross_product, join_types(join_kind::inner, left, right));
  out.children.push_back(std::move(left));
  out.children.push_back(std::move(right));
  return out;
}

aggregate plan_reader::read_aggregate_function(const json &from) const {
  static constexpr std::array<std::pair<std::string_view, aggregate_kind>, 12> known{{
      {"count_star", aggregate_kind::count_rows},
      {"count", aggregate_kind::count},
      {"sum", aggregate_kind::sum},
      {"avg", aggregate_kind::average},
      {"mean", aggregate_kind::average},
      {"min", aggregate_kind::min},
      {"max", aggregate_kind::max},
      {"bool_and", aggregate_kind::min},
      {"bool_or", aggregate_kind::max},
      {"first", aggregate_kind::first},
      {"arbitrary", aggregate_kind::first},
      {"any_value", aggregate_kind::first},
  }};
  if (!is_text(from.at("expression_class"), "BOUND_AGGREGATE"))
    throw missing_part{"aggregates of this kind", from.value("name", ""), expression_reader::location(from)};
  const std::string name = from.at("name").get<std::string>();
  const auto found = std::find_if(known.begin(), known.end(), [&](const auto &pair) { return pair.first == name; });
  const json &arguments = from.at("children");
  if (found == known.end() || arguments.size() > 1)
    throw missing_part{"aggregates of this kind", name, expression_reader::location(from)};

  aggregate out;
  out.what = found->second;
  out.type = expression_reader::type(from.at("return_type"));
  if (!out.type.held)
    throw missing_part{"values of the type " + out.type.name, name, expression_reader::location(from)};
  out.is_distinct = from.value("aggregate_type", "") == "DISTINCT";
  if (!arguments.empty())
    out.argument = expressions_.read_held(arguments.at(0));
  if (const auto filter = from.find("filter"); filter != from.end() && !filter->is_null())
    out.condition = expressions_.read(*filter);
  const bool is_first = out.what == aggregate_kind::first;
  if (const auto order = from.find("order_bys"); is_first && order != from.end() && !order->is_null())
    throw missing_part{"aggregates with an order", name, expression_reader::location(from)};
  // Repetitions change none of these.
  if (is_first || out.what == aggregate_kind::min || out.what == aggregate_kind::max)
    out.is_distinct = false;

  out.sql = fmt::format("{}({}{})", name == "count_star" ? "count" : name, out.is_distinct ? "DISTINCT " : "",
                        out.argument ? out.argument->sql : "*");
  if (out.condition)
    out.sql += fmt::format(" FILTER (WHERE {})", out.condition->sql);
  if (name == "any_value") {
    expression is_there;
    is_there.what = operation::is_not_null;
    is_there.type = sql_type("BOOLEAN");
    is_there.children.push_back(*out.argument);
    logical::write_sql(is_there);
    std::vector<expression> both;
    if (out.condition)
      both.push_back(std::move(*out.condition));
    both.push_back(std::move(is_there));
    out.condition = all_of(std::move(both));
  }
  return out;
}

plan plan_reader::read_aggregate(const json &from) {
  plan out = over(plan_kind::aggregate, read_child(from, 0));
  out.types.clear();
  out.groups = read_held(from.at("groups"));
  for (const expression &group : out.groups)
    out.types.push_back(group.type);
  for (const json &read : from.at("expressions")) {
    out.aggregates.push_back(read_aggregate_function(read));
    out.types.push_back(out.aggregates.back().type);
  }
  for (const json &set : from.at("grouping_sets"))
    out.grouping_sets.push_back(set.get<std::vector<size_t>>());
  if (out.grouping_sets.size() == 1 && out.grouping_sets[0].size() == out.groups.size())
    out.grouping_sets.clear();
  const auto functions = from.value("grouping_functions", std::vector<std::vector<size_t>>());
  return functions.empty() ? std::move(out) : with_grouping_functions(std::move(out), functions);
}

// Each grouping set becomes an aggregate of its own, over rows that are kept, in which grouping(...) is a constant.
plan plan_reader::with_grouping_functions(plan sets, const std::vector<std::vector<size_t>> &functions) {
  const size_t kept = shared_++;
  plan rows = std::move(sets.children[0]);
  std::vector<std::vector<size_t>> groups_of_sets = std::move(sets.grouping_sets);
  if (groups_of_sets.empty()) {
    groups_of_sets.emplace_back(sets.groups.size());
    std::iota(groups_of_sets[0].begin(), groups_of_sets[0].end(), size_t{0});
  }
  std::optional<plan> all;
  for (const std::vector<size_t> &set : groups_of_sets) {
    plan one = made(plan_kind::aggregate, {});
    one.children.push_back(reference_to(kept, rows.types));
    one.aggregates = sets.aggregates;
    for (const size_t group : set) {
      one.groups.push_back(sets.groups.at(group));
      one.types.push_back(one.groups.back().type);
    }
    std::vector<expression> shown;
    for (size_t group = 0; group < sets.groups.size(); ++group) {
      const auto found = std::find(set.begin(), set.end(), group);
      shown.push_back(found == set.end() ? constant(std::monostate(), sets.groups[group].type)
                                         : column(static_cast<size_t>(found - set.begin()), sets.groups[group].type));
    }
    for (const aggregate &a : one.aggregates) {
      shown.push_back(column(one.types.size(), a.type));
      one.types.push_back(a.type);
    }
    // A bit for each argument, the last one the lowest: whether the set leaves the group out.
    for (const std::vector<size_t> &arguments : functions) {
      __int128 bits = 0;
      for (const size_t group : arguments)
        bits = bits << 1 | (std::find(set.begin(), set.end(), group) == set.end() ? 1 : 0);
      shown.push_back(constant(bits, sql_type("BIGINT")));
    }
    one = projected(std::move(one), std::move(shown));
    if (!all) {
      all = std::move(one);
      continue;
    }
    plan both = over(plan_kind::union_all, std::move(*all));
    both.children.push_back(std::move(one));
    all = std::move(both);
  }
  return sharing(kept, std::move(rows), std::move(*all));
}

plan plan_reader::read_distinct(const json &from) {
  plan rows = read_child(from, 0);
  if (is_text(from.at("distinct_type"), "DISTINCT"))
    return over(plan_kind::distinct, std::move(rows));
  // DISTINCT ON: the first row of each group.
  if (const auto order = from.find("order_by"); order != from.end() && !order->is_null())
    rows = ordered(std::move(rows), order->at("orders"));
  plan firsts = made(plan_kind::aggregate, {});
  firsts.groups = read_held(from.at("distinct_targets"));
  for (const expression &group : firsts.groups)
    firsts.types.push_back(group.type);
  std::vector<size_t> shown;
  for (size_t c = 0; c < rows.types.size(); ++c) {
    aggregate first;
    first.what = aggregate_kind::first;
    first.type = rows.types[c];
    first.argument = column(c, rows.types[c]);
    first.sql = fmt::format("first({})", first.argument->sql);
    shown.push_back(firsts.types.size());
    firsts.types.push_back(first.type);
    firsts.aggregates.push_back(std::move(first));
  }
  firsts.children.push_back(std::move(rows));
  return some_columns(std::move(firsts), shown);
}

plan plan_reader::ordered(plan rows, const json &orders) const {
  plan out = over(plan_kind::order, std::move(rows));
  for (const json &key : orders)
    out.keys.push_back({expressions_.read_held(key.at("expression")), is_text(key.at("type"), "DESCENDING"),
                        is_text(key.at("null_order"), "NULLS FIRST")});
  return out;
}

plan plan_reader::read_order(const json &from) {
  plan out = ordered(read_child(from, 0), from.at("orders"));
  if (is_text(from.at("type"), "LOGICAL_TOP_N")) {
    out.limit = from.at("limit").get<uint64_t>();
    out.offset = from.value("offset", uint64_t{0});
  }
  return some_columns(std::move(out), indexes(from, "projections"));
}

plan plan_reader::read_limit(const json &from) {
  plan out = over(plan_kind::limit, read_child(from, 0));
  if (const json &first = from.at("limit_val"); is_text(first.at("type"), "CONSTANT_PERCENTAGE")) {
    out.percent = first.at("constant_percentage").get<double>();
    if (!(*out.percent >= 0 && *out.percent <= 100))
      throw error(fmt::format("a limit of {} % is not between 0 and 100", *out.percent));
  }
  const auto bound = [&](const char *name) -> std::optional<uint64_t> {
    const json &value = from.at(name);
    const std::string kind = value.at("type").get<std::string>();
    if (kind == "UNSET")
      return std::nullopt;
    if (kind != "CONSTANT_VALUE")
      throw missing_part{"limits that are not constant", "", {}};
    return value.at("constant_integer").get<uint64_t>();
  };
  if (!out.percent)
    out.limit = bound("limit_val");
  out.offset = bound("offset_val").value_or(0);
  return out;
}

plan plan_reader::read_union(const json &from) {
  plan out = read_child(from, 0);
  for (size_t i = 1; i < from.at("children").size(); ++i) {
    plan both = over(plan_kind::union_all, std::move(out));
    both.children.push_back(read_child(from, i));
    out = std::move(both);
  }
  return out;
}

plan plan_reader::read_set_operation(const json &from, join_kind kind) {
  // DuckDB removes repetitions above this, where ALL does not ask for them.
  if (from.value("setop_all", true))
    throw missing_part{kind == join_kind::semi ? "INTERSECT ALL" : "EXCEPT ALL", "", first_location(from)};
  plan left = read_child(from, 0);
  plan right = read_child(from, 1);
  plan out = made(plan_kind::join, left.types);
  out.join = kind;
  require(left.types.size() == right.types.size());
  for (size_t i = 0; i < left.types.size(); ++i)
    out.conditions.push_back({column(i, left.types[i]), operation::not_distinct_from, column(i, right.types[i])});
  out.children.push_back(std::move(left));
  out.children.push_back(std::move(right));
  return out;
}

plan plan_reader::read_common_table(const json &from) {
  plan rows = read_child(from, 0);
  const size_t kept = shared_++;
  common_[from.at("table_index").get<size_t>()] = {kept, rows.types};
  plan rest = read_child(from, 1);
  return sharing(kept, std::move(rows), std::move(rest));
}

plan plan_reader::read_common_reference(const json &from) {
  const auto found = common_.find(from.at("cte_index").get<size_t>());
  if (found == common_.end())
    throw missing_part{"recursive queries", "", first_location(from)};
  return reference_to(found->second.kept, found->second.types);
}

} // namespace store::sql
