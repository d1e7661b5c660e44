#include "store/saved/save_rows.hpp"

#include <optional>
#include <string>
#include <vector>

#include "store/chunk/encoded_column.hpp"
#include "store/error.hpp"
#include "store/saved/save.hpp"
#include "store/value/column_names.hpp"

namespace store {

namespace {

// Columns of an answer, encoded, on some of its rows or on all of them.  `write` takes them as saved columns.
template <class Write>
auto with_columns(const exec::answer &rows, std::optional<std::span<const uint32_t>> numbers,
                  const encoding_choice &choice, const Write &write) {
  const std::vector<std::string> names = distinct_names(rows.names);
  std::vector<column> columns;
  exec::arena memory;
  for (size_t c = 0; c < names.size(); ++c) {
    const exec::vector all = rows.rows.values(c);
    columns.push_back(
        exec::encoded_column(names[c], rows.columns[c], numbers ? exec::gathered(all, *numbers, memory) : all, choice));
    memory.rewind({});
  }
  std::vector<saved_column> saved;
  for (size_t c = 0; c < names.size(); ++c)
    saved.push_back({names[c], rows.columns[c].type.name, columns[c]});
  return write(saved);
}

template <class Write>
auto with_columns(exec::table &of, const Write &write) {
  std::vector<saved_column> saved;
  for (size_t c = 0; c < of.columns().size(); ++c)
    if (const column_info &info = of.columns()[c]; info.type)
      saved.push_back({info.name, info.sql_type, of.at(c)});
  if (saved.empty())
    throw error("there are no columns to save");
  return write(saved);
}

} // namespace

uint64_t save_rows(const std::filesystem::path &path, const exec::answer &rows) {
  return with_columns(rows, {}, {}, [&](std::span<const saved_column> columns) { return save(path, columns); });
}

vorn_host::aligned_vector<uint8_t> saved_row_bytes(const exec::answer &rows, std::span<const uint32_t> numbers) {
  return with_columns(rows, numbers, {}, [](std::span<const saved_column> columns) { return saved_bytes(columns); });
}

vorn_host::aligned_vector<uint8_t> sent_row_bytes(const exec::answer &rows, std::span<const uint32_t> numbers) {
  encoding_choice choice;
  choice.smallest = true;
  return with_columns(rows, numbers, choice,
                      [](std::span<const saved_column> columns) { return packed(saved_bytes(columns)); });
}

uint64_t save_table(const std::filesystem::path &path, exec::table &of) {
  return with_columns(of, [&](std::span<const saved_column> columns) { return save(path, columns); });
}

vorn_host::aligned_vector<uint8_t> saved_table_bytes(exec::table &of) {
  return with_columns(of, [](std::span<const saved_column> columns) { return saved_bytes(columns); });
}

} // namespace store
