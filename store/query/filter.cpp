#include "store/query/filter.hpp"

#include <algorithm>
#include <memory>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/query/batch_scan.hpp"

namespace store {

void filter(const execution &run, const column &on, const ordinal_test &test, const selection *among, selection &out) {
  out.resize(on.rows);
  plan_step *const told = run.begin_step("scan " + on.name, {&on});
  per_thread<batch_scan> scans(run);
  run.each(on.batches.size(), [&](size_t thread, size_t i) {
    const step_timer timer(told);
    const batch &rows = on.batches[i];
    const uint64_t *filter = among != nullptr ? among->batch_words(i) : nullptr;
    const uint32_t candidates = among != nullptr ? among->batch_counts[i] : rows.rows;
    uint64_t *words = out.batch_words(i);
    uint32_t &count = out.batch_counts[i];
    const coverage covered = candidates == 0 ? coverage::none : coverage_of(test, on, rows.held);
    if (covered == coverage::none) {
      vorn_global_ctx.vorn_lbiwvclr_range_dydi(words, 0, rows.rows - 1);
      count = 0;
    } else if (covered == coverage::all) {
      if (filter != nullptr)
        std::copy_n(filter, (rows.rows + 63) / 64, words);
      else
        vorn_global_ctx.vorn_lbiwvset_range_dydi(words, 0, rows.rows - 1);
      count = candidates;
    } else {
      batch_scan &scan = scans.of(thread, [&] { return std::make_unique<batch_scan>(run.context(), on, test); });
      count = scan.run(rows, filter, among != nullptr ? candidates : 0, words);
    }
    if (told != nullptr) {
      if (covered == coverage::some)
        told->count_batch(i);
      else
        ++told->skipped;
      told->rows_in += candidates;
      told->rows_out += count;
    }
  });
  out.count_rows();
}

void check_searchable(std::string_view column_name, encoding form) {
  if (form == encoding::prefix)
    throw error(
        fmt::format("column '{}' is stored as prefix, which no condition can be put to", shortened(column_name)));
}

query::query(const expression &asked, const column_map &columns) : root_(bound(asked, false, columns)) {}

query::part query::bound(const expression &e, bool is_false, const column_map &columns) {
  using kind = expression::kind;
  if (e.what == kind::negation)
    return bound(e.parts.front(), !is_false, columns);
  part out;
  if (e.what == kind::single) {
    const column &on = columns.at(e.asked.column);
    check_searchable(on.name, on.form);
    out.what = kind::any_of;
    for (ordinal_test &test : to_ordinals(e.asked, is_false, on))
      out.parts.push_back({kind::single, &on, std::move(test), {}});
  } else {
    // That not all are true is true where one is false, and the other way round.
    out.what = (e.what == kind::all_of) != is_false ? kind::all_of : kind::any_of;
    for (const expression &p : e.parts)
      out.parts.push_back(bound(p, is_false, columns));
  }
  if (out.what == kind::any_of)
    unite(out.parts);
  else
    std::stable_partition(out.parts.begin(), out.parts.end(),
                          [](const part &p) { return p.what == kind::single && p.on->form == encoding::rle; });
  return out.parts.size() == 1 ? part(std::move(out.parts.front())) : out;
}

void query::unite(std::vector<part> &parts) {
  std::vector<part> out;
  while (!parts.empty()) {
    if (parts.front().what != expression::kind::single) {
      out.push_back(std::move(parts.front()));
      parts.erase(parts.begin());
      continue;
    }
    const column *on = parts.front().on;
    std::vector<ordinal_test> tests;
    std::erase_if(parts, [&](part &p) {
      if (p.on != on)
        return false;
      tests.push_back(std::move(p.test));
      return true;
    });
    for (ordinal_test &test : united(tests, *on))
      out.push_back({expression::kind::single, on, std::move(test), {}});
  }
  parts = std::move(out);
}

void query::run(const part &p, const execution &on, const selection *among, selection &out) {
  using kind = expression::kind;
  if (p.what == kind::single) {
    filter(on, *p.on, p.test, among, out);
    return;
  }
  run(p.parts.front(), on, among, out);
  selection other;
  for (const part &next : std::span(p.parts).subspan(1))
    if (p.what == kind::all_of) {
      std::swap(other, out);
      run(next, on, &other, out);
    } else {
      run(next, on, among, other);
      out.add(other);
    }
}

} // namespace store
