#include "store/chunk/encoded_column.hpp"

#include <type_traits>

#include "store/chunk/cells.hpp"
#include "store/encode/column_builder.hpp"

namespace store::exec {

namespace {

// A cell in the form of a builder.
template <class Value>
Value value_in(const cell &c) {
  if constexpr (std::is_same_v<Value, std::string_view>) {
    const auto *wide = std::get_if<wide_key>(&c);
    return wide != nullptr ? wide->view() : std::get<std::string_view>(c);
  } else {
    return std::get<int64_t>(c);
  }
}

} // namespace

column encoded_column(const std::string &name, const layout &of, const vector &values, const encoding_choice &choice) {
  column_builder building({name, of.type.name, of.held()}, choice);
  building.with([&](auto &builder) {
    using value = typename std::remove_reference_t<decltype(builder)>::value;
    for (size_t row = 0; row < values.rows; ++row) {
      const cell c = cell_at(values, of, row);
      if (std::holds_alternative<std::monostate>(c))
        builder.append(builder.null_row());
      else
        builder.append(builder.row_of(value_in<value>(c)));
    }
  });
  return building.finish();
}

} // namespace store::exec
