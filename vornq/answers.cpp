#include "vornq/answers.hpp"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "store/plan/limit.hpp"

namespace store {

std::vector<answered> answer_all(const session &s) {
  std::vector<answered> out;
  const auto keep = [&](const std::string &question, answer given) {
    out.push_back({question, std::move(given)});
    if (s.as_table())
      print_answer(question, s.from.rows(), out.back().given);
  };
  // A compressed table is there for its times alone.
  std::optional<reference> compressed;
  const auto how = [&] {
    if (s.as_table() && s.checker.has_columns() && !compressed)
      compressed.emplace(s.checker.compressed());
    return s.how(compressed ? &*compressed : nullptr);
  };
  const auto &[choices, conditions, shown, columns] = s.asked;
  // Counts that are neither shown nor compared are of no use.
  if (!s.as_table() && !s.checker.has_columns())
    return out;
  if (shown && shown->is_grouped) {
    keep(described(*shown, s.chosen), measure(how(), s.from.plan(), *shown, s.from.names()));
    return out;
  }
  // To count the rows of a join takes all of them, which a limit is there to spare.  Those in a polygon are others than
  // those of the condition alone.
  if ((s.from.are_joined() && s.chosen.limit) || (shown && shown->area))
    return out;
  for (size_t i = 0; i < conditions.size(); ++i) {
    const condition &c = conditions[i];
    keep(s.chosen.conditions[i], s.from.are_joined() ? measure(how(), s.from.query_for(&c), c.sql)
                                                     : measure(how(), s.from.list().front().columns, c));
  }
  if (s.from.are_joined() && conditions.empty())
    keep(*s.chosen.join, measure(how(), s.from.query_for(nullptr), ""));
  return out;
}

bool show(const session &s) {
  const request &asked = *s.asked.shown;
  const column_names &names = s.from.names();
  const plan_tables from = s.from.plan();
  const execution run(s.library.chosen(), s.threads);
  const std::vector<heading> headings = asked.headings(names);
  row_writer writer(s.chosen.format, headings);
  constexpr uint64_t shown_without_limit = 20; // of a table
  const uint64_t shown = s.as_table() && !s.chosen.limit ? shown_without_limit : std::numeric_limits<uint64_t>::max();
  const auto compare = [&](const request &compared, uint64_t most, const std::function<void(row_block)> &take) {
    std::optional<duckdb::result> expected;
    if (s.checker.has_columns())
      expected = s.checker.answer(compared.sql(names, true));
    return verify_rows(*planned(run, from, compared), headings, std::move(expected), most, take);
  };
  const auto write = [&](row_block block) { writer.write(block); };
  verification rows;
  if (s.checker.has_columns() && asked.has_rounded_order(names))
    rows = compare(asked.comparable(names), 0, write);
  const bool is_order_open = rows.rounded != 0;
  if (is_order_open) {
    rows.count = std::min(rows.count, s.chosen.limit.value_or(rows.count));
    limited_rows first(planned(run, from, asked), shown);
    while (first.next() != 0)
      writer.write(first.rows());
  } else if (rows.agree) {
    rows = compare(asked, shown, write);
  }
  writer.finish();
  if (s.chosen.explain && !asked.is_grouped)
    print_explanation(*explain(s.how(), [&](const execution &on) {
      const auto all = planned(on, from, asked);
      while (all->next() != 0)
        continue;
    }));
  if (s.as_table())
    print_shown(rows, asked.is_grouped ? "groups" : "rows", shown, rows.count == s.chosen.limit,
                s.checker.has_columns(), is_order_open);
  return rows.agree;
}

} // namespace store
