// Makes the nodes of an expression.
#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"
#include "store/evaluate/by_code.hpp"
#include "store/evaluate/evaluator.hpp"
#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

using logical::expression;
using logical::operation;

// An expression that scalar_functions evaluate.
struct given_expression {
  expression what;
  std::vector<logical::sql_type> inputs;
};

std::vector<logical::sql_type> types_of(std::span<const layout> columns) {
  std::vector<logical::sql_type> out(columns.size());
  std::transform(columns.begin(), columns.end(), out.begin(), [](const layout &column) { return column.type; });
  return out;
}

bool reads(const expression &what, size_t column) {
  bool found = false;
  for_each_column(what, [&](size_t index) { found = found || index == column; });
  return found;
}

// The columns that an expression reads, in the form of scalar_functions.
vector run_function(scalar_function &function, std::span<const size_t> columns, std::span<const layout> layouts,
                    chunk &rows) {
  std::vector<vector> inputs(layouts.size());
  for (const size_t index : columns)
    inputs[index] =
        in_form(rows.column(index), layouts[index], plain_representation(layouts[index].held()), rows.memory());
  return function.run(inputs, rows.rows(), rows.memory());
}

// Gives an expression to scalar_functions.
class function_node final : public node {
public:
  function_node(const expression &what, std::span<const layout> columns, size_t number) : number_(number) {
    result_.type = what.type;
    result_.form = plain_representation(*what.type.held);
    result_.bounds = bounds_of(what.type);
    layouts_.assign(columns.begin(), columns.end());
    for (size_t index = 0; index < columns.size(); ++index)
      if (reads(what, index))
        columns_.push_back(index);
  }

  vector run(evaluation &chunk) const override {
    return run_function(*chunk.functions[number_], columns_, layouts_, chunk.rows);
  }
  void add_methods(std::set<std::string_view> &methods) const override { methods.insert("DuckDB by rows"); }

private:
  size_t number_;
  std::vector<size_t> columns_;
  std::vector<layout> layouts_;
};

// Does it contain a cast that gives NULL when scalar_functions report an error?
bool may_fail(const expression &what) {
  return what.may_fail || std::any_of(what.children.begin(), what.children.end(), may_fail);
}

// Plain values as codes of a dictionary that contains all of them.
vector codes_of(const vector &plain, const layout &of, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(plain.rows);
  with_type(plain.form, [&]<class T>(T) {
    using single = std::conditional_t<std::is_same_v<T, std::string_view>, std::string,
                                      std::conditional_t<std::is_same_v<T, double>, double, __int128>>;
    for (size_t row = 0; row < out.size(); ++row)
      out[row] = plain.is_null(row) ? 0 : first_code(of, single(plain.values<T>()[row]), false);
  });
  return vector(out, plain.validity);
}

// A tree of nodes.
class bound_tree final : public bound_expression, public std::enable_shared_from_this<bound_tree> {
public:
  bound_tree(const expression &what, std::span<const layout> columns, scalar_functions &functions, node_ptr root,
             std::vector<given_expression> given)
      : functions_(functions), whole_{what, types_of(columns)}, given_(std::move(given)), root_(std::move(root)) {
    result_ = root_->result();
    result_.has_nulls = result_.has_nulls || may_fail(what);
    layouts_.assign(columns.begin(), columns.end());
  }

  std::string method() const override {
    std::set<std::string_view> methods;
    root_->add_methods(methods);
    return fmt::format("{}", fmt::join(methods, ", "));
  }
  std::unique_ptr<evaluator> begin() const override;

private:
  class tree_evaluator;

  scalar_functions &functions_;
  given_expression whole_;
  std::vector<given_expression> given_;
  std::vector<layout> layouts_;
  node_ptr root_;
};

class bound_tree::tree_evaluator final : public evaluator {
public:
  explicit tree_evaluator(std::shared_ptr<const bound_tree> of) : of_(std::move(of)) {
    for (const given_expression &given : of_->given_)
      functions_.push_back(of_->functions_.bind(given.what, given.inputs));
  }

  vector run(chunk &rows) override {
    try {
      evaluation on_rows{rows, functions_};
      return of_->root_->run(on_rows);
    } catch (const error &) {
      return run_whole(rows); // scalar_functions may have a result for the values that failed, or may not need them
    }
  }

private:
  vector run_whole(chunk &rows) {
    if (!whole_)
      whole_ = of_->functions_.bind(of_->whole_.what, of_->whole_.inputs);
    std::vector<size_t> columns;
    for (size_t index = 0; index < of_->layouts_.size(); ++index)
      if (reads(of_->whole_.what, index))
        columns.push_back(index);
    const vector out = run_function(*whole_, columns, of_->layouts_, rows);
    if (of_->result().form == representation::codes)
      return codes_of(out, of_->result(), rows.memory());
    return in_form(out, of_->result(), of_->result().form, rows.memory());
  }

  std::shared_ptr<const bound_tree> of_;
  std::vector<std::unique_ptr<scalar_function>> functions_;
  std::unique_ptr<scalar_function> whole_; // made when it is first needed
};

std::unique_ptr<evaluator> bound_tree::begin() const { return std::make_unique<tree_evaluator>(shared_from_this()); }

// Functions that have loops, for some types.
bool has_loops(std::string_view function) {
  static constexpr std::string_view names[] = {"+",         "-",        "*",         "/",      "//",          "%",
                                               "~~",        "!~~",      "^@",        "prefix", "starts_with", "suffix",
                                               "ends_with", "contains", "substring", "substr"};
  return std::find(std::begin(names), std::end(names), function) != std::end(names);
}

