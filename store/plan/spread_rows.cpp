#include "store/plan/spread_rows.hpp"

#include <algorithm>

namespace store {

uint64_t spread_rows::next() {
  for (;;) {
    if (next_batch == taken.size()) {
      if (batches_taken == batches)
        return 0;
      take_batches();
      continue;
    }
    const auto &[rows, steps] = taken[next_batch];
    if (next_step < steps.size()) {
      const uint64_t count = steps[next_step++];
      for (size_t c = 0; c < blocks.size(); ++c)
        blocks[c] = std::span(rows.column(c)).subspan(next_row, count);
      next_row += count;
      return count;
    }
    ++next_batch;
    next_step = next_row = 0;
  }
}

// One for each thread, so that few rows are kept and few are taken in vain before a limit.
void spread_rows::take_batches() {
  const size_t first = batches_taken;
  batches_taken = std::min(batches, first + run.threads());
  taken.clear();
  while (taken.size() < batches_taken - first)
    taken.push_back({kept_rows(blocks.size()), {}});
  next_batch = next_step = next_row = 0;
  run.each(taken.size(), [&](size_t thread, size_t i) {
    batch_source &source = sources.of(thread, [&] { return sources.first().another(); });
    source.go_to(first + i);
    while (const uint64_t count = source.next()) {
      taken[i].rows.add(source.rows());
      taken[i].steps.push_back(count);
    }
  });
}

} // namespace store
