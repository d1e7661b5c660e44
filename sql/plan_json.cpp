#include "sql/plan_json.hpp"

#include <algorithm>
#include <bit>
#include <charconv>
#include <concepts>
#include <map>
#include <type_traits>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "sql/scalar_json.hpp"
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
using logical::scalar;
using logical::sort_key;
using logical::sql_type;
using nlohmann::json;

// The names of the values of an enumeration, in its order.
template <class Kind>
constexpr std::string_view names[] = {""};
template <>
constexpr std::string_view names<plan_kind>[] = {"scan",          "values",    "filter",          "projection", "join",
                                                 "cross_product", "aggregate", "distinct",        "order",      "limit",
                                                 "union_all",     "shared",    "shared_reference"};
template <>
constexpr std::string_view names<join_kind>[] = {"inner", "left", "right", "full", "semi", "anti", "mark", "single"};
template <>
constexpr std::string_view names<aggregate_kind>[] = {"count_rows", "count", "sum", "average", "min", "max", "first"};
template <>
constexpr std::string_view names<operation>[] = {"column",        "constant",          "equal",       "not_equal",
                                                 "less",          "less_equal",        "greater",     "greater_equal",
                                                 "distinct_from", "not_distinct_from", "all_of",      "any_of",
                                                 "negation",      "is_null",           "is_not_null", "in",
                                                 "not_in",        "case_when",         "cast",        "function"};

[[noreturn]] void refuse(std::string_view what) { throw error(fmt::format("not a plan: {}", what)); }

__int128 integer_of(std::string_view text) {
  const bool is_negative = text.starts_with('-');
  unsigned __int128 out = 0;
  for (char c : text.substr(is_negative ? 1 : 0)) {
    if (c < '0' || c > '9')
      refuse(shortened(text) + " is no integer");
    out = out * 10 + static_cast<unsigned>(c - '0');
  }
  return static_cast<__int128>(is_negative ? -out : out);
}

std::string hexadecimal(std::string_view bytes) {
  std::string out;
  for (char c : bytes)
    out += fmt::format("{:02x}", static_cast<unsigned char>(c));
  return out;
}

std::string bytes_of(std::string_view digits) {
  std::string out;
  for (size_t i = 0; i < digits.size(); i += 2) {
    unsigned char byte = 0;
    const std::string_view two = digits.substr(i, 2);
    if (two.size() < 2 || std::from_chars(two.begin(), two.end(), byte, 16).ptr != two.end())
      refuse(shortened(digits) + " are no bytes");
    out += static_cast<char>(byte);
  }
  return out;
}

} // namespace

json scalar_json(const scalar &value) {
  if (const auto *number = std::get_if<__int128>(&value))
    return {{"integer", fmt::format("{}", *number)}};
  if (const auto *real = std::get_if<double>(&value))
    return {{"double", std::bit_cast<uint64_t>(*real)}};
  if (const auto *bytes = std::get_if<std::string>(&value))
    return {{"bytes", hexadecimal(*bytes)}};
  return {};
}

namespace {

// `members` below lists the members of each class once, for the writer and for the reader.
template <class T>
constexpr bool is_list = false;
template <class T>
constexpr bool is_list<std::vector<T>> = true;

class writer {
public:
  template <class T>
  void operator()(const char *name, const T &value) {
    if (json written = to_json(value); !written.is_null())
      out_[name] = std::move(written);
  }
  template <class T>
  static json object(const T &of) {
    writer to;
    members(to, of);
    return std::move(to.out_);
  }

private:
  static json to_json(bool value) { return value ? json(true) : json(); }
  static json to_json(uint64_t value) { return value != 0 ? json(value) : json(); }
  static json to_json(const std::string &value) { return value.empty() ? json() : json(value); }
  static json to_json(const sql_type &value) { return to_json(value.name); }
  static json to_json(const scalar &value) { return scalar_json(value); }
  template <class T>
  static json to_json(const std::optional<T> &value) {
    if constexpr (std::is_arithmetic_v<T>)
      return value ? json(*value) : json(); // also 0
    else
      return value ? to_json(*value) : json();
  }
  template <class T>
  static json to_json(const std::vector<T> &values) {
    if (values.empty())
      return {};
    json out = json::array();
    for (const T &value : values)
      if constexpr (std::is_same_v<T, size_t>)
        out.push_back(value);
      else if constexpr (is_list<T>)
        out.push_back(value.empty() ? json::array() : to_json(value));
      else
        out.push_back(to_json(value));
    return out;
  }
  template <class T>
  static json to_json(const T &value) {
    if constexpr (std::is_enum_v<T>)
      return names<T>[static_cast<size_t>(value)];
    else
      return object(value);
  }

