#include "store/chunk/stored_values.hpp"

#include <type_traits>

namespace store::exec {

namespace {

// Calls a function for each row with the value for the builder.  `key` makes this value.
template <class Builder, class Value, class Key>
void append_rows(Builder &to, const vector &values, Key key) {
  const std::span<const Value> from = values.values<Value>();
  for (size_t row = 0; row < from.size(); ++row)
    to.append(values.is_null(row) ? to.null_row() : to.row_of(key(from[row])));
}

} // namespace

void append(column_builder &to, const vector &values, const column_type &type) {
  to.with([&]<class Builder>(Builder &builder) {
    if constexpr (std::is_same_v<typename Builder::value, std::string_view>) {
      if (values.form == representation::text)
        append_rows<Builder, std::string_view>(builder, values, [](std::string_view text) { return text; });
      else // the builder copies the bytes of a key at once
        append_rows<Builder, __int128>(builder, values, [key = wide_key()](__int128 number) mutable {
          key = wide_key_of(number);
          return key.view();
        });
    } else if (values.form == representation::float64) {
      append_rows<Builder, double>(builder, values, real_key);
    } else if (type.kind == value_kind::natural) {
      append_rows<Builder, __int128>(builder, values,
                                     [](__int128 number) { return natural_key(static_cast<uint64_t>(number)); });
    } else {
      append_rows<Builder, int64_t>(builder, values, [](int64_t number) { return number; });
    }
  });
}

} // namespace store::exec
