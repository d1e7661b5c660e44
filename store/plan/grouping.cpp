#include "store/plan/grouping.hpp"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

#include "store/run/batch_turns.hpp"

namespace store {

namespace {

// A group of -0 and 0 is one of 0, whichever came first.
cell shown_as_one(const cell &c, value_kind kind) {
  static const cell negative_zero = real_key(-0.0);
  const bool is_real = kind == value_kind::single || kind == value_kind::real;
  return is_real && c == negative_zero ? cell(real_key(0.0)) : c;
}

} // namespace

grouping::grouping(const execution &on, std::unique_ptr<group_input> input, size_t batches,
                   std::vector<value_kind> kinds, std::vector<aggregate> aggregates, std::vector<term> terms,
                   std::vector<number_form> forms, bool in_order, plan_step *explained)
    : run_(on), batches_(batches), kinds_(std::move(kinds)), aggregates_(std::move(aggregates)),
      terms_(std::move(terms)), forms_(std::move(forms)), told_(explained), all_(made_share(std::move(input))),
      shares_(run_), is_ordered_by_columns_(in_order), cells_(kinds_.size() + aggregates_.size()),
      blocks_(cells_.size()) {}

std::unique_ptr<grouping::share> grouping::made_share(std::unique_ptr<group_input> input) const {
  const vorn_ctx &ctx = run_.context();
  const uint32_t groups = input->group_count();
  std::unique_ptr<share> out(new share{std::move(input), group_counts(ctx), {}, {}, groups, 0, {}, {}});
  const auto is_nullable = [&](const term::operand &o) { return !o.constant && forms_[o.column].is_nullable; };
  for (const term &t : terms_) {
    const bool computes = t.opcode != VORN_OPC_NONE;
    out->computed.emplace_back(ctx, computes && (is_nullable(t.left) || is_nullable(t.right)));
    out->sums.emplace_back(ctx, computes ? out->computed.back().stored_as() : forms_[t.left.column]);
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
  const term &t = terms_[added];
  if (t.opcode == VORN_OPC_NONE)
    return (*own.input)[t.left.column];
  const auto operand = [&](const term::operand &o) { return o.constant ? nullptr : &(*own.input)[o.column]; };
  return own.computed[added].compute(t, operand(t.left), operand(t.right));
}

void grouping::add_all() {
  const auto has_own_groups = [](const auto &own) { return own && own->has_own_groups(); };
  size_t done = 0;
  if (run_.threads() > 1) {
    done = std::min(2 * run_.threads(), batches_);
    spread(0, done);
    // To put such groups together takes as long as to find them.
    if (std::none_of(shares_.all().begin(), shares_.all().end(), has_own_groups))
      spread(std::exchange(done, batches_), batches_);
  }
  for (; done < batches_; ++done)
    add_batch(*all_, done);
  for (const auto &own : shares_.all()) {
    if (!own)
      continue;
    find_groups_of_all(*own);
    all_->counts.add(own->counts, own->groups_of_all);
    for (size_t added = 0; added < terms_.size(); ++added)
      if (!is_ordered(added))
        all_->sums[added].add(own->sums[added], own->groups_of_all);
  }
}

void grouping::spread(size_t first, size_t end) {
  const bool has_reals =
      std::any_of(all_->sums.begin(), all_->sums.end(), [](const summation &sum) { return sum.stored_as().is_real; });
  batch_turns turns(first);
  run_.each(end - first, [&](size_t thread, size_t i) {
    try {
      share &own = shares_.of(thread, [&] { return made_share(all_->input->another()); });
      const size_t steps = add_batch(own, first + i);
      if (has_reals)
        turns.take(first + i, [&] { add_reals(own, steps); });
    } catch (...) {
      turns.give_up();
      throw;
    }
  });
}

// Returns how many steps have kept reals.
size_t grouping::add_batch(share &own, size_t batch) {
  const step_timer timer(told_);
  std::vector<uint8_t> ones;
  size_t steps = 0;
  bool is_first = true;
  own.input->go_to(batch);
  while (const uint32_t rows = own.input->next()) {
    own.resize();
    own.rows += rows;
    ones.resize(rows, 1);
    own.counts.add(ones.data(), rows, own.input->groups());
    bool keeps = false;
    for (size_t added = 0; added < terms_.size(); ++added)
      if (&own == all_.get() || !is_ordered(added))
        own.sums[added].add(numbers_of(own, added), own.input->groups());
      else
        keeps = true;
    if (keeps)
      keep_reals(own, rows, steps++);
    if (told_ != nullptr) {
      if (std::exchange(is_first, false))
        told_->count_batch(batch);
      told_->rows_in += rows;
    }
  }
  return steps;
}

void grouping::keep_reals(share &own, uint32_t rows, size_t step) {
  if (step == own.kept.size())
    own.kept.push_back({false, {}, std::vector<numbers>(terms_.size(), numbers(number_form()))});
  auto &[is_grouped, groups, reals] = own.kept[step];
  for (size_t added = 0; added < terms_.size(); ++added)
    if (is_ordered(added))
      reals[added] = numbers_of(own, added);
  const uint32_t *own_groups = own.input->groups();
  is_grouped = own_groups != nullptr;
  if (is_grouped)
    groups.assign(own_groups, own_groups + rows);
}

void grouping::add_reals(share &own, size_t steps) {
  const step_timer timer(told_);
  find_groups_of_all(own);
  for (auto &[is_grouped, groups, reals] : std::span(own.kept).first(steps)) {
    for (uint32_t &group : groups)
      group = own.groups_of_all[group];
    for (size_t added = 0; added < terms_.size(); ++added)
      if (is_ordered(added))
        all_->sums[added].add(reals[added], is_grouped ? groups.data() : nullptr);
  }
}

void grouping::find_groups_of_all(share &own) {
  for (auto group = static_cast<uint32_t>(own.groups_of_all.size()); group < own.input->group_count(); ++group)
    own.groups_of_all.push_back(all_->input->group_of(*own.input, group));
  all_->resize();
}

cell grouping::value(const aggregate &asked, uint32_t group) const {
  if (asked.what == function::count)
    return static_cast<int64_t>(all_->counts[group]);
  const summation &sum = all_->sums[asked.added];
  const number_form &form = sum.stored_as();
  const uint64_t values = form.is_nullable ? sum.present()[group] : all_->counts[group];
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
  const step_timer timer(told_);
  if (!std::exchange(is_added_, true)) {
    add_all();
    if (is_ordered_by_columns_)
      order_ = all_->input->in_order();
  }
  constexpr size_t most = 4096;
  for (std::vector<cell> &c : cells_)
    c.clear();
  const size_t columns = kinds_.size();
  std::vector<cell> common(columns);
  size_t count = 0;
  for (; count < most && next_group_ < all_->input->group_count(); ++next_group_) {
    const uint32_t group = is_ordered_by_columns_ ? order_[next_group_] : next_group_;
    if (all_->counts[group] == 0 && columns != 0)
      continue;
    all_->input->show(group, common);
    for (size_t c = 0; c < columns; ++c)
      cells_[c].push_back(shown_as_one(common[c], kinds_[c]));
    for (size_t a = 0; a < aggregates_.size(); ++a)
      cells_[columns + a].push_back(value(aggregates_[a], group));
    ++count;
  }
  for (size_t c = 0; c < cells_.size(); ++c)
    blocks_[c] = cells_[c];
  if (told_ != nullptr)
    told_->rows_out += count;
  return count;
}

} // namespace store