  json out_ = json::object();
};

class reader {
public:
  explicit reader(const json &from) : from_(from) {
    if (!from.is_object())
      refuse("an operator or an expression is an object");
  }
  template <class T>
  void operator()(const char *name, T &value) const {
    if (const auto found = from_.find(name); found != from_.end())
      read(*found, value);
  }
  template <class T>
  static T object(const json &from) {
    T out;
    members(reader(from), out);
    return out;
  }

private:
  static void read(const json &from, bool &to) { to = from.get<bool>(); }
  static void read(const json &from, uint64_t &to) { to = from.get<uint64_t>(); }
  static void read(const json &from, double &to) { to = from.get<double>(); }
  static void read(const json &from, std::string &to) { to = from.get<std::string>(); }
  static void read(const json &from, sql_type &to) { to = sql_type(from.get<std::string>()); }
  static void read(const json &from, scalar &to) {
    if (const auto number = from.find("integer"); number != from.end())
      to = integer_of(number->get_ref<const std::string &>());
    else if (const auto bits = from.find("double"); bits != from.end())
      to = std::bit_cast<double>(bits->get<uint64_t>());
    else
      to = bytes_of(from.at("bytes").get_ref<const std::string &>());
  }
  template <class T>
  static void read(const json &from, std::optional<T> &to) {
    read(from, to.emplace());
  }
  template <class T>
  static void read(const json &from, std::vector<T> &to) {
    for (const json &value : from)
      read(value, to.emplace_back());
  }
  template <class T>
  static void read(const json &from, T &to) {
    if constexpr (std::is_enum_v<T>) {
      const auto &name = from.get_ref<const std::string &>();
      const auto *found = std::ranges::find(names<T>, name);
      if (found == std::end(names<T>))
        refuse(fmt::format("\"{}\" is unknown", shortened(name)));
      to = static_cast<T>(found - std::begin(names<T>));
    } else {
      to = object<T>(from);
    }
  }

