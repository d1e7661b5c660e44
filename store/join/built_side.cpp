#include "store/join/built_side.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "store/decode/row_cursor.hpp"
#include "store/decode/row_reader.hpp"
#include "store/decode/row_steps.hpp"
#include "store/error.hpp"
#include "store/join/key_reader.hpp"
#include "store/join/null_bits.hpp"
#include "store/join/value_bytes.hpp"

namespace store {

built_side::built_side(const vorn_ctx &ctx, const join_side &second, std::span<const output_column> columns,
                       uint64_t probed_rows, const join_settings &settings)
    : count(second.count()) {
  key_reader built_keys(ctx, second.key, second.selected());
  const uint64_t rows = count;
  const uint64_t codes = built_keys.distinct_codes();
  const uint64_t most_entries = codes != 0 ? std::min(codes, rows) : rows;
  table.emplace(ctx, shape_of(most_entries, settings), settings);
  keys.emplace(ctx, most_entries, settings);
  groups = row_groups(codes);
  if (settings.bloom.value_or(probed_rows > rows))
    map.emplace(ctx, most_entries);

  row_steps built_steps(second.key, second.selected());
  row_cursor built_cursor;
  std::vector<row_reader> readers;
  for (const output_column &c : columns)
    if (c.of_second)
      readers.emplace_back(ctx, *c.of, second.selected());
  constexpr size_t most_columns = 254; // beside the bits of NULLs in a matrix of the library
  if (readers.size() > most_columns)
    throw error(fmt::format("a join shows {} columns of its second table at the most", most_columns));
  if (!readers.empty())
    records.emplace(ctx, rows, settings);
  value_bytes new_keys;
  std::vector<uint64_t> new_hashes;
  std::vector<value_bytes> values(readers.size());
  null_bits nulls(readers.size());
  for (;;) {
    const std::span<const uint64_t> hashes = built_keys.next();
    const row_steps::step step = built_steps.next();
    if (hashes.empty())
      break;
    new_keys.clear();
    new_hashes.clear();
    for (size_t row = 0; row < hashes.size(); ++row)
      if (codes != 0 ? groups.add(built_keys.code(row)) : groups.add()) {
        new_keys.add(built_keys.key(row));
        new_hashes.push_back(hashes[row]);
      }
    table->insert(new_hashes);
    if (map)
      map->add(new_hashes);
    std::vector<row_vector> fields = {new_keys.vector()};
    keys->append(fields);

    if (step.opens_batch)
      built_cursor.open(built_steps.rows(), built_steps.filter());
    if (second.rows)
      for (uint32_t row : built_cursor.next(hashes.size()))
        built_rows.push_back(built_steps.first_row() + row);
    if (readers.empty())
      continue;
    nulls.clear(hashes.size());
    fields = {nulls.vector(hashes.size())};
    for (size_t c = 0; c < readers.size(); ++c) {
      const std::span<const cell> cells = readers[c].next();
      nulls.add(c, cells);
      values[c].assign(cells);
      fields.push_back(values[c].vector());
    }
    records->append(fields);
  }
  table->finish();
  groups.finish();
}

} // namespace store
