// The data of the public classes, for the sources of these classes.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "store/arrow/selection.hpp"
#include "store/error.hpp"
#include "store/value/column_names.hpp"
#include <vorn/store/table.hpp>

namespace vorn::store {

struct table_data {
  std::vector<::store::column_info> infos;
  ::store::column_map columns;
  uint64_t rows = 0;

  const ::store::column &at(size_t index) const { return columns.find(infos[index].name)->second; }
};

struct selection::state {
  ::store::selection bits; // the counts are made when they are needed
  uint64_t rows = 0;
};

struct access {
  static table made(std::vector<::store::column_info> infos, ::store::column_map columns, uint64_t rows) {
    return table(std::make_shared<const table_data>(table_data{std::move(infos), std::move(columns), rows}));
  }
  static const std::shared_ptr<const table_data> &data(const table &of) { return of.data_; }

  // The bits with their counts.  Bits after the last row are cleared, because a kernel may have set them.
  static ::store::selection counted(const selection &of);
};

// Calls a function.  An error of the store becomes the public error.
template <class Call>
auto checked(Call call) {
  try {
    return call();
  } catch (const ::store::error &e) {
    throw error(e.what());
  }
}

} // namespace vorn::store
