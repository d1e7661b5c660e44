// The parts of a bound expression: a tree of nodes, one for each step of the evaluation.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "store/chunk/chunk.hpp"
#include "store/error.hpp"
#include "store/evaluate/scalar_functions.hpp"

namespace store::exec {

// A chunk holds a value that the store's loops do not compute, such as a sum that leaves its type.  The whole
// expression is then given to scalar_functions for this chunk.
struct left_to_functions : error {
  left_to_functions() : error("a value that the loops do not compute") {}
};

// The evaluation of an expression on one chunk.
struct evaluation {
  chunk &rows;
  // The functions of this thread, by the numbers that nodes got when they were bound.
  std::span<const std::unique_ptr<scalar_function>> functions;

  arena &memory() const { return rows.memory(); }
};

// 64-bit integers that stay codes: the value of a row is values[code].
struct coded_numbers {
  vector codes;
  const int64_t *values;
};

// Threads share nodes.
class node {
public:
  virtual ~node() = default;

  const layout &result() const { return result_; }
  // The values in the layout of the result.
  virtual vector run(evaluation &chunk) const = 0;
  // The same values as codes, if the node has codes.
  virtual std::optional<coded_numbers> run_coded(evaluation &) const { return std::nullopt; }
  // The value of a constant; null for everything else.
  virtual const logical::scalar *constant() const { return nullptr; }
  // Adds the methods by which the node and its children are evaluated.
  virtual void add_methods(std::set<std::string_view> &methods) const = 0;

protected:
  layout result_;
};
using node_ptr = std::shared_ptr<const node>;

// A node with a loop over rows.
class row_node : public node {
public:
  void add_methods(std::set<std::string_view> &methods) const override {
    methods.insert("rows");
    for (const node_ptr &child : children_)
      child->add_methods(methods);
  }

protected:
  explicit row_node(std::vector<node_ptr> children) : children_(std::move(children)) {}

  const node &child(size_t index) const { return *children_[index]; }
  size_t children() const { return children_.size(); }

private:
  std::vector<node_ptr> children_;
};

inline bool fits_int64(__int128 value) {
  return value >= std::numeric_limits<int64_t>::min() && value <= std::numeric_limits<int64_t>::max();
}
inline bool fits_int64(const number_bounds &bounds) { return fits_int64(bounds.low) && fits_int64(bounds.high); }

// The representation of the values of a layout after they are decoded.
inline representation decoded_form(const layout &of) {
  return of.form == representation::codes ? plain_representation(of.held()) : of.form;
}

// Values in another representation.  When 128 bits become 64 bits, all values except those of NULLs must fit.
vector in_form(const vector &from, const layout &of, representation form, arena &memory);

// The values of a child, decoded to a representation.
inline vector values_of(const node &child, representation form, evaluation &chunk) {
  return in_form(child.run(chunk), child.result(), form, chunk.memory());
}

// The layout of booleans.
layout boolean_layout(bool has_nulls);

// The bounds of the integers of a type, or of a layout; nothing for other types.
std::optional<number_bounds> bounds_of(const logical::sql_type &type);
std::optional<number_bounds> bounds_of(const layout &of);
// The digits of a decimal type; nothing for other types.
std::optional<uint32_t> decimal_width(const logical::sql_type &type);

// The bits of the rows that are valid in both; null when all rows are valid in both.
const uint64_t *both_valid(const uint64_t *left, const uint64_t *right, size_t rows, arena &memory);
// A bit for each row: is it true?
void pack_bits(std::span<const int64_t> booleans, std::span<uint64_t> out);

node_ptr make_column(size_t index, const layout &of);
node_ptr make_constant(const logical::scalar &value, const logical::sql_type &type);
// A constant text as a code of a dictionary, or NULL.  The dictionary contains the text.
node_ptr make_code(const logical::scalar &value, const logical::sql_type &type,
                   std::shared_ptr<const coded_values> entries);

// A comparison of two children of one type.  For many rows it prepares a table of the dictionaries.
node_ptr make_comparison(logical::operation what, node_ptr left, node_ptr right, double estimated_rows);

// Booleans.
node_ptr make_all_of(std::vector<node_ptr> children);
node_ptr make_any_of(std::vector<node_ptr> children);
node_ptr make_negation(node_ptr child);
node_ptr make_is_null(node_ptr child, bool inverted);
// Is the value of the first child one of the values of the others?
node_ptr make_in(std::vector<node_ptr> children, bool inverted, double estimated_rows);
// Condition, value, condition, value, ..., and the value without a true condition.
node_ptr make_case(std::vector<node_ptr> children, const logical::sql_type &type);

// These functions return null when the store has no loop for the operation and the types.
node_ptr make_arithmetic(std::string_view sign, std::vector<node_ptr> children, const logical::sql_type &type);
node_ptr make_cast(node_ptr child, const logical::sql_type &type);
node_ptr make_text_function(std::string_view name, std::vector<node_ptr> children, const logical::sql_type &type);

// The first code of a layout whose value is not below a value.  With `after`: the first code whose value is above the
// value.
uint32_t first_code(const layout &of, const logical::scalar &value, bool after);

} // namespace store::exec
