#include "store/query/filter.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "store/error.hpp"
#include "store/query/batch_scan.hpp"

namespace store {

void filter(const vorn_ctx &ctx, const column &on, const ordinal_test &test, const selection *among, selection &out) {
  out.resize(on.rows);
  out.count = 0;
  batch_scan scan(ctx, on, test);
  for (size_t i = 0; i < on.batches.size(); ++i) {
    const batch &rows = on.batches[i];
    const uint64_t *filter = among != nullptr ? among->batch_words(i) : nullptr;
    const uint32_t candidates = among != nullptr ? among->batch_counts[i] : rows.rows;
    uint64_t *words = out.batch_words(i);
    uint32_t &count = out.batch_counts[i];
    const coverage covered = candidates == 0 ? coverage::none : coverage_of(test, rows.held);
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
      count = scan.run(rows, filter, among != nullptr ? candidates : 0, words);
    }
    out.count += count;
  }
}

std::string to_sql(const conjunction &conditions, const column_map &columns) {
  std::string out;
  for (const condition &c : conditions)
    out += fmt::format("{}{}", out.empty() ? "" : " AND ", to_sql(c, columns.at(c.column).kind));
  return out;
}

void check_searchable(std::string_view column_name, encoding form) {
  if (form == encoding::prefix)
    throw error(fmt::format("column '{}' is stored as prefix, which no condition can be put to", column_name));
}

query::query(const conjunction &conditions, const column_map &columns) {
  for (const condition &c : conditions) {
    const column &on = columns.at(c.column);
    check_searchable(on.name, on.form);
    parts.push_back({&on, to_ordinals(c, on)});
  }
  std::stable_partition(parts.begin(), parts.end(), [](const part &p) { return p.on->form == encoding::rle; });
}

void query::run(const vorn_ctx &ctx, selection &out) const {
  const selection *among = nullptr;
  selection before;
  for (const part &p : parts) {
    if (among != nullptr)
      std::swap(before, out);
    filter(ctx, *p.on, p.test, among, out);
    among = &before;
  }
}

} // namespace store
