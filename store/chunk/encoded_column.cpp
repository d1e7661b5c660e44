#include "store/chunk/encoded_column.hpp"

#include <type_traits>
#include <utility>
#include <vector>

#include "store/chunk/cells.hpp"
#include "store/chunk/stored_values.hpp"
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

// The codes of the values that occur, counted from 0, and the dictionary of these values.
dictionary reduced(const dictionary &from, std::span<uint32_t> codes, const vector &values) {
  constexpr uint32_t unused = ~uint32_t{0};
  std::vector<uint32_t> new_code(from.codes(), unused);
  bool has_nulls = false;
  for (size_t row = 0; row < values.rows; ++row)
    if (values.is_null(row))
      has_nulls = true;
    else
      new_code[values.codes()[row]] = 0;
  std::vector<std::string_view> symbols;
  for (size_t code = 0; code < new_code.size(); ++code)
    if (new_code[code] != unused) {
      new_code[code] = static_cast<uint32_t>(symbols.size() + (has_nulls ? 1 : 0));
      symbols.push_back(from.symbol(code));
    }
  for (size_t row = 0; row < values.rows; ++row)
    codes[row] = values.is_null(row) ? 0 : new_code[values.codes()[row]];
  return dictionary::of(symbols, has_nulls);
}

column encoded_codes(const std::string &name, const layout &of, const vector &values, bool smallest) {
  column out;
  out.name = name;
  out.type = of.held();
  std::vector<uint32_t> codes(values.rows);
  dictionary entries = reduced(of.entries->symbols(), codes, values);
  const coded_rows rows{codes, {}};
  if (entries.size() != 0 && !of.held().is_bytes() && !of.held().is_wide()) {
    const auto key_of = [&](uint64_t code) { return std::get<int64_t>(entries.value_of(code, of.held().kind)); };
    if (suits_fixed(rows, entries, {key_of(entries.first_code()), key_of(entries.codes() - 1)}, of.held(), smallest)) {
      std::vector<int64_t> keys(codes.size());
      for (size_t row = 0; row < keys.size(); ++row)
        keys[row] = key_of(codes[row]);
      store_keys(out, keys, encoding::fixed);
      out.plain_bytes = out.rows * out.type.plain_bytes;
      return out;
    }
  }
  if (out.type.is_bytes())
    for (const uint32_t code : codes)
      out.plain_bytes += entries.symbol(code).size();
  out.values = std::move(entries);
  store_codes(out, rows, {});
  out.plain_bytes += out.rows * out.type.plain_bytes;
  return out;
}

} // namespace

column encoded_column(const std::string &name, const layout &of, const vector &values, const encoding_choice &choice) {
  if (values.form == representation::codes && !choice.form && !choice.compressed)
    return encoded_codes(name, of, values, choice.smallest);
  column_builder building({name, of.type.name, of.held()}, choice);
  if (values.form == plain_representation(of.held())) {
    append(building, values, of.held());
    return building.finish();
  }
  building.with([&](auto &builder) {
    using value = typename std::remove_reference_t<decltype(builder)>::value;
    for (size_t row = 0; row < values.rows; ++row) {
      const cell c = cell_at(values, of, row);
      if (is_null(c))
        builder.append(builder.null_row());
      else
        builder.append(builder.row_of(value_in<value>(c)));
    }
  });
  return building.finish();
}

} // namespace store::exec
