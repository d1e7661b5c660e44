#include "store/operator/table_rows.hpp"

#include <algorithm>
#include <numeric>
#include <vector>

#include "store/chunk/stored_values.hpp"
#include "store/encode/column_builder.hpp"
#include "store/operator/column_reader.hpp"

namespace store::exec {

void read_rows(const vorn_ctx &library, table &of, std::span<const size_t> columns, const rows_taker &take) {
  std::vector<layout> layouts;
  std::vector<stored_column> stored;
  for (const size_t c : columns) {
    layouts.push_back(layout_of(of, c));
    stored.push_back(stored_column_of(of, c));
  }
  if (columns.empty())
    return;
  row_group_source rows(library, stored);
  arena memory;
  std::vector<vector> values(columns.size());
  const std::vector<column_segment> &groups = stored.front().stored->segments;
  for (size_t group = 0; group < groups.size(); ++group) {
    rows.go_to(group);
    for (uint32_t first = 0; first < groups[group].rows; first += chunk_rows) {
      memory.rewind({});
      const std::span<uint32_t> positions = memory.take<uint32_t>(std::min(chunk_rows, groups[group].rows - first));
      std::iota(positions.begin(), positions.end(), first);
      for (size_t c = 0; c < columns.size(); ++c)
        values[c] = plain_values(rows.read(c, positions, memory), layouts[c], memory);
      take(values, static_cast<uint32_t>(positions.size()));
    }
  }
}

column concatenated(const vorn_ctx &library, std::span<table *const> parts, size_t index, const encoding_choice &choice,
                    const std::function<void(uint64_t)> &progress) {
  const column_info &info = parts.front()->columns()[index];
  column_builder building(info, choice);
  uint64_t done = 0;
  for (table *const part : parts)
    read_rows(library, *part, std::span(&index, 1), [&](std::span<const vector> columns, uint32_t rows) {
      append(building, columns.front(), *info.type);
      progress(done += rows);
    });
  return building.finish();
}

} // namespace store::exec
