// The values of a stored column, row by row, as a query reads them.
#pragma once

#include <cstdint>
#include <memory>

#include "store/chunk/cells.hpp"
#include "store/chunk/kept_rows.hpp"
#include "store/operator/column_reader.hpp"

namespace vorn_test {

// Calls with the value of each row.  The bytes of a text are good for the call only.
template <class Take>
void for_each_value(const vorn_ctx &ctx, const store::column &of, const Take &take) {
  using namespace store::exec;
  table alone("alone", {{of.name, "", of.type}}, of.rows,
              [&](size_t) { return std::shared_ptr<const store::column>(std::shared_ptr<void>(), &of); });
  layout as = layout_of(alone, 0);
  as.type.held = of.type;
  const auto entries = alone.values_of(0);
  column_reader reader(ctx, of, as.form, entries.get(), nullptr);
  static arena memory; // to clear a new one takes longer than to read a small column
  for (size_t group = 0; group < of.segments.size(); ++group)
    for (size_t first = 0; first < of.segments[group].rows; first += chunk_rows) {
      const size_t rows = std::min<size_t>(chunk_rows, of.segments[group].rows - first);
      const vector values = reader.read(group, consecutive(first, rows, memory), memory);
      for (size_t row = 0; row < rows; ++row)
        take(cell_at(values, as, row));
      memory.rewind({});
    }
}

} // namespace vorn_test
