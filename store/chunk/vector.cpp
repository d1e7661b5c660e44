#include "store/chunk/vector.hpp"

namespace store::exec {

namespace {

std::span<const uint64_t> gathered_validity(const vector &from, std::span<const uint32_t> rows, arena &memory,
                                            bool may_miss) {
  const std::span<uint64_t> out = all_valid(memory, rows.size());
  bool has_nulls = false;
  for (size_t i = 0; i < rows.size(); ++i)
    if ((may_miss && rows[i] == no_row) || from.is_null(rows[i])) {
      set_null(out, i);
      has_nulls = true;
    }
  return has_nulls ? out : std::span<uint64_t>();
}

} // namespace

vector gathered(const vector &from, std::span<const uint32_t> rows, arena &memory, bool may_miss) {
  return with_type(from.form, [&]<class T>(T) {
    const std::span<T> out = memory.take<T>(rows.size());
    const std::span<const T> values = from.values<T>();
    if (may_miss)
      for (size_t i = 0; i < rows.size(); ++i)
        out[i] = rows[i] == no_row ? T{} : values[rows[i]];
    else
      for (size_t i = 0; i < rows.size(); ++i)
        out[i] = values[rows[i]];
    vector made(out);
    if (may_miss || from.validity != nullptr)
      made.validity = gathered_validity(from, rows, memory, may_miss).data();
    return made;
  });
}

vector rows_of(const vector &from, size_t first, size_t rows) {
  vector out = from;
  out.rows = static_cast<uint32_t>(rows);
  out.data =
      with_type(from.form, [&]<class T>(T) -> const void * { return static_cast<const T *>(from.data) + first; });
  if (from.validity != nullptr)
    out.validity = from.validity + first / 64;
  return out;
}

bool has_null(const vector &values) {
  if (values.validity == nullptr)
    return false;
  const size_t whole = values.rows / 64;
  for (size_t word = 0; word < whole; ++word)
    if (~values.validity[word] != 0)
      return true;
  const size_t rest = values.rows % 64;
  return rest != 0 && (~values.validity[whole] & ((uint64_t{1} << rest) - 1)) != 0;
}

vector plain_values(const vector &from, const layout &of, arena &memory) {
  if (from.form != representation::codes)
    return from;
  const auto looked_up = [&]<class T>(std::span<const T> values) {
    const std::span<const uint32_t> codes = from.codes();
    const std::span<T> out = memory.take<T>(codes.size());
    for (size_t row = 0; row < codes.size(); ++row)
      out[row] = values[codes[row]];
    return vector(out, from.validity);
  };
  switch (plain_representation(of.held())) {
  case representation::int64:
    return looked_up(of.entries->int64s());
  case representation::int128:
    return looked_up(of.entries->int128s());
  case representation::float64:
    return looked_up(of.entries->float64s());
  default:
    return looked_up(of.entries->texts());
  }
}

} // namespace store::exec