  const json &from_;
};

template <class T, class Of>
concept maybe_const = std::same_as<std::remove_const_t<T>, Of>;

void members(auto &&visit, maybe_const<expression> auto &of) {
  visit("operation", of.what);
  visit("type", of.type);
  visit("index", of.index);
  visit("value", of.value);
  visit("name", of.name);
  visit("may_fail", of.may_fail);
  visit("is_volatile", of.is_volatile);
  visit("children", of.children);
  if (of.what == operation::constant && !of.type.held)
    visit("sql", of.sql);
}

void members(auto &&visit, maybe_const<join_condition> auto &of) {
  visit("left", of.left);
  visit("comparison", of.comparison);
  visit("right", of.right);
}

void members(auto &&visit, maybe_const<aggregate> auto &of) {
  visit("aggregate", of.what);
  visit("type", of.type);
  visit("is_distinct", of.is_distinct);
  visit("argument", of.argument);
  visit("condition", of.condition);
  visit("sql", of.sql);
}

void members(auto &&visit, maybe_const<sort_key> auto &of) {
  visit("by", of.by);
  visit("is_descending", of.is_descending);
  visit("nulls_first", of.nulls_first);
}

void members(auto &&visit, maybe_const<plan> auto &of) {
  visit("operator", of.what);
  visit("types", of.types);
  visit("table", of.table);
  visit("table_columns", of.table_columns);
  visit("row_groups", of.row_groups);
  visit("rows", of.rows);
  visit("expressions", of.expressions);
  if (of.what == plan_kind::join)
    visit("join", of.join);
  visit("conditions", of.conditions);
  visit("residual", of.residual);
  visit("groups", of.groups);
  visit("grouping_sets", of.grouping_sets);
  visit("aggregates", of.aggregates);
  visit("keys", of.keys);
  visit("limit", of.limit);
  visit("percent", of.percent);
  visit("offset", of.offset);
  visit("shared_index", of.shared_index);
  visit("children", of.children);
}

void members(auto &&visit, maybe_const<logical::query> auto &of) {
  visit("names", of.names);
  visit("root", of.root);
}

// Writes the texts of expressions, and checks what the operators rely on.
class checker {
public:
  void check(plan &of) {
    const size_t children = children_of(of);
    if (of.children.size() != children)
      refuse(fmt::format("an operator has {} children instead of {}", of.children.size(), children));
    for (size_t i = 0; i < children; ++i) {
      check(of.children[i]);
      if (of.what == plan_kind::shared && i == 0)
        kept_.insert_or_assign(of.shared_index, of.children[0].types);
    }
    const types left = children > 0 ? of.children[0].types : types();
    const types right = children > 1 ? of.children[1].types : types();
    types both = left;
    both.insert(both.end(), right.begin(), right.end());
    check(of.expressions, left);
    check(of.groups, left);
    for (std::vector<expression> &row : of.rows) {
      check(row, {});
      require_types(types_of(row), of.types);
    }
    for (join_condition &c : of.conditions) {
      check(c.left, left);
      check(c.right, right);
      if (!is_comparison(c.comparison))
        refuse("the condition of a join is no comparison");
      require_type(c.right, c.left.type);
    }
    check_condition(of.residual, both);
    for (aggregate &a : of.aggregates)
      check(a, left);
    for (sort_key &key : of.keys)
      check(key.by, left);
    if (of.what == plan_kind::filter)
      for (const expression &e : of.expressions)
        require_type(e, boolean());
    for (const std::vector<size_t> &set : of.grouping_sets)
      for (const size_t group : set)
        if (group >= of.groups.size())
          refuse("a grouping set has a group that is not there");
    if (!of.row_groups.empty() && (of.row_groups.size() != 2 || of.row_groups[0] > of.row_groups[1]))
      refuse("row groups are the first one and the one after the last");
    check_types(of, left, right, both);
  }

private:
  static size_t children_of(const plan &of) {
    switch (of.what) {
    case plan_kind::scan:
    case plan_kind::values:
    case plan_kind::shared_reference:
      return 0;
    case plan_kind::join:
    case plan_kind::cross_product:
    case plan_kind::union_all:
    case plan_kind::shared:
      return 2;
    default:
      return 1;
    }
  }

  using types = std::vector<sql_type>;

  static sql_type boolean() { return sql_type("BOOLEAN"); }
  static types types_of(const std::vector<expression> &of) {
    types out;
    for (const expression &e : of)
      out.push_back(e.type);
    return out;
  }
  static void require_types(const types &of, const types &expected) {
    if (!std::ranges::equal(of, expected, {}, &sql_type::name, &sql_type::name))
      refuse("the columns of an operator have other types than its expressions or children");
  }
  static void require_type(const expression &of, const sql_type &expected) {
    if (of.type.name != expected.name)
      refuse(fmt::format("an expression is a {} instead of a {}", shortened(of.type.name), shortened(expected.name)));
  }

  // The types of an operator follow from its expressions and from its children.
  void check_types(const plan &of, const types &left, const types &right, const types &both) const {
    types expected = left;
    switch (of.what) {
    case plan_kind::scan:
      if (of.table_columns.size() != of.types.size())
        refuse("a scan has another number of columns than types");
      return;
    case plan_kind::values:
      return;
    case plan_kind::projection:
      expected = types_of(of.expressions);
      break;
    case plan_kind::join:
      if (of.join == join_kind::mark)
        expected.push_back(boolean());
      else if (of.join != join_kind::semi && of.join != join_kind::anti)
        expected = both;
      break;
    case plan_kind::cross_product:
      expected = both;
      break;
    case plan_kind::aggregate:
      expected = types_of(of.groups);
      for (const aggregate &a : of.aggregates)
        expected.push_back(a.type);
      break;
    case plan_kind::union_all:
      require_types(right, left);
      break;
    case plan_kind::shared:
      expected = right;
      break;
    case plan_kind::shared_reference: {
      const auto found = kept_.find(of.shared_index);
      if (found == kept_.end())
        refuse("shared rows are read that are not there");
      expected = found->second;
      break;
    }
    default:
      break;
    }
    require_types(of.types, expected);
  }

