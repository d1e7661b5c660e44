#include "store/join/hash_join.hpp"

#include <utility>

#include "store/encode/dictionary.hpp"
#include "store/join/null_bits.hpp"

namespace store {

join_sides::join_sides(const vorn_ctx &ctx, join_side probed, const join_side &looked_up,
                       std::span<const output_column> columns, row_test row_filter, const join_settings &chosen)
    : first(std::move(probed)), second(ctx, looked_up, columns, first.count(), chosen),
      shown(columns.begin(), columns.end()), test(std::move(row_filter)), settings(chosen) {}

hash_join::hash_join(const vorn_ctx &ctx, std::shared_ptr<const join_sides> sides)
    : ctx_(ctx), sides_(std::move(sides)), probed_keys_(ctx_, sides_->first.key, sides_->first.selected()),
      steps_(sides_->first.key, sides_->first.selected()),
      probe_(ctx_, *second().table, second().map ? &*second().map : nullptr, sides_->settings),
      matches_(sides_->settings.pairs), pairs_(sides_->settings.pairs) {
  for (const output_column &c : sides_->shown) {
    shown_.push_back({c.of->type.kind, c.of_second, {}, {}, {}});
    if (!c.of_second)
      shown_.back().reader.emplace(ctx_, *c.of, sides_->first.selected());
  }
  blocks_.resize(shown_.size());
}

void hash_join::go_to(size_t batch) {
  probed_keys_.go_to(batch);
  steps_.go_to(batch);
  for (shown_column &c : shown_)
    if (c.reader)
      c.reader->go_to(batch);
}

uint64_t hash_join::next() {
  const step_timer timer(sides_->told);
  joined_count_ = 0;
  while (joined_count_ == 0) {
    if (next_equal_ == equal_.size() && !next_keys())
      return 0;
    join_rows();
  }
  show();
  if (sides_->told != nullptr)
    sides_->told->rows_out += joined_count_;
  return joined_count_;
}

bool hash_join::next_step() {
  const std::span<const uint64_t> hashes = probed_keys_.next();
  const row_steps::step step = steps_.next();
  if (hashes.empty())
    return false;
  did_.probed_rows += hashes.size();
  if (plan_step *told = sides_->told) {
    if (step.opens_batch)
      told->count_batch(steps_.batch_number());
    told->rows_in += step.rows;
  }
  if (step.opens_batch)
    cursor_.open(steps_.rows(), steps_.filter());
  step_rows_ = cursor_.next(hashes.size());
  for (shown_column &c : shown_)
    if (c.reader)
      c.step = c.reader->next();
  probe_.open(hashes);
  return true;
}

// Goes on to the next entries whose keys are equal to those of rows of the step, or of the next one that has such rows.
bool hash_join::next_keys() {
  equal_.clear();
  next_equal_ = 0;
  next_row_ = 0;
  while (equal_.empty()) {
    const std::span<const candidate> candidates = probe_.next();
    if (candidates.empty()) {
      if (!next_step())
        return false;
      continue;
    }
    const std::span<const uint8_t *const> fetched = second().keys->fetch(candidates, room_);
    for (size_t i = 0; i < candidates.size(); ++i)
      if (record_fields(fetched[i]).next() == probed_keys_.key(candidates[i].row))
        equal_.push_back(candidates[i]);
    did_.candidates += candidates.size();
    did_.confirmed += equal_.size();
  }
  return true;
}

// Joins rows with all rows of entries, as many as one block has room for.
void hash_join::join_rows() {
  const uint64_t first_row = steps_.first_row();
  const std::vector<uint64_t> &built_rows = second().built_rows;
  for (; next_equal_ < equal_.size(); ++next_equal_, next_row_ = 0) {
    const auto [place, entry] = equal_[next_equal_];
    for (const uint64_t rows = second().groups.count(entry); next_row_ < rows; ++next_row_) {
      if (joined_count_ == pairs_.size())
        return;
      const uint64_t built = second().groups.row(entry, next_row_);
      pairs_[joined_count_] = {first_row + step_rows_[place], built_rows.empty() ? built : built_rows[built]};
      matches_[joined_count_] = {place, built};
      if (!sides_->test || sides_->test(pairs_[joined_count_]))
        ++joined_count_;
    }
  }
}

void hash_join::show() {
  std::vector<shown_column *> of_second;
  for (shown_column &c : shown_) {
    c.cells.resize(joined_count_);
    if (c.of_second)
      of_second.push_back(&c);
    else
      for (size_t i = 0; i < joined_count_; ++i)
        c.cells[i] = c.step[matches_[i].row];
  }
  const auto fetched = of_second.empty() ? std::span<const uint8_t *const>()
                                         : second().records->fetch(std::span(matches_).first(joined_count_), room_);
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
  for (size_t c = 0; c < shown_.size(); ++c)
    blocks_[c] = shown_[c].cells;
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
  join_statistics out = did_;
  const built_side &built = second();
  out.shape = built.table->shape();
  out.built_rows = built.count;
  out.built_keys = built.table->rows();
  out.overflow_buckets = built.table->overflow_buckets();
  out.table_bytes = built.table->bytes();
  out.map_bytes = built.map ? built.map->bytes() : 0;
  out.tested = probe_.tested();
  out.passed = probe_.passed();
  out.map_given_up = probe_.gave_up();
  return out;
}

} // namespace store
