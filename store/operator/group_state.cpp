#include "store/operator/group_state.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <numeric>

namespace store::exec {

namespace {

std::vector<layout> layouts_of(const aggregation &what, std::span<const size_t> columns) {
  std::vector<layout> out;
  for (const size_t column : columns)
    out.push_back(what.columns()[column]);
  return out;
}

// Group numbers as a key.
layout number_layout(double most) {
  layout out;
  out.has_nulls = false;
  out.bounds = number_bounds{0, static_cast<__int128>(std::min<double>(most, std::numeric_limits<uint32_t>::max()))};
  return out;
}

bool is_true(const vector &condition, size_t row) { return !condition.is_null(row) && condition.int64s()[row] != 0; }

// The rows for which a condition is true and a value is not NULL.  The condition may be null, and so may the validity
// of the values.
std::span<const uint32_t> chosen(const vector *condition, const vector *values, uint32_t rows, arena &memory) {
  const std::span<uint32_t> out = memory.take<uint32_t>(rows);
  size_t count = 0;
  for (uint32_t row = 0; row < rows; ++row) {
    out[count] = row;
    count += (condition == nullptr || is_true(*condition, row)) && (values == nullptr || !values->is_null(row)) ? 1 : 0;
  }
  return out.first(count);
}

} // namespace

group_state::group_state(const aggregation &what, std::span<const size_t> keys, double rows, bool is_merged)
    : what_(what), key_columns_(keys.begin(), keys.end()), is_merged_(is_merged),
      finder_(layouts_of(what, keys), rows) {
  const std::vector<layout> layouts = layouts_of(what, keys);
  for (const layout &key : layouts)
    keys_.emplace_back(key.form);
  for (const accumulator_of_input &a : what.accumulators()) {
    accumulators_.push_back(make_accumulator(a.what, a.values, a.result));
    accumulators_.back()->grow(groups());
    needs_order_ = needs_order_ || accumulators_.back()->needs_order();
  }
  for (const aggregate_input &input : what.inputs()) {
    distinct_.emplace_back();
    if (!input.is_distinct)
      continue;
    layout values = what.columns()[*input.column];
    if (input.is_decoded && values.form == representation::codes)
      values.form = plain_representation(values.held());
    values.has_nulls = false;
    std::vector<layout> pair;
    if (!keys.empty())
      pair.push_back(number_layout(most_groups(layouts, std::numeric_limits<double>::infinity())));
    pair.push_back(values);
    distinct_.back().emplace(distinct_values{group_finder(pair, rows), {}});
    if (is_merged_)
      for (const layout &column : pair)
        distinct_.back()->pairs.emplace_back(column.form);
  }
}

std::span<const uint32_t> group_state::numbers_of(std::span<const vector> keys, uint32_t rows, arena &memory) {
  const found_groups found = finder_.find(keys, rows, memory);
  if (!found.new_rows.empty()) {
    for (size_t k = 0; k < keys.size(); ++k)
      keys_[k].append(gathered(keys[k], found.new_rows, memory));
    for (const std::unique_ptr<accumulator> &a : accumulators_)
      a->grow(groups());
  }
  return found.numbers;
}

grouped_rows group_state::grouped(std::span<const uint32_t> numbers, size_t rows, arena &memory) const {
  const auto count = static_cast<uint32_t>(rows);
  return needs_order_ ? with_runs(numbers, count, groups(), memory) : grouped_rows{count, numbers, {}, {}};
}

grouped_rows group_state::some_of(const grouped_rows &from, std::span<const uint32_t> rows, arena &memory) const {
  std::span<const uint32_t> numbers;
  if (!from.numbers.empty())
    numbers = gathered(vector(from.numbers), rows, memory).codes();
  return grouped(numbers, rows.size(), memory);
}

void group_state::add(chunk &rows, size_t morsel) {
  arena &memory = rows.memory();
  const size_t groups_before = groups();
  std::vector<vector> keys;
  for (const size_t column : key_columns_)
    keys.push_back(rows.column(column));
  const grouped_rows of_rows = grouped(numbers_of(keys, rows.rows(), memory), rows.rows(), memory);
  if (is_merged_ && groups() != groups_before && (segments_.empty() || segments_.back().morsel != morsel))
    segments_.push_back({morsel, groups_before});
  for (size_t input = 0; input < distinct_.size(); ++input)
    add_input(input, rows, of_rows);
}

void group_state::add_input(size_t index, chunk &rows, const grouped_rows &grouped) {
  const aggregate_input &input = what_.inputs()[index];
  arena &memory = rows.memory();
  vector values;
  if (input.column)
    values = rows.column(*input.column);
  const bool drops_nulls = values.validity != nullptr && !input.keeps_nulls;
  if (!input.condition && !drops_nulls)
    return add_values(index, grouped, values, memory);
  vector condition;
  if (input.condition)
    condition = plain_values(rows.column(*input.condition), what_.columns()[*input.condition], memory);
  const std::span<const uint32_t> left =
      chosen(input.condition ? &condition : nullptr, drops_nulls ? &values : nullptr, rows.rows(), memory);
  if (input.column) {
    if (drops_nulls)
      values.validity = nullptr;
    values = gathered(values, left, memory);
  }
  add_values(index, some_of(grouped, left, memory), values, memory);
}

void group_state::add_values(size_t index, grouped_rows rows, vector values, arena &memory) {
  const aggregate_input &input = what_.inputs()[index];
  if (input.is_decoded)
    values = plain_values(values, what_.columns()[*input.column], memory);
  if (distinct_[index]) {
    std::vector<vector> pair;
    if (!key_columns_.empty()) {
      const std::span<int64_t> groups_of_rows = memory.take<int64_t>(rows.rows);
      std::copy(rows.numbers.begin(), rows.numbers.end(), groups_of_rows.begin());
      pair.emplace_back(groups_of_rows);
    }
    pair.push_back(values);
    const std::span<const uint32_t> left = distinct_[index]->finder.find(pair, rows.rows, memory).new_rows;
    for (size_t c = 0; c < distinct_[index]->pairs.size(); ++c)
      distinct_[index]->pairs[c].append(gathered(pair[c], left, memory));
    values = gathered(values, left, memory);
    rows = some_of(rows, left, memory);
  }
  for (size_t a = 0; a < accumulators_.size(); ++a)
    if (what_.accumulators()[a].input == index)
      accumulators_[a]->add(rows, values);
}

void group_state::merge(std::span<group_state *const> threads) {
  struct part {
    size_t morsel;
    size_t thread;
    size_t first;
    size_t end;
  };
  std::vector<part> parts;
  std::vector<std::vector<uint32_t>> numbers; // of the groups of each thread
  for (size_t t = 0; t < threads.size(); ++t) {
    const group_state &from = *threads[t];
    numbers.emplace_back(from.groups());
    for (size_t s = 0; s < from.segments_.size(); ++s)
      parts.push_back({from.segments_[s].morsel, t, from.segments_[s].first_group,
                       s + 1 < from.segments_.size() ? from.segments_[s + 1].first_group : from.groups()});
  }
  std::sort(parts.begin(), parts.end(), [](const part &a, const part &b) { return a.morsel < b.morsel; });
  arena memory;
  for (const part &p : parts)
    for (size_t first = p.first; first < p.end; first += chunk_rows) {
      const size_t rows = std::min<size_t>(chunk_rows, p.end - first);
      const std::span<const uint32_t> positions = consecutive(first, rows, memory);
      std::vector<vector> keys;
      for (size_t k = 0; k < keys_.size(); ++k)
        keys.push_back(gathered(threads[p.thread]->key(k), positions, memory));
      const std::span<const uint32_t> found = numbers_of(keys, static_cast<uint32_t>(rows), memory);
      std::copy(found.begin(), found.end(), numbers[p.thread].begin() + static_cast<ptrdiff_t>(first));
      memory.rewind({});
    }
  for (size_t t = 0; t < threads.size(); ++t) {
    for (size_t a = 0; a < accumulators_.size(); ++a)
      if (!distinct_[what_.accumulators()[a].input])
        accumulators_[a]->merge(*threads[t]->accumulators_[a], numbers[t]);
    merge_distinct(*threads[t], numbers[t]);
  }
}

void group_state::merge_distinct(const group_state &from, std::span<const uint32_t> groups_here) {
  arena memory;
  for (size_t input = 0; input < distinct_.size(); ++input) {
    if (!distinct_[input])
      continue;
    const std::vector<kept_column> &pairs = from.distinct_[input]->pairs;
    const vector all = pairs.back().values();
    for (size_t first = 0; first < all.rows; first += chunk_rows) {
      const auto rows = std::min<uint32_t>(chunk_rows, all.rows - static_cast<uint32_t>(first));
      std::span<uint32_t> numbers;
      if (!key_columns_.empty()) {
        numbers = memory.take<uint32_t>(rows);
        const std::span<const int64_t> of = pairs[0].values().int64s().subspan(first, rows);
        for (size_t row = 0; row < rows; ++row)
          numbers[row] = groups_here[static_cast<size_t>(of[row])];
      }
      add_values(input, grouped(numbers, rows, memory), rows_of(all, first, rows), memory);
      memory.rewind({});
    }
  }
}

std::vector<vector> group_state::results(arena &memory) {
  std::vector<vector> accumulated;
  for (const std::unique_ptr<accumulator> &a : accumulators_)
    accumulated.push_back(a->result(memory));
  std::vector<vector> out;
  for (size_t r = 0; r < what_.results().size(); ++r)
    out.push_back(what_.result(r, accumulated, memory));
  return out;
}

} // namespace store::exec