  static void check(aggregate &of, const types &columns) {
    check(of.argument, columns);
    check_condition(of.condition, columns);
    if (of.argument.has_value() == (of.what == aggregate_kind::count_rows))
      refuse("an aggregate has too few or too many arguments");
    const bool is_sum = of.what == aggregate_kind::sum || of.what == aggregate_kind::average;
    const auto is_number = [](const sql_type &type) { return type.held && type.held->is_numeric(); };
    if (is_sum && !(is_number(of.type) && is_number(of.argument->type)))
      refuse("a sum is no number");
    if (of.argument && !is_sum && of.what != aggregate_kind::count)
      require_type(*of.argument, of.type);
    if ((!of.argument || of.what == aggregate_kind::count) && of.type.name != "BIGINT")
      refuse("a count is no BIGINT");
  }

  static void check_shape(const expression &of) {
    size_t least = 0;
    size_t most = SIZE_MAX;
    switch (of.what) {
    case operation::column:
    case operation::constant:
      most = 0;
      break;
    case operation::negation:
    case operation::is_null:
    case operation::is_not_null:
    case operation::cast:
      least = most = 1;
      break;
    case operation::in:
    case operation::not_in:
      least = 2;
      break;
    case operation::case_when:
      least = 3;
      break;
    case operation::all_of:
    case operation::any_of:
      least = 1;
      break;
    case operation::function:
      break;
    default:
      least = most = 2;
    }
    if (of.children.size() < least || of.children.size() > most)
      refuse("an operation has too few or too many operands");
    if (of.what == operation::constant && of.type.held && !is_of(of.value, *of.type.held))
      refuse(fmt::format("a constant is no {}", shortened(of.type.name)));
    check_operands(of);
    for (const expression &child : of.children)
      check_shape(child);
  }

  static bool is_of(const scalar &value, const column_type &type) {
    if (std::holds_alternative<std::monostate>(value))
      return true;
    return type.is_bytes()  ? std::holds_alternative<std::string>(value)
           : type.is_real() ? std::holds_alternative<double>(value)
                            : std::holds_alternative<__int128>(value);
  }

  static void check_operands(const expression &of) {
    if (is_comparison(of.what) || of.what == operation::in || of.what == operation::not_in)
      for (const expression &child : of.children)
        require_type(child, of.children[0].type);
    if (of.what == operation::all_of || of.what == operation::any_of || of.what == operation::negation)
      for (const expression &child : of.children)
        require_type(child, boolean());
    if (of.what != operation::case_when)
      return;
    if (of.children.size() % 2 == 0)
      refuse("a CASE has no last value");
    for (size_t i = 0; i < of.children.size(); ++i)
      require_type(of.children[i], i % 2 == 0 && i + 1 < of.children.size() ? boolean() : of.type);
  }

  static void check_columns(const expression &of, const types &columns) {
    if (of.what == operation::column) {
      if (of.index >= columns.size())
        refuse(fmt::format("column {} of {}", of.index, columns.size()));
      require_type(of, columns[of.index]);
    }
    for (const expression &child : of.children)
      check_columns(child, columns);
  }

  static void check(expression &of, const types &columns) {
    check_shape(of);
    check_columns(of, columns);
    logical::write_sql(of);
  }
  static void check(std::vector<expression> &list, const types &columns) {
    for (expression &of : list)
      check(of, columns);
  }
  static void check(std::optional<expression> &of, const types &columns) {
    if (of)
      check(*of, columns);
  }
  static void check_condition(std::optional<expression> &of, const types &columns) {
    check(of, columns);
    if (of)
      require_type(*of, boolean());
  }

  std::map<size_t, types> kept_; // of the columns of shared rows
};

} // namespace

std::string plan_text(const logical::query &of) { return writer::object(of).dump(); }

logical::query read_plan_text(std::string_view text) {
  try {
    auto out = reader::object<logical::query>(json::parse(text));
    checker().check(out.root);
    if (out.names.size() != out.root.types.size())
      refuse("another number of names than columns");
    return out;
  } catch (const json::exception &e) {
    refuse(e.what());
  }
}

} // namespace store::sql
