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
  keys.assign(step.rows, 0);
  for (size_t c = 0; c < unpackers.size(); ++c) {
    const column &digit = *key.columns()[c];
    if (step.opens_batch)
      unpackers[c].open(steps.rows_of(digit), steps.filter());
    unpackers[c].next(step.rows);
    const uint32_t *codes = unpackers[c].codes_of_four_bytes();
    for (uint32_t row = 0; row < step.rows; ++row)
      keys[row] = keys[row] * code_key::codes(digit) + codes[row];
  }
  group_of_row.resize(step.rows);
  for (uint32_t row = 0; row < step.rows; ++row)
    group_of_row[row] = group_of(keys[row]);
}

uint32_t wide_groups::group_of(uint64_t wanted) {
  size_t slot = slot_of(wanted);
  if (slots[slot] == 0) {
    if (key_of_group.size() >= slots.size() / 2) {
      grow();
      slot = slot_of(wanted);
    }
    key_of_group.push_back(wanted);
    slots[slot] = group_count();
  }
  return slots[slot] - 1;
}

// Where a key is, or the empty slot where it belongs.
size_t wide_groups::slot_of(uint64_t wanted) const {
  constexpr uint64_t odd = 0x9e3779b97f4a7c15;
  const int shift = 64 - std::countr_zero(slots.size());
  size_t slot = wanted * odd >> shift;
  while (slots[slot] != 0 && key_of_group[slots[slot] - 1] != wanted)
    slot = (slot + 1) % slots.size();
  return slot;
}

void wide_groups::grow() {
  slots.assign(2 * slots.size(), 0);
  for (uint32_t group = 0; group < group_count(); ++group)
    slots[slot_of(key_of_group[group])] = group + 1;
}

} // namespace store