// The only column that an expression reads.
std::optional<size_t> only_column(const expression &what) {
  std::optional<size_t> only;
  bool several = false;
  for_each_column(what, [&](size_t index) {
    several = several || (only && *only != index);
    only = index;
  });
  return several ? std::nullopt : only;
}

class binder {
public:
  binder(std::span<const layout> columns, scalar_functions &functions, double estimated_rows)
      : columns_(columns), functions_(functions), estimated_rows_(estimated_rows) {}

  node_ptr bind(const expression &what) {
    if (!what.type.held)
      throw error("a value of the type " + what.type.name + " is not held: " + shortened(what.sql));
    if (node_ptr made = bound_by_code(what))
      return made;
    if (node_ptr made = bound_here(what))
      return made;
    if (node_ptr made = bound_by_value(what))
      return made;
    given_.push_back({what, types_of(columns_)});
    return std::make_shared<function_node>(what, columns_, given_.size() - 1);
  }
  std::vector<given_expression> &given() { return given_; }

private:
  std::vector<node_ptr> bind_all(const std::vector<expression> &all) {
    std::vector<node_ptr> out(all.size());
    std::transform(all.begin(), all.end(), out.begin(), [&](const expression &one) { return bind(one); });
    return out;
  }

  node_ptr bound_by_code(const expression &what) {
    const std::optional<size_t> index = only_column(what);
    if (!index || columns_[*index].form != representation::codes || what.what == operation::column ||
        what.what == operation::is_null || what.what == operation::is_not_null)
      return nullptr;
    // A comparison of a column with a constant needs only the dictionary.
    if (is_comparison(what.what) &&
        std::all_of(what.children.begin(), what.children.end(), [](const expression &child) {
          return child.what == operation::column || child.what == operation::constant;
        }))
      return nullptr;
    return by_code(what, *index, static_cast<double>(columns_[*index].entries->codes()));
  }

  // For an expression without a loop, a call for each possible integer is cheaper than a call for each row.
  node_ptr bound_by_value(const expression &what) {
    const std::optional<size_t> index = only_column(what);
    if (!index || columns_[*index].form != representation::int64 || !columns_[*index].bounds)
      return nullptr;
    const number_bounds &bounds = *columns_[*index].bounds;
    constexpr __int128 most = 1 << 20;
    if (bounds.low > bounds.high || !fits_int64(bounds) || bounds.high - bounds.low >= most)
      return nullptr;
    return by_code(what, *index, static_cast<double>(bounds.high - bounds.low + 1));
  }

  node_ptr by_code(const expression &what, size_t index, double values);

  // Null for an expression that has no loop.
  node_ptr bound_here(const expression &what) {
    if (!std::all_of(what.children.begin(), what.children.end(),
                     [](const expression &child) { return child.type.held.has_value(); }))
      return nullptr;
    switch (what.what) {
    case operation::column:
      return make_column(what.index, columns_[what.index]);
    case operation::constant:
      return make_constant(what.value, what.type);
    case operation::all_of:
      return make_all_of(bind_all(what.children));
    case operation::any_of:
      return make_any_of(bind_all(what.children));
    case operation::negation:
      return make_negation(bind(what.children[0]));
    case operation::is_null:
    case operation::is_not_null:
      return make_is_null(bind(what.children[0]), what.what == operation::is_not_null);
    case operation::in:
    case operation::not_in:
      return make_in(bind_all(what.children), what.what == operation::not_in, estimated_rows_);
    case operation::case_when:
      return make_case(bind_all(what.children), what.type);
    case operation::cast:
      return attempt([&] { return make_cast(bind(what.children[0]), what.type); });
    case operation::function:
      if (!has_loops(what.name))
        return nullptr;
      return attempt([&] {
        std::vector<node_ptr> children = bind_all(what.children);
        if (node_ptr made = make_arithmetic(what.name, children, what.type))
          return made;
        return make_text_function(what.name, std::move(children), what.type);
      });
    default:
      return make_comparison(what.what, bind(what.children[0]), bind(what.children[1]), estimated_rows_);
    }
  }

  // Makes a node.  If there is no node, the calls of scalar_functions for its children are dropped.
  template <class Make>
  node_ptr attempt(const Make &make) {
    const size_t before = given_.size();
    node_ptr made = make();
    if (!made)
      given_.erase(given_.begin() + static_cast<std::ptrdiff_t>(before), given_.end());
    return made;
  }

  std::span<const layout> columns_;
  scalar_functions &functions_;
  double estimated_rows_; // none where values of a dictionary are the rows
  std::vector<given_expression> given_;
};

std::shared_ptr<const bound_tree> bind_tree(const expression &what, std::span<const layout> columns,
                                            scalar_functions &functions, double estimated_rows) {
  binder made(columns, functions, estimated_rows);
  node_ptr root = made.bind(what);
  return std::make_shared<bound_tree>(what, columns, functions, std::move(root), std::move(made.given()));
}

node_ptr binder::by_code(const expression &what, size_t index, double values) {
  if (values >= estimated_rows_ || what.is_volatile)
    return nullptr;
  std::vector<layout> plain(columns_.begin(), columns_.end());
  plain[index].form = decoded_form(columns_[index]);
  plain[index].entries = nullptr;
  return make_by_code(make_column(index, columns_[index]), index, columns_.size(),
                      *bind_tree(what, plain, functions_, 0));
}

} // namespace

std::shared_ptr<const bound_expression> bind(const expression &what, std::span<const layout> columns,
                                             scalar_functions &functions, double estimated_rows) {
  return bind_tree(what, columns, functions, estimated_rows);
}

} // namespace store::exec
