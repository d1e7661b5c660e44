#include "store/operator/build.hpp"

#include <map>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store::exec {

namespace {

using logical::expression;
using logical::plan;
using logical::plan_kind;

void add(column_mask &to, const column_mask &more) {
  for (size_t c = 0; c < more.size(); ++c)
    to[c] = to[c] || more[c];
}

void add_columns(column_mask &to, const expression &of, size_t first = 0) {
  for_each_column(of, [&](size_t index) {
    if (index >= first && index - first < to.size())
      to[index - first] = true;
  });
}

// The conditions of a filter, with what an AND holds as conditions of their own.
void add_conditions(std::vector<expression> &to, const expression &of) {
  if (of.what == logical::operation::all_of)
    for (const expression &part : of.children)
      add_conditions(to, part);
  else
    to.push_back(of);
}

class builder {
public:
  builder(const table_finder &find, scalar_functions &functions) : find_(find), functions_(functions) {}

  relation_ptr run(const plan &root) {
    note_needed(root, column_mask(root.types.size(), true));
    return made(root);
  }

private:
  // Notes which columns of the operators are read above them.
  void note_needed(const plan &of, const column_mask &needed);
  std::vector<column_mask> needed_of_children(const plan &of, const column_mask &needed) const;

  relation_ptr made(const plan &of);
  relation_ptr made_filter(const plan &of);
  relation_ptr made_scan(const plan &of, const column_mask &needed, std::span<const expression> all_of);
  relation_ptr child(const plan &of, size_t index = 0) { return made(of.children[index]); }

  const table_finder &find_;
  scalar_functions &functions_;
  std::unordered_map<const plan *, column_mask> needed_;
  std::map<size_t, column_mask> needed_of_shared_;
  std::map<size_t, std::shared_ptr<shared_rows>> shared_;
};

std::vector<column_mask> builder::needed_of_children(const plan &of, const column_mask &needed) const {
  std::vector<column_mask> out;
  for (const plan &below : of.children)
    out.emplace_back(below.types.size());
  switch (of.what) {
  case plan_kind::filter:
    out[0] = needed;
    for (const expression &e : of.expressions)
      add_columns(out[0], e);
    break;
  case plan_kind::projection:
    for (size_t c = 0; c < needed.size(); ++c)
      if (needed[c])
        add_columns(out[0], of.expressions[c]);
    break;
  case plan_kind::join:
  case plan_kind::cross_product: {
    const size_t left = out[0].size();
    for (size_t c = 0; c < left; ++c)
      out[0][c] = needed[c];
    // Semi, anti and mark joins do not give the columns of their right child.
    if (needed.size() == left + out[1].size())
      for (size_t c = 0; c < out[1].size(); ++c)
        out[1][c] = needed[left + c];
    for (const logical::join_condition &condition : of.conditions) {
      add_columns(out[0], condition.left);
      add_columns(out[1], condition.right);
    }
    if (of.residual) {
      add_columns(out[0], *of.residual);
      add_columns(out[1], *of.residual, left);
    }
    break;
  }
  case plan_kind::aggregate:
    for (const expression &group : of.groups)
      add_columns(out[0], group);
    for (size_t a = 0; a < of.aggregates.size(); ++a)
      if (needed[of.groups.size() + a])
        for (const std::optional<expression> *read : {&of.aggregates[a].argument, &of.aggregates[a].condition})
          if (*read)
            add_columns(out[0], **read);
    break;
  case plan_kind::order:
    out[0] = needed;
    for (const logical::sort_key &key : of.keys)
      add_columns(out[0], key.by);
    break;
  case plan_kind::distinct:
    out[0].assign(out[0].size(), true);
    break;
  case plan_kind::shared:
    out[1] = needed;
    break;
  default:
    for (column_mask &below : out)
      below = needed;
  }
  return out;
}

void builder::note_needed(const plan &of, const column_mask &needed) {
  needed_[&of] = needed;
  std::vector<column_mask> below = needed_of_children(of, needed);
  if (of.what == plan_kind::shared_reference) {
    add(needed_of_shared_.try_emplace(of.shared_index, needed.size()).first->second, needed);
    return;
  }
  // What is kept is read by references in the other child.
  if (of.what == plan_kind::shared) {
    note_needed(of.children[1], below[1]);
    below[0] = needed_of_shared_.try_emplace(of.shared_index, below[0].size()).first->second;
    note_needed(of.children[0], below[0]);
    return;
  }
  for (size_t c = 0; c < of.children.size(); ++c)
    note_needed(of.children[c], below[c]);
}

relation_ptr builder::made_scan(const plan &of, const column_mask &needed, std::span<const expression> all_of) {
  table_part found = find_(of);
  const std::vector<column_info> &known = found.of->columns();
  for (size_t c = 0; c < of.table_columns.size(); ++c)
    if (of.table_columns[c] >= known.size() || known[of.table_columns[c]].sql_type != of.types[c].name)
      throw error(fmt::format("the columns of {} are not those of the plan", shortened(of.table)));
  return make_scan(std::move(found), of.table_columns, needed, all_of, functions_);
}

relation_ptr builder::made_filter(const plan &of) {
  std::vector<expression> all_of;
  const plan *below = &of;
  for (; below->what == plan_kind::filter; below = &below->children.front())
    for (const expression &e : below->expressions)
      add_conditions(all_of, e);
  if (below->what == plan_kind::scan)
    return made_scan(*below, needed_.at(&of), all_of);
  if (all_of.empty())
    return made(*below);
  return make_filter(made(*below), all_of, functions_);
}

relation_ptr builder::made(const plan &of) {
  const column_mask &needed = needed_.at(&of);
  switch (of.what) {
  case plan_kind::scan:
    return made_scan(of, needed, {});
  case plan_kind::values:
    return make_values(of.types, of.rows, functions_);
  case plan_kind::filter:
    return made_filter(of);
  case plan_kind::projection:
    return make_projection(child(of), of.expressions, needed, functions_);
  case plan_kind::join:
  case plan_kind::cross_product: {
    relation_ptr left = child(of, 0);
    relation_ptr right = child(of, 1);
    return make_join(of, std::move(left), std::move(right), needed, functions_);
  }
  case plan_kind::aggregate:
    return make_aggregate(of, child(of), needed, functions_);
  case plan_kind::distinct:
    return make_distinct(child(of));
  case plan_kind::order:
    return make_order(of, child(of), needed, functions_);
  case plan_kind::limit:
    return make_limit(of, child(of), needed);
  case plan_kind::union_all: {
    relation_ptr first = child(of, 0);
    relation_ptr second = child(of, 1);
    return make_union_all(std::move(first), std::move(second), needed);
  }
  case plan_kind::shared:
    shared_[of.shared_index] = make_shared_rows(child(of, 0), needed_.at(&of.children[0]));
    return child(of, 1);
  case plan_kind::shared_reference:
    break;
  }
  return make_shared_reference(shared_.at(of.shared_index));
}

} // namespace

relation_ptr build(const plan &root, const table_finder &find, scalar_functions &functions) {
  return builder(find, functions).run(root);
}

} // namespace store::exec
