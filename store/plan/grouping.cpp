#include "store/plan/grouping.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace store {

namespace {

// A group of -0 and 0 is one of 0, whichever came first.
cell shown_as_one(const cell &c, value_kind kind) {
  static const cell negative_zero = real_key(-0.0);
  const bool is_real = kind == value_kind::single || kind == value_kind::real;
  return is_real && c == negative_zero ? cell(real_key(0.0)) : c;
}

} // namespace

grouping::grouping(const execution &on, std::unique_ptr<group_input> grouped, size_t input_batches,
                   std::vector<value_kind> grouped_by, std::vector<aggregate> asked, std::vector<term> added,
                   std::vector<number_form> number_forms)
    : run(on), batches(input_batches), kinds(std::move(grouped_by)), aggregates(std::move(asked)),
      terms(std::move(added)), forms(std::move(number_forms)), shares(run, made_share(std::move(grouped))),
      cells(kinds.size() + aggregates.size()), blocks(cells.size()) {}

std::unique_ptr<grouping::share> grouping::made_share(std::unique_ptr<group_input> input) const {
  const vorn_ctx &ctx = run.context();
  std::unique_ptr<share> out(new share{std::move(input), group_counts(ctx), {}, {}, {}});
  const auto is_nullable = [&](const term::operand &o) { return !o.constant && forms[o.column].is_nullable; };
  for (const term &t : terms) {
    const bool computes = t.opcode != VORN_OPC_NONE;
    out->computed.emplace_back(ctx, computes && (is_nullable(t.left) || is_nullable(t.right)));
    out->sums.emplace_back(ctx, computes ? out->computed.back().stored_as() : forms[t.left.column]);
  }
  out->resize();
  return out;
}

void grouping::share::resize() {
  counts.resize(input->group_count());
  for (summation &sum : sums)
    sum.resize(input->group_count());
}

const numbers &grouping::numbers_of(share &own, size_t added) const {
  const term &t = terms[added];
  if (t.opcode == VORN_OPC_NONE)
    return (*own.input)[t.left.column];
  const auto operand = [&](const term::operand &o) { return o.constant ? nullptr : &(*own.input)[o.column]; };
  return own.computed[added].compute(t, operand(t.left), operand(t.right));
}

void grouping::add_all() {
  const size_t most_kept = 2 * run.threads(); // batches
  for (size_t first = 0; first < batches; first += most_kept) {
    std::vector<std::vector<kept_step>> kept(std::min(most_kept, batches - first));
    run.each(kept.size(), [&](size_t thread, size_t i) { kept[i] = add_batch(thread, first + i); });
    for (const auto &steps : kept)
      for (const kept_step &step : steps)
        add_reals(step);
  }
  share &all = shares.first();
  for (const auto &other : shares.all()) {
    if (!other || other.get() == &all)
      continue;
    find_groups_of_first(*other);
    all.counts.add(other->counts, other->groups_of_first);
    for (size_t added = 0; added < terms.size(); ++added)
      if (!is_kept(added))
        all.sums[added].add(other->sums[added], other->groups_of_first);
  }
}

std::vector<grouping::kept_step> grouping::add_batch(size_t thread, size_t batch) {
  share &own = shares.of(thread, [&] { return made_share(shares.first().input->another()); });
  std::vector<kept_step> out;
  std::vector<uint8_t> ones;
  own.input->go_to(batch);
  while (const uint32_t rows = own.input->next()) {
    const uint32_t *groups = own.input->groups();
    own.resize();
    ones.resize(rows, 1);
    own.counts.add(ones.data(), rows, groups);
    kept_step kept{thread, {}, {}};
    for (size_t added = 0; added < terms.size(); ++added) {
      if (!is_kept(added)) {
        own.sums[added].add(numbers_of(own, added), groups);
        continue;
      }
      kept.reals.resize(added, numbers(number_form()));
      kept.reals.push_back(numbers_of(own, added));
    }
    if (kept.reals.empty())
      continue;
    if (groups != nullptr)
      kept.groups.emplace(groups, groups + rows);
    out.push_back(std::move(kept));
  }
  return out;
}

void grouping::add_reals(const kept_step &step) {
  share &other = *shares.all()[step.thread];
  if (step.thread != 0)
    find_groups_of_first(other);
  std::vector<uint32_t> groups = step.groups.value_or(std::vector<uint32_t>());
  if (step.thread != 0)
    for (uint32_t &group : groups)
      group = other.groups_of_first[group];
  for (size_t added = 0; added < step.reals.size(); ++added)
    if (is_kept(added))
      shares.first().sums[added].add(step.reals[added], step.groups ? groups.data() : nullptr);
}

void grouping::find_groups_of_first(share &other) {
  share &first = shares.first();
  for (auto group = static_cast<uint32_t>(other.groups_of_first.size()); group < other.input->group_count(); ++group)
    other.groups_of_first.push_back(first.input->group_of(*other.input, group));
  first.resize();
}

cell grouping::value(const aggregate &asked, uint32_t group) const {
  if (asked.what == function::count)
    return static_cast<int64_t>(shares.first().counts[group]);
  const summation &sum = shares.first().sums[asked.added];
  const number_form &form = sum.stored_as();
  const uint64_t values = form.is_nullable ? sum.present()[group] : shares.first().counts[group];
  if (values == 0)
    return {};
  if (asked.what == function::sum && !form.is_real)
    return wide_key_of(sum.integer(group));
  if (asked.what == function::sum)
    return real_key(sum.real(group));
  const double total =
      form.is_real ? sum.real(group) : static_cast<double>(sum.integer(group)) / std::pow(10.0, asked.scale);
  return real_key(total / static_cast<double>(values));
}

uint64_t grouping::next() {
  if (!std::exchange(is_added, true))
    add_all();
  constexpr size_t most = 4096;
  for (std::vector<cell> &c : cells)
    c.clear();
  const size_t columns = kinds.size();
  const share &all = shares.first();
  std::vector<cell> common(columns);
  size_t count = 0;
  for (; count < most && next_group < all.input->group_count(); ++next_group) {
    if (all.counts[next_group] == 0 && columns != 0)
      continue;
    all.input->show(next_group, common);
    for (size_t c = 0; c < columns; ++c)
      cells[c].push_back(shown_as_one(common[c], kinds[c]));
    for (size_t a = 0; a < aggregates.size(); ++a)
      cells[columns + a].push_back(value(aggregates[a], next_group));
    ++count;
  }
  for (size_t c = 0; c < cells.size(); ++c)
    blocks[c] = cells[c];
  return count;
}

} // namespace store
