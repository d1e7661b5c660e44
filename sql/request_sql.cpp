// A request as a query of DuckDB.
#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "sql/request.hpp"
#include "sql/values.hpp"

namespace store {

namespace {

// An aggregate, and how far sums of doubles may lie from each other when they are added in another order.
struct aggregate_sql {
  std::string value;
  std::string bound; // of a real
};

aggregate_sql sql_of(const asked_aggregate &aggregate, const column_names &names) {
  if (aggregate.what == function::count)
    return {"count(*)", ""};
  const auto operand = [](const asked_operand &o) {
    return fmt::format("{}::DOUBLE", o.constant ? duckdb::quoted_text(o.text) : duckdb::quoted_name(o.text));
  };
  const std::string *plain = aggregate.plain_column();
  const std::string added =
      plain != nullptr ? duckdb::quoted_name(*plain)
                       : fmt::format("({} {} {})", operand(aggregate.left), aggregate.op, operand(aggregate.right));
  const std::string sum = fmt::format("sum({})", added);
  const bool adds_reals = plain == nullptr || names.find(*plain).type->is_real();
  // Each of n - 1 additions, in whatever order, is off by half a unit in the last place of 53 bits at the most; so are
  // a division and the conversion of a decimal number.  The sum of integers is exact before it becomes a double.
  const std::string bound = fmt::format("1.1102230246251565e-16 * {}",
                                        adds_reals ? fmt::format("2 * (count({0}) + 4) * sum(abs({0}::DOUBLE))", added)
                                                   : fmt::format("8 * abs({}::DOUBLE)", sum));
  if (aggregate.what == function::average)
    return {fmt::format("{}::DOUBLE / count({})", sum, added), fmt::format("{} / count({})", bound, added)};
  return adds_reals ? aggregate_sql{sum, bound}
                    : aggregate_sql{fmt::format("{}::{}", sum, sql_type(aggregate.type(names))), ""};
}

// The rows whose point lies in a polygon, as a condition: the edges that a ray from the point towards growing x crosses
// are odd in number.
std::string sql_of(const polygon &area) {
  const std::string x = fmt::format("{}::DOUBLE", duckdb::quoted_name(area.x_column));
  const std::string y = fmt::format("{}::DOUBLE", duckdb::quoted_name(area.y_column));
  std::vector<std::string> crossings;
  for (size_t i = 0; i < area.xs.size(); ++i) {
    const size_t before = (i == 0 ? area.xs.size() : i) - 1;
    const auto real = [](double number) { return fmt::format("'{}'::DOUBLE", number); };
    crossings.push_back(fmt::format("coalesce((({0} < {2}) <> ({0} < {4}) AND "
                                    "(({3} - {1}) * ({0} - {2})) / ({4} - {2}) + {1} > {5})::INTEGER, 0)",
                                    y, real(area.xs[i]), real(area.ys[i]), real(area.xs[before]), real(area.ys[before]),
                                    x));
  }
  return fmt::format("({}) % 2 = 1", fmt::join(crossings, " + "));
}

} // namespace

sql_select request::sql(const column_names &names, bool with_bounds) const {
  sql_select out;
  out.condition = where_sql;
  if (area)
    out.condition = where ? fmt::format("({}) AND {}", where_sql, sql_of(*area)) : sql_of(*area);
  out.is_grouped = is_grouped;
  out.limit = limit;
  for (const std::string &name : columns) {
    const column_type &type = *names.find(name).type;
    const std::string quoted = duckdb::quoted_name(name);
    if (is_grouped)
      out.groups.push_back(quoted);
    // A group of -0 and 0 is shown as one of 0.
    out.values.push_back(is_grouped && type.is_real() ? fmt::format("{}::DOUBLE + 0", quoted) : sql_values(name, type));
  }
  std::vector<std::string> bounds;
  for (const asked_aggregate &a : aggregates) {
    auto [value, bound] = sql_of(a, names);
    out.values.push_back(std::move(value));
    if (!bound.empty())
      bounds.push_back(std::move(bound));
  }
  if (with_bounds)
    out.values.insert(out.values.end(), bounds.begin(), bounds.end());
  for (const asked_order &o : order) {
    const auto shown = headings(names);
    const auto found = std::find_if(shown.begin(), shown.end(), [&](const heading &h) { return h.name == o.by; });
    out.order.push_back((is_grouped ? std::to_string(found - shown.begin() + 1) : duckdb::quoted_name(o.by)) +
                        (o.descending ? " DESC" : ""));
  }
  // What the order leaves open.
  if (is_grouped)
    for (size_t c = 0; c < columns.size(); ++c)
      out.order.push_back(std::to_string(c + 1));
  return out;
}

} // namespace store
