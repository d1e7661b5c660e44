#include "store/chunk/cells.hpp"

namespace store::exec {

namespace {

cell cell_of(__int128 number, const column_type &type) {
  if (type.is_wide())
    return wide_key_of(number);
  return type.kind == value_kind::natural ? natural_key(static_cast<uint64_t>(number)) : static_cast<int64_t>(number);
}

} // namespace

cell cell_at(const vector &values, const layout &of, size_t row) {
  if (values.is_null(row))
    return std::monostate();
  switch (values.form) {
  case representation::codes:
    return of.entries->symbols().value_of(values.codes()[row], of.held().kind);
  case representation::int64:
    return cell_of(values.int64s()[row], of.held());
  case representation::int128:
    return cell_of(values.int128s()[row], of.held());
  case representation::float64:
    return real_key(values.float64s()[row]);
  case representation::text:
    break;
  }
  return values.texts()[row];
}

} // namespace store::exec
