// The values of a stored column, as scans read them.
#pragma once

#include <memory>

#include "store/chunk/cells.hpp"
#include "store/chunk/kept_rows.hpp"
#include "store/operator/column_reader.hpp"

namespace vorn_test {

// Calls with each value in the order of the rows.  The bytes of a text are there for the call.
template <class Take>
void for_each_cell(const vorn_ctx &ctx, const store::column &of, const Take &take) {
  using namespace store;
  const auto not_owned = [&of](size_t) { return std::shared_ptr<const column>(std::shared_ptr<void>(), &of); };
  exec::table table("", {{of.name, "", of.type}}, of.rows, not_owned);
  exec::layout layout = exec::layout_of(table, 0);
  layout.type.held = of.type;
  exec::column_reader reader(ctx, of, layout.form, table.values_of(0).get(), nullptr);
  exec::arena memory;
  for (size_t group = 0; group < of.batches.size(); ++group, memory.rewind({})) {
    const exec::vector values = reader.read(group, exec::consecutive(0, of.batches[group].rows, memory), memory);
    for (uint32_t row = 0; row < values.rows; ++row)
      take(exec::cell_at(values, layout, row));
  }
}

} // namespace vorn_test
