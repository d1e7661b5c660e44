#include "store/join/hash_join.hpp"

#include <utility>

#include <fmt/format.h>

#include "store/encode/dictionary.hpp"
#include "store/error.hpp"
#include "store/join/value_bytes.hpp"

namespace store {

namespace {

// A bit for each column of a row of the second table: whether its value is NULL, which a record has no length for.
class null_bits {
public:
  explicit null_bits(size_t columns) : row_bytes((columns + 7) / 8) {}

  void clear(size_t rows) { bits.assign(rows * row_bytes, 0); }
  void add(size_t column, std::span<const cell> cells) {
    for (size_t row = 0; row < cells.size(); ++row)
      if (std::holds_alternative<std::monostate>(cells[row])) {
        uint8_t &byte = bits[row * row_bytes + column / 8];
        byte = static_cast<uint8_t>(byte | 1 << (column % 8));
      }
  }
  static bool contains(std::string_view field, size_t column) {
    return (static_cast<uint8_t>(field[column / 8]) >> (column % 8) & 1) != 0;
  }
  row_vector vector(size_t rows) const {
    return row_vector::fixed(static_cast<uint32_t>(8 * row_bytes), bits.data(), rows);
  }

private:
  size_t row_bytes;
  std::vector<uint8_t> bits;
};

} // namespace

hash_join::hash_join(const vorn_ctx &context, join_side probed, const join_side &second,
                     std::span<const output_column> columns, row_test row_filter, const join_settings &chosen)
    : ctx(context), settings(chosen), test(std::move(row_filter)), first(std::move(probed)),
      keys(ctx, first.key, first.selected()), steps(first.key, first.selected()) {
  for (const output_column &c : columns) {
    shown.push_back({c.of->type.kind, c.of_second, {}, {}, {}});
    if (!c.of_second)
      shown.back().reader.emplace(ctx, *c.of, first.selected());
  }
  blocks.resize(shown.size());
  build(second, columns);
  probe.emplace(ctx, *table, map ? &*map : nullptr, settings);
}

// A record is the key, which confirms candidates, and what is shown of the row: the bits of NULLs and the values.
void hash_join::build(const join_side &second, std::span<const output_column> columns) {
  const uint64_t rows = second.count();
  const auto *entries = std::get_if<dictionary>(&second.key.values);
  table.emplace(ctx, shape_of(rows, entries != nullptr ? entries->size() : rows, settings), settings);
  records.emplace(ctx, rows, settings);
  if (settings.bloom.value_or(first.count() > rows))
    map.emplace(ctx, rows);
  built_rows.reserve(rows);

  key_reader built_keys(ctx, second.key, second.selected());
  row_steps built_steps(second.key, second.selected());
  row_cursor built_cursor;
  std::vector<row_reader> readers;
  for (const output_column &c : columns)
    if (c.of_second)
      readers.emplace_back(ctx, *c.of, second.selected());
  constexpr size_t most_fields = 255;
  if (readers.size() > most_fields - 2)
    throw error(fmt::format("a join takes {} columns of its second table at the most", most_fields - 2));
  std::vector<value_bytes> values(readers.size() + 1);
  null_bits nulls(readers.size());
  for (;;) {
    const std::span<const uint64_t> hashes = built_keys.next();
    const row_steps::step step = built_steps.next();
    if (hashes.empty())
      break;
    table->insert(hashes);
    if (map)
      map->add(hashes);
    if (step.opens_batch)
      built_cursor.open(built_steps.rows(), built_steps.filter());
    for (uint32_t row : built_cursor.next(hashes.size()))
      built_rows.push_back(built_steps.first_row() + row);

    values[0].clear();
    for (size_t row = 0; row < hashes.size(); ++row)
      values[0].add(built_keys.key(row));
    nulls.clear(hashes.size());
    std::vector<row_vector> fields = {values[0].vector()};
    if (!readers.empty())
      fields.push_back(nulls.vector(hashes.size()));
    for (size_t c = 0; c < readers.size(); ++c) {
      const std::span<const cell> cells = readers[c].next();
      nulls.add(c, cells);
      values[c + 1].assign(cells);
      fields.push_back(values[c + 1].vector());
    }
    records->append(fields);
  }
  table->finish();
}

uint64_t hash_join::next() {
  do {
    const std::span<const candidate> candidates = probe->next();
    pairs.clear();
    if (!candidates.empty())
      confirm(candidates);
    else if (!next_step())
      return 0;
  } while (pairs.empty());
  show();
  return pairs.size();
}

bool hash_join::next_step() {
  const std::span<const uint64_t> hashes = keys.next();
  const row_steps::step step = steps.next();
  if (hashes.empty())
    return false;
  did.probed_rows += hashes.size();
  if (step.opens_batch)
    cursor.open(steps.rows(), steps.filter());
  step_rows = cursor.next(hashes.size());
  for (shown_column &c : shown)
    if (c.reader)
      c.step = c.reader->next();
  probe->open(hashes);
  return true;
}

void hash_join::confirm(std::span<const candidate> candidates) {
  did.candidates += candidates.size();
  const std::span<const uint8_t *const> fetched = records->fetch(candidates);
  places.clear();
  matches.clear();
  for (size_t i = 0; i < candidates.size(); ++i) {
    const auto place = static_cast<uint32_t>(candidates[i].row);
    if (record_fields(fetched[i]).next() != keys.key(place))
      continue;
    ++did.confirmed;
    const joined_row row{steps.first_row() + step_rows[place], built_rows[candidates[i].built]};
    if (test && !test(row))
      continue;
    pairs.push_back(row);
    places.push_back(place);
    matches.push_back(fetched[i]);
  }
}

void hash_join::show() {
  std::vector<shown_column *> of_second;
  for (shown_column &c : shown) {
    c.cells.resize(pairs.size());
    if (c.of_second)
      of_second.push_back(&c);
    else
      for (size_t i = 0; i < pairs.size(); ++i)
        c.cells[i] = c.step[places[i]];
  }
  for (size_t i = 0; i < pairs.size() && !of_second.empty(); ++i) {
    record_fields fields(matches[i]);
    fields.next(); // the key
    const std::string_view nulls = fields.next();
    for (size_t c = 0; c < of_second.size(); ++c) {
      const std::string_view symbol = fields.next();
      of_second[c]->cells[i] =
          null_bits::contains(nulls, c) ? cell() : dictionary::value_of(symbol, of_second[c]->kind);
    }
  }
  for (size_t c = 0; c < shown.size(); ++c)
    blocks[c] = shown[c].cells;
}

join_statistics hash_join::statistics() const {
  join_statistics out = did;
  out.shape = table->shape();
  out.built_rows = table->rows();
  out.overflow_buckets = table->overflow_buckets();
  out.table_bytes = table->bytes();
  out.map_bytes = map ? map->bytes() : 0;
  out.tested = probe->tested();
  out.passed = probe->passed();
  out.map_given_up = probe->gave_up();
  return out;
}

} // namespace store
