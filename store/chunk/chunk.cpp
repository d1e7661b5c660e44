#include "store/chunk/chunk.hpp"

#include <algorithm>

namespace store::exec {

const vector &chunk::column(size_t index) {
  slot &wanted = columns_[index];
  if (wanted.is_read && wanted.generation == generation())
    return wanted.values;
  if (wanted.is_read)
    wanted.values = gathered(wanted.values, rows_since(wanted.generation), *memory_);
  else
    wanted.values = sources_[wanted.source].from->read(wanted.column, positions(wanted.source), *memory_);
  wanted.is_read = true;
  wanted.generation = generation();
  return wanted.values;
}

size_t chunk::add_source(row_source &from, std::span<const uint32_t> positions) {
  sources_.push_back({&from, positions, generation()});
  return sources_.size() - 1;
}

void chunk::add_column(size_t of_source, size_t column_of_source) { columns_.push_back({of_source, column_of_source}); }

void chunk::add_column(const vector &values) { columns_.push_back({no_source, 0, true, values, generation()}); }

void chunk::keep(std::span<const uint32_t> rows) {
  std::fill(kept_.begin(), kept_.end(), std::span<const uint32_t>());
  kept_.push_back(rows);
  steps_.push_back(rows);
  rows_ = static_cast<uint32_t>(rows.size());
}

std::span<const uint32_t> chunk::rows_since(size_t generation) {
  std::span<const uint32_t> &known = kept_[generation];
  if (known.data() == nullptr && rows_ != 0) {
    const std::span<const uint32_t> later = rows_since(generation + 1);
    const std::span<uint32_t> made = memory_->take<uint32_t>(rows_);
    for (size_t row = 0; row < rows_; ++row)
      made[row] = steps_[generation][later[row]];
    known = made;
  }
  return known;
}

std::span<const uint32_t> chunk::positions(size_t index) {
  source &of = sources_[index];
  if (of.generation != generation()) {
    const std::span<const uint32_t> left = rows_since(of.generation);
    const std::span<uint32_t> made = memory_->take<uint32_t>(rows_);
    for (size_t row = 0; row < rows_; ++row)
      made[row] = of.positions[left[row]];
    of = {of.from, made, generation()};
  }
  return of.positions;
}

} // namespace store::exec
