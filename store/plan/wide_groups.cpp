#include "store/plan/wide_groups.hpp"

#include <bit>
#include <utility>

namespace store {

wide_groups::wide_groups(const vorn_ctx &context, std::span<const column *const> columns,
                         std::span<const number_column> added_columns, std::shared_ptr<const selection> chosen)
    : coded_groups(context, *columns.front(), columns, added_columns, std::move(chosen)) {}

std::unique_ptr<group_input> wide_groups::another() const {
  return std::make_unique<wide_groups>(ctx, key.columns(), added, selected);
}

void wide_groups::find_groups(const row_steps::step &step) {
  keys_.assign(step.rows, 0);
  for (size_t c = 0; c < unpackers.size(); ++c) {
    const column &digit = *key.columns()[c];
    if (step.opens_batch)
      unpackers[c].open(steps.rows_of(digit), steps.filter());
    unpackers[c].next(step.rows);
    const uint32_t *codes = unpackers[c].codes_of_four_bytes();
    for (uint32_t row = 0; row < step.rows; ++row)
      keys_[row] = keys_[row] * code_key::codes(digit) + codes[row];
  }
  group_of_row_.resize(step.rows);
  for (uint32_t row = 0; row < step.rows; ++row)
    group_of_row_[row] = group_of(keys_[row]);
}

uint32_t wide_groups::group_of(uint64_t wanted) {
  size_t slot = slot_of(wanted);
  if (slots_[slot] == 0) {
    if (key_of_group_.size() >= slots_.size() / 2) {
      grow();
      slot = slot_of(wanted);
    }
    key_of_group_.push_back(wanted);
    slots_[slot] = group_count();
  }
  return slots_[slot] - 1;
}

// Where a key is, or the empty slot where it belongs.
size_t wide_groups::slot_of(uint64_t wanted) const {
  constexpr uint64_t odd = 0x9e3779b97f4a7c15;
  const int shift = 64 - std::countr_zero(slots_.size());
  size_t slot = wanted * odd >> shift;
  while (slots_[slot] != 0 && key_of_group_[slots_[slot] - 1] != wanted)
    slot = (slot + 1) % slots_.size();
  return slot;
}

void wide_groups::grow() {
  slots_.assign(2 * slots_.size(), 0);
  for (uint32_t group = 0; group < group_count(); ++group)
    slots_[slot_of(key_of_group_[group])] = group + 1;
}

} // namespace store
