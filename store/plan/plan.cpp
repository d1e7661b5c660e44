#include "store/plan/plan.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "store/plan/grouping.hpp"
#include "store/plan/hashed_groups.hpp"
#include "store/plan/limit.hpp"
#include "store/plan/sort.hpp"
#include "store/plan/spread_rows.hpp"
#include "store/plan/told_rows.hpp"
#include "store/plan/translated_groups.hpp"
#include "store/plan/wide_groups.hpp"

namespace store {

namespace {

class planner {
public:
  planner(const execution &on, const plan_tables &tables, const query_parts &requested, const plan_settings &chosen)
      : run_(on), from_(tables), asked_(requested), settings_(chosen) {}

  std::unique_ptr<row_source> whole() const {
    std::unique_ptr<row_source> out = asked_.is_grouped ? groups() : rows();
    if (asked_.limit)
      out = above("limit", std::move(out),
                  [&](auto below) { return std::make_unique<limited_rows>(std::move(below), *asked_.limit); });
    return out;
  }

private:
  // A step that takes its rows from another one.
  template <class Make>
  std::unique_ptr<row_source> above(const char *name, std::unique_ptr<row_source> below, Make make) const {
    plan_step *const told = run_.begin_step(name);
    if (told == nullptr)
      return make(std::move(below));
    below = std::make_unique<told_rows>(std::move(below), *told, told->rows_in);
    return std::make_unique<told_rows>(make(std::move(below)), *told, told->rows_out);
  }

  std::unique_ptr<row_source> rows() const {
    std::vector<std::string> names = asked_.columns;
    std::vector<sort_key> keys;
    for (const asked_order &o : asked_.order) {
      keys.push_back({place_of(names, o.by), from_.at(o.by).type.kind, o.descending});
      if (keys.back().column == names.size())
        names.push_back(o.by);
    }
    std::unique_ptr<batch_source> taken = source(names);
    std::unique_ptr<row_source> out;
    // To read the rows of one table takes no longer than to keep them.
    if (from_.second != nullptr && run_.threads() > 1)
      out = std::make_unique<spread_rows>(run_, std::move(taken), batches(), names.size());
    else
      out = std::move(taken);
    if (!keys.empty())
      out = above("sort", std::move(out), [&](auto below) {
        return std::make_unique<sorted_rows>(std::move(below), std::move(keys), names.size(), asked_.columns.size());
      });
    return out;
  }

  std::unique_ptr<row_source> groups() const {
    std::vector<number_column> columns;
    std::vector<term> terms;
    std::vector<grouping::aggregate> aggregates;
    const auto operand = [&](const asked_operand &o, bool as_real) -> term::operand {
      if (o.constant)
        return {0, o.constant};
      return {place_in(columns, {&from_.at(o.text), !from_.first.contains(o.text), as_real})};
    };
    for (const asked_aggregate &a : asked_.aggregates)
      if (a.what == function::count)
        aggregates.push_back({});
      else if (const std::string *added = a.plain_column())
        aggregates.push_back({a.what, place_in(terms, {operand(a.left, false)}), from_.at(*added).type.scale});
      else
        aggregates.push_back({a.what, place_in(terms, {operand(a.left, true), a.opcode(), operand(a.right, true)})});
    std::vector<number_form> forms;
    forms.reserve(columns.size());
    for (const number_column &c : columns)
      forms.push_back(form_of(c));
    std::unique_ptr<group_input> taken = input(columns);
    plan_step *const told = run_.begin_step(fmt::format("group by {}", taken->method()), taken->read());
    if (told != nullptr && taken->calls_groupkey())
      told->calls.emplace("vorn_groupkey", "vorn_groupkey");
    const bool in_order = asked_.order.empty() && taken->knows_order();
    auto grouped = std::make_unique<grouping>(run_, std::move(taken), batches(), group_kinds(), std::move(aggregates),
                                              std::move(terms), std::move(forms), in_order, told);
    if (in_order)
      return grouped;
    const size_t shown = asked_.columns.size() + asked_.aggregates.size();
    return above("sort", std::move(grouped), [&](auto below) {
      return std::make_unique<sorted_rows>(std::move(below), group_order(), shown, shown);
    });
  }

