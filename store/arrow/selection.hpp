// Selected rows, one bit each, with their number in total and by batch.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <vector>

#include "store/encode/column.hpp"
#include <vorn/aligned.hpp>
#include <vorn/vorn.h>

namespace store {

struct selection {
  vorn_host::aligned_vector<uint64_t> words;
  std::vector<uint32_t> batch_counts;
  uint64_t count = 0;

  void resize(uint64_t rows) {
    words.resize((rows + 63) / 64);
    batch_counts.resize((rows + batch_rows - 1) / batch_rows);
  }
  // The number in total, from those by batch.
  void count_rows() { count = std::accumulate(batch_counts.begin(), batch_counts.end(), uint64_t{0}); }
  bool contains(uint64_t row) const { return (words[row / 64] >> (row % 64) & 1) != 0; }
  uint64_t *batch_words(uint64_t index) { return words.data() + index * (batch_rows / 64); }
  const uint64_t *batch_words(uint64_t index) const { return words.data() + index * (batch_rows / 64); }

  // Adds the rows of another selection of as many rows.
  void add(const selection &more) {
    for (size_t i = 0; i < batch_counts.size(); ++i) {
      if (more.batch_counts[i] == 0)
        continue;
      // The bits after the last row are clear.
      const uint64_t bits = std::min<uint64_t>(batch_rows, (words.size() - i * (batch_rows / 64)) * 64);
      count -= batch_counts[i];
      vorn_global_ctx.vorn_lbiwvor_dydi(batch_words(i), &batch_counts[i], batch_words(i), more.batch_words(i), bits);
      count += batch_counts[i];
    }
  }

  friend bool operator==(const selection &, const selection &) = default;
};

} // namespace store
