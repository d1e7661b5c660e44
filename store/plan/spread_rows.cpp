#include "store/plan/spread_rows.hpp"

#include <algorithm>

namespace store {

uint64_t spread_rows::next() {
  for (;;) {
    if (next_batch_ == taken_.size()) {
      if (batches_taken_ == batches_)
        return 0;
      take_batches();
      continue;
    }
    const auto &[rows, steps] = taken_[next_batch_];
    if (next_step_ < steps.size()) {
      const uint64_t count = steps[next_step_++];
      for (size_t c = 0; c < blocks_.size(); ++c)
        blocks_[c] = std::span(rows.column(c)).subspan(next_row_, count);
      next_row_ += count;
      return count;
    }
    ++next_batch_;
    next_step_ = next_row_ = 0;
  }
}

// One for each thread, so that few rows are kept and few are taken in vain before a limit.
void spread_rows::take_batches() {
  const size_t first = batches_taken_;
  batches_taken_ = std::min(batches_, first + run_.threads());
  taken_.clear();
  while (taken_.size() < batches_taken_ - first)
    taken_.push_back({kept_rows(blocks_.size()), {}});
  next_batch_ = next_step_ = next_row_ = 0;
  run_.each(taken_.size(), [&](size_t thread, size_t i) {
    batch_source &source = sources_.of(thread, [&] { return sources_.first().another(); });
    source.go_to(first + i);
    while (const uint64_t count = source.next()) {
      taken_[i].rows.add(source.rows());
      taken_[i].steps.push_back(count);
    }
  });
}

} // namespace store