  // The order that is asked for, and by the columns of the groups.
  std::vector<sort_key> group_order() const {
    std::vector<std::string> names = asked_.columns;
    std::vector<value_kind> kinds = group_kinds();
    for (const asked_aggregate &a : asked_.aggregates) {
      names.push_back(a.name());
      const std::string *added = a.plain_column();
      kinds.push_back(a.type_of(added != nullptr ? from_.at(*added).type : column_type()).kind);
    }
    std::vector<sort_key> out;
    for (const asked_order &o : asked_.order)
      out.push_back({place_of(names, o.by), kinds[place_of(names, o.by)], o.descending});
    for (size_t c = 0; c < asked_.columns.size(); ++c)
      out.push_back({c, kinds[c]});
    return out;
  }

  std::unique_ptr<group_input> input(const std::vector<number_column> &added) const {
    const std::vector<const column *> grouped_by = columns_of(asked_.columns);
    const vorn_ctx &ctx = run_.context();
    if (from_.second == nullptr && dense_groups::serves(ctx, grouped_by, settings_.dense))
      return std::make_unique<dense_groups>(ctx, from_.first.begin()->second, grouped_by, added, selected(),
                                            settings_.dense);
    if (from_.second == nullptr && wide_groups::serves(grouped_by))
      return std::make_unique<wide_groups>(ctx, grouped_by, added, selected());
    if (from_.second != nullptr)
      if (auto translated =
              translated_groups::made(run_, joined(), from_.outputs(asked_.columns), added, settings_.dense))
        return translated;
    std::vector<std::string> names = asked_.columns;
    for (const number_column &c : added)
      names.push_back(c.of->name);
    return std::make_unique<hashed_groups>(source(names), grouped_by, added);
  }

  // Columns of the rows on which the condition is true.
  std::unique_ptr<batch_source> source(const std::vector<std::string> &names) const {
    if (from_.second != nullptr)
      return joined().run(run_, from_.outputs(names), settings_.join);
    std::vector<const column *> read = columns_of(names);
    std::shared_ptr<const selection> chosen = selected();
    plan_step *const told = run_.begin_step("read rows", read);
    return std::make_unique<table_scan>(run_.context(), read, std::move(chosen), told);
  }

  std::vector<const column *> columns_of(const std::vector<std::string> &names) const {
    std::vector<const column *> out(names.size());
    std::transform(names.begin(), names.end(), out.begin(),
                   [this](const std::string &name) { return &from_.at(name); });
    return out;
  }

  std::vector<value_kind> group_kinds() const {
    std::vector<value_kind> out(asked_.columns.size());
    std::transform(asked_.columns.begin(), asked_.columns.end(), out.begin(),
                   [this](const std::string &name) { return from_.at(name).type.kind; });
    return out;
  }

  join_query joined() const {
    join_query out = from_.joined_by(asked_.where ? &*asked_.where : nullptr);
    if (asked_.area)
      out.narrow(!from_.first.contains(asked_.area->x_column), in_area());
    return out;
  }

  size_t batches() const { return from_.first.begin()->second.batches.size(); }

  // Null for all rows.
  std::shared_ptr<const selection> selected() const {
    std::shared_ptr<selection> out;
    if (asked_.where)
      query(*asked_.where, from_.first).run(run_, *(out = std::make_shared<selection>()));
    if (asked_.area)
      out = std::make_shared<selection>(in_area()(out.get()));
    return out;
  }

  join_query::row_filter in_area() const {
    return [on = run_, &area = *asked_.area, &x = from_.at(asked_.area->x_column),
            &y = from_.at(asked_.area->y_column)](const selection *among) { return inside(on, area, x, y, among); };
  }

  static size_t place_of(const std::vector<std::string> &names, const std::string &name) {
    return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
  }

  // Where something is among others, to which it is added if need be.
  template <class Element>
  static size_t place_in(std::vector<Element> &all, const Element &sought) {
    const auto found = std::find(all.begin(), all.end(), sought);
    const auto place = static_cast<size_t>(found - all.begin());
    if (found == all.end())
      all.push_back(sought);
    return place;
  }

  execution run_;
  const plan_tables &from_;
  const query_parts &asked_;
  const plan_settings &settings_;
};

} // namespace

const column &plan_tables::at(const std::string &name) const {
  const auto found = first.find(name);
  return found != first.end() ? found->second : second->at(name);
}

std::vector<output_column> plan_tables::outputs(std::span<const std::string> names) const {
  std::vector<output_column> out;
  for (const std::string &name : names)
    out.push_back({&at(name), !first.contains(name)});
  return out;
}

std::unique_ptr<row_source> planned(const execution &on, const plan_tables &from, const query_parts &asked,
                                    const plan_settings &settings) {
  return planner(on, from, asked, settings).whole();
}

} // namespace store
