#include "store/join/hash_join.hpp"

#include <utility>

#include "store/encode/dictionary.hpp"
#include "store/join/null_bits.hpp"

namespace store {

join_sides::join_sides(const vorn_ctx &ctx, join_side probed, const join_side &looked_up,
                       std::span<const output_column> columns, row_test row_filter, const join_settings &chosen)
    : first(std::move(probed)), second(ctx, looked_up, columns, first.count(), chosen),
      shown(columns.begin(), columns.end()), test(std::move(row_filter)), settings(chosen) {}

hash_join::hash_join(const vorn_ctx &context, std::shared_ptr<const join_sides> joined)
    : ctx(context), sides(std::move(joined)), probed_keys(ctx, sides->first.key, sides->first.selected()),
      steps(sides->first.key, sides->first.selected()),
      probe(ctx, *second().table, second().map ? &*second().map : nullptr, sides->settings),
      matches(sides->settings.pairs), pairs(sides->settings.pairs) {
  for (const output_column &c : sides->shown) {
    shown.push_back({c.of->type.kind, c.of_second, {}, {}, {}});
    if (!c.of_second)
      shown.back().reader.emplace(ctx, *c.of, sides->first.selected());
  }
  blocks.resize(shown.size());
}

void hash_join::go_to(size_t batch) {
  probed_keys.go_to(batch);
  steps.go_to(batch);
  for (shown_column &c : shown)
    if (c.reader)
      c.reader->go_to(batch);
}

uint64_t hash_join::next() {
  const step_timer timer(sides->told);
  joined_count = 0;
  while (joined_count == 0) {
    if (next_equal == equal.size() && !next_keys())
      return 0;
    join_rows();
  }
  show();
  if (sides->told != nullptr)
    sides->told->rows_out += joined_count;
  return joined_count;
}

bool hash_join::next_step() {
  const std::span<const uint64_t> hashes = probed_keys.next();
  const row_steps::step step = steps.next();
  if (hashes.empty())
    return false;
  did.probed_rows += hashes.size();
  if (plan_step *told = sides->told) {
    if (step.opens_batch)
      told->count_batch(steps.batch_number());
    told->rows_in += step.rows;
  }
  if (step.opens_batch)
    cursor.open(steps.rows(), steps.filter());
  step_rows = cursor.next(hashes.size());
  for (shown_column &c : shown)
    if (c.reader)
      c.step = c.reader->next();
  probe.open(hashes);
  return true;
}

// Goes on to the next entries whose keys are equal to those of rows of the step, or of the next one that has such rows.
bool hash_join::next_keys() {
  equal.clear();
  next_equal = 0;
  next_row = 0;
  while (equal.empty()) {
    const std::span<const candidate> candidates = probe.next();
    if (candidates.empty()) {
      if (!next_step())
        return false;
      continue;
    }
    const std::span<const uint8_t *const> fetched = second().keys->fetch(candidates, room);
    for (size_t i = 0; i < candidates.size(); ++i)
      if (record_fields(fetched[i]).next() == probed_keys.key(candidates[i].row))
        equal.push_back(candidates[i]);
    did.candidates += candidates.size();
    did.confirmed += equal.size();
  }
  return true;
}

// Joins rows with all rows of entries, as many as one block has room for.
void hash_join::join_rows() {
  const uint64_t first_row = steps.first_row();
  const std::vector<uint64_t> &built_rows = second().built_rows;
  for (; next_equal < equal.size(); ++next_equal, next_row = 0) {
    const auto [place, entry] = equal[next_equal];
    for (const uint64_t rows = second().groups.count(entry); next_row < rows; ++next_row) {
      if (joined_count == pairs.size())
        return;
      const uint64_t built = second().groups.row(entry, next_row);
      pairs[joined_count] = {first_row + step_rows[place], built_rows.empty() ? built : built_rows[built]};
      matches[joined_count] = {place, built};
      if (!sides->test || sides->test(pairs[joined_count]))
        ++joined_count;
    }
  }
}

void hash_join::show() {
  std::vector<shown_column *> of_second;
  for (shown_column &c : shown) {
    c.cells.resize(joined_count);
    if (c.of_second)
      of_second.push_back(&c);
    else
      for (size_t i = 0; i < joined_count; ++i)
        c.cells[i] = c.step[matches[i].row];
  }
  const auto fetched = of_second.empty() ? std::span<const uint8_t *const>()
                                         : second().records->fetch(std::span(matches).first(joined_count), room);
  for (const uint8_t *const &record : fetched) {
    const auto i = static_cast<size_t>(&record - fetched.data());
    record_fields fields(record);
    const std::string_view nulls = fields.next();
    for (size_t c = 0; c < of_second.size(); ++c) {
      const std::string_view symbol = fields.next();
      of_second[c]->cells[i] =
          null_bits::contains(nulls, c) ? cell() : dictionary::value_of(symbol, of_second[c]->kind);
    }
  }
  for (size_t c = 0; c < shown.size(); ++c)
    blocks[c] = shown[c].cells;
}

void join_statistics::add_probe(const join_statistics &other) {
  probed_rows += other.probed_rows;
  tested += other.tested;
  passed += other.passed;
  map_given_up = map_given_up || other.map_given_up;
  candidates += other.candidates;
  confirmed += other.confirmed;
}

join_statistics hash_join::statistics() const {
  join_statistics out = did;
  const built_side &built = second();
  out.shape = built.table->shape();
  out.built_rows = built.count;
  out.built_keys = built.table->rows();
  out.overflow_buckets = built.table->overflow_buckets();
  out.table_bytes = built.table->bytes();
  out.map_bytes = built.map ? built.map->bytes() : 0;
  out.tested = probe.tested();
  out.passed = probe.passed();
  out.map_given_up = probe.gave_up();
  return out;
}

} // namespace store
