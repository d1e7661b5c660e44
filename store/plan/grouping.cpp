#include "store/plan/grouping.hpp"

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

grouping::grouping(const vorn_ctx &context, std::unique_ptr<group_input> grouped, std::vector<value_kind> grouped_by,
                   std::vector<aggregate> asked, std::vector<term> added, const std::vector<number_form> &forms)
    : ctx(context), input(std::move(grouped)), kinds(std::move(grouped_by)), aggregates(std::move(asked)), counts(ctx),
      terms(std::move(added)), cells(kinds.size() + aggregates.size()), blocks(cells.size()) {
  const auto is_nullable = [&](const term::operand &o) { return !o.constant && forms[o.column].is_nullable; };
  for (const term &t : terms) {
    const bool computes = t.opcode != VORN_OPC_NONE;
    computed.emplace_back(ctx, computes && (is_nullable(t.left) || is_nullable(t.right)));
    sums.emplace_back(ctx, computes ? computed.back().stored_as() : forms[t.left.column]);
  }
}

const numbers &grouping::numbers_of(size_t added) {
  const term &t = terms[added];
  if (t.opcode == VORN_OPC_NONE)
    return (*input)[t.left.column];
  const auto operand = [&](const term::operand &o) { return o.constant ? nullptr : &(*input)[o.column]; };
  return computed[added].compute(t, operand(t.left), operand(t.right));
}

void grouping::add_all() {
  std::vector<uint8_t> ones;
  const auto resize = [&] {
    counts.resize(input->group_count());
    for (summation &sum : sums)
      sum.resize(input->group_count());
  };
  resize();
  while (const uint32_t rows = input->next()) {
    resize();
    ones.resize(rows, 1);
    counts.add(ones.data(), rows, input->groups());
    for (size_t added = 0; added < sums.size(); ++added)
      sums[added].add(numbers_of(added), input->groups());
  }
}

cell grouping::value(const aggregate &asked, uint32_t group) const {
  if (asked.what == function::count)
    return static_cast<int64_t>(counts[group]);
  const summation &sum = sums[asked.added];
  const number_form &form = sum.stored_as();
  const uint64_t values = form.is_nullable ? sum.present()[group] : counts[group];
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
  std::vector<cell> common(columns);
  size_t count = 0;
  for (; count < most && next_group < input->group_count(); ++next_group) {
    if (counts[next_group] == 0 && columns != 0)
      continue;
    input->show(next_group, common);
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
