// Makes the nodes of an expression.
#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "store/error.hpp"
#include "store/evaluate/evaluator.hpp"
#include "store/evaluate/node.hpp"

namespace store::exec {

namespace {

using logical::expression;
using logical::operation;

// An expression that is given to scalar_functions.
struct given_expression {
  expression what;
  std::vector<logical::sql_type> inputs;
};

bool reads(const expression &what, size_t column) {
  bool found = false;
  for_each_column(what, [&](size_t index) { found = found || index == column; });
  return found;
}

// The columns that an expression reads, as scalar_functions take them.
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

// A tree of nodes.
class bound_tree final : public bound_expression, public std::enable_shared_from_this<bound_tree> {
public:
  bound_tree(const expression &what, std::span<const layout> columns, scalar_functions &functions, node_ptr root,
             std::vector<given_expression> given)
      : functions_(functions), whole_{what, {}}, given_(std::move(given)), root_(std::move(root)) {
    result_ = root_->result();
    for (const layout &column : columns)
      whole_.inputs.push_back(column.type);
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
    } catch (const left_to_functions &) {
      return run_whole(rows);
    } catch (const error &) {
      return run_whole(rows); // the values that failed may not count, such as those of a CASE that is not taken
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
    return in_form(out, of_->result(), of_->result().form, rows.memory());
  }

  std::shared_ptr<const bound_tree> of_;
  std::vector<std::unique_ptr<scalar_function>> functions_;
  std::unique_ptr<scalar_function> whole_; // made when it is first needed
};

std::unique_ptr<evaluator> bound_tree::begin() const { return std::make_unique<tree_evaluator>(shared_from_this()); }

class binder {
public:
  binder(std::span<const layout> columns, double estimated_rows) : columns_(columns), estimated_rows_(estimated_rows) {}

  node_ptr bind(const expression &what) {
    if (!what.type.held)
      throw error("the type " + what.type.name + " is not stored");
    if (node_ptr made = bound_here(what))
      return made;
    std::vector<logical::sql_type> inputs;
    for (const layout &column : columns_)
      inputs.push_back(column.type);
    given_.push_back({what, std::move(inputs)});
    return std::make_shared<function_node>(what, columns_, given_.size() - 1);
  }
  std::vector<given_expression> &given() { return given_; }

private:
  // Null for an expression that has no loops.
  node_ptr bound_here(const expression &what) {
    switch (what.what) {
    case operation::column:
      return make_column(what.index, columns_[what.index]);
    case operation::constant:
      return make_constant(what.value, what.type);
    case operation::equal:
    case operation::not_equal:
    case operation::less:
    case operation::less_equal:
    case operation::greater:
    case operation::greater_equal:
    case operation::distinct_from:
    case operation::not_distinct_from:
      if (!all_held(what))
        return nullptr;
      return make_comparison(what.what, bind(what.children[0]), bind(what.children[1]));
    default:
      return nullptr;
    }
  }

  static bool all_held(const expression &what) {
    return std::all_of(what.children.begin(), what.children.end(),
                       [](const expression &child) { return child.type.held.has_value(); });
  }

  std::span<const layout> columns_;
  [[maybe_unused]] double estimated_rows_;
  std::vector<given_expression> given_;
};

} // namespace

std::shared_ptr<const bound_expression> bind(const expression &what, std::span<const layout> columns,
                                             scalar_functions &functions, double estimated_rows) {
  binder made(columns, estimated_rows);
  node_ptr root = made.bind(what);
  return std::make_shared<bound_tree>(what, columns, functions, std::move(root), std::move(made.given()));
}

} // namespace store::exec
