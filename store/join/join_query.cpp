#include "store/join/join_query.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"

namespace store {

namespace {

using kind = expression::kind;

// Negations are moved into the parts where a query has them too: whether a part of a condition is false is known from
// other rows than those on which it is not true, since it is neither on NULL.
bool joins_by_and(const expression &e, bool is_false) { return (e.what == kind::all_of) != is_false; }

expression signed_expression(const expression &e, bool is_false) {
  return is_false ? expression{kind::negation, {}, {e}} : e;
}

} // namespace

void check_joinable(const column_info &first, const column_info &second) {
  if (first.type->kind != second.type->kind || first.type->scale != second.type->scale)
    throw error(fmt::format("column '{}' of type {} cannot be joined with '{}' of type {}", shortened(first.name),
                            shortened(first.sql_type), shortened(second.name), shortened(second.sql_type)));
}

join_query::join_query(const join_keys &keys, const expression *asked, const column_map &first,
                       const column_map &second)
    : first_(first), second_(second), first_key_(first_.at(keys.first)), second_key_(second_.at(keys.second)) {
  if (asked != nullptr)
    split(*asked, false);
  // NULL equals nothing.
  for (const bool of_second : {false, true})
    if (const column &key = of_second ? second_key_ : first_key_; key.has_nulls())
      filters_[of_second].push_back({kind::single, {key.name, true, null_test{}}, {}});
}

bool join_query::asks(const expression &e, bool of_second) const {
  if (e.what == kind::single)
    return (of_second ? second_ : first_).contains(e.asked.column);
  return std::any_of(e.parts.begin(), e.parts.end(), [&](const expression &p) { return asks(p, of_second); });
}

void join_query::split(const expression &e, bool is_false) {
  if (e.what == kind::negation)
    split(e.parts.front(), !is_false);
  else if (const bool of_second = asks(e, true); asks(e, false) != of_second)
    filters_[of_second].push_back(signed_expression(e, is_false));
  else if (joins_by_and(e, is_false))
    for (const expression &p : e.parts)
      split(p, is_false);
  else
    mixed_.push_back(bound(e, is_false));
}

join_query::part join_query::bound(const expression &e, bool is_false) {
  if (e.what == kind::negation)
    return bound(e.parts.front(), !is_false);
  part out;
  if (const bool of_second = asks(e, true); asks(e, false) != of_second) {
    out.question = questions_.size();
    questions_.push_back({of_second, query(signed_expression(e, is_false), of_second ? second_ : first_)});
  } else {
    out.what = joins_by_and(e, is_false) ? kind::all_of : kind::any_of;
    for (const expression &p : e.parts)
      out.parts.push_back(bound(p, is_false));
  }
  return out;
}

bool join_query::holds(const part &p, const std::vector<answer> &answers, const joined_row &row) {
  if (p.what == kind::single) {
    const auto &[of_second, rows] = answers[p.question];
    return rows.contains(of_second ? row.second : row.first);
  }
  const auto part_holds = [&](const part &inner) { return holds(inner, answers, row); };
  return p.what == kind::all_of ? std::all_of(p.parts.begin(), p.parts.end(), part_holds)
                                : std::any_of(p.parts.begin(), p.parts.end(), part_holds);
}

std::optional<selection> join_query::filtered(const execution &on, bool of_second) const {
  const std::vector<expression> &all = filters_[of_second];
  std::optional<selection> out;
  if (!all.empty())
    query({kind::all_of, {}, all}, of_second ? second_ : first_).run(on, out.emplace());
  if (narrowed_[of_second])
    out = narrowed_[of_second](out ? &*out : nullptr);
  return out;
}

std::unique_ptr<hash_join> join_query::run(const execution &on, std::span<const output_column> columns,
                                           const join_settings &settings) const {
  join_sides::row_test test;
  if (!mixed_.empty()) {
    std::vector<answer> answers;
    for (const auto &[of_second, asked] : questions_)
      asked.run(on, answers.emplace_back(answer{of_second, {}}).rows);
    test = [parts = mixed_, answers = std::move(answers)](const joined_row &row) {
      return std::all_of(parts.begin(), parts.end(), [&](const part &p) { return holds(p, answers, row); });
    };
  }
  const vorn_ctx &ctx = on.context();
  join_side probed{first_key_, filtered(on, false)};
  const join_side looked_up{second_key_, filtered(on, true)};
  std::vector<const column *> read[2] = {{&first_key_}, {&second_key_}};
  for (const auto &[of, of_second] : columns)
    read[of_second].push_back(of);
  plan_step *const built = on.begin_step("build table of " + second_key_.name, read[true]);
  std::optional<step_timer> timer(built);
  const auto sides =
      std::make_shared<join_sides>(ctx, std::move(probed), looked_up, columns, std::move(test), settings);
  timer.reset();
  if (built != nullptr) {
    for (size_t batch = 0; batch < second_key_.batches.size(); ++batch)
      built->count_batch(batch);
    built->rows_in = looked_up.count();
    built->rows_out = sides->second.table->rows();
    built->bytes += sides->second.table->bytes();
  }
  sides->told = on.begin_step("join by " + first_key_.name, read[false]);
  return std::make_unique<hash_join>(ctx, sides);
}

} // namespace store
