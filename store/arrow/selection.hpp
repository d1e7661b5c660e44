// Selected rows, one bit each, with their number in total and for each row group.
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
  std::vector<uint32_t> row_group_counts;
  uint64_t count = 0;

  void resize(uint64_t rows) {
    words.resize((rows + 63) / 64);
    row_group_counts.resize((rows + row_group_rows - 1) / row_group_rows);
  }
  // Adds up the numbers of the row groups.
  void count_rows() { count = std::accumulate(row_group_counts.begin(), row_group_counts.end(), uint64_t{0}); }
  bool contains(uint64_t row) const { return (words[row / 64] >> (row % 64) & 1) != 0; }
  uint64_t *row_group_words(uint64_t index) { return words.data() + index * (row_group_rows / 64); }
  const uint64_t *row_group_words(uint64_t index) const { return words.data() + index * (row_group_rows / 64); }

  // Adds the rows of another selection of the same number of rows.
  void add(const selection &more) {
    for (size_t i = 0; i < row_group_counts.size(); ++i) {
      if (more.row_group_counts[i] == 0)
        continue;
      // The bits after the last row are clear.
      const uint64_t bits = std::min<uint64_t>(row_group_rows, (words.size() - i * (row_group_rows / 64)) * 64);
      count -= row_group_counts[i];
      vorn_global_ctx.vorn_lbiwvor_dydi(row_group_words(i), &row_group_counts[i], row_group_words(i),
                                        more.row_group_words(i), bits);
      count += row_group_counts[i];
    }
  }

  friend bool operator==(const selection &, const selection &) = default;
};

} // namespace store
