#include "store/join/hash_join.hpp"

#include <algorithm>
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
    : ctx(context), settings(chosen), test(std::move(row_filter)), groups(0), first(std::move(probed)),
      probed_keys(ctx, first.key, first.selected()), steps(first.key, first.selected()), matches(settings.pairs),
      pairs(settings.pairs) {
  for (const output_column &c : columns) {
    shown.push_back({c.of->type.kind, c.of_second, {}, {}, {}});
    if (!c.of_second)
      shown.back().reader.emplace(ctx, *c.of, first.selected());
  }
  blocks.resize(shown.size());
  build(second, columns);
  probe.emplace(ctx, *table, map ? &*map : nullptr, settings);
}

void hash_join::build(const join_side &second, std::span<const output_column> columns) {
  key_reader built_keys(ctx, second.key, second.selected());
  const uint64_t rows = did.built_rows = second.count();
  const uint64_t codes = built_keys.distinct_codes();
  const uint64_t most_entries = codes != 0 ? std::min(codes, rows) : rows;
  table.emplace(ctx, shape_of(most_entries, settings), settings);
  keys.emplace(ctx, most_entries, settings);
  groups = row_groups(codes);
  if (settings.bloom.value_or(first.count() > rows))
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

uint64_t hash_join::next() {
  joined_count = 0;
  while (joined_count == 0) {
    if (next_equal == equal.size() && !next_keys())
      return 0;
    join_rows();
  }
  show();
  return joined_count;
}

bool hash_join::next_step() {
  const std::span<const uint64_t> hashes = probed_keys.next();
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

// Goes on to the next entries whose keys are equal to those of rows of the step, or of the next one that has such rows.
bool hash_join::next_keys() {
  equal.clear();
  next_equal = 0;
  next_row = 0;
  while (equal.empty()) {
    const std::span<const candidate> candidates = probe->next();
    if (candidates.empty()) {
      if (!next_step())
        return false;
      continue;
    }
    const std::span<const uint8_t *const> fetched = keys->fetch(candidates);
    for (size_t i = 0; i < candidates.size(); ++i)
      if (record_fields(fetched[i]).next() == probed_keys.key(candidates[i].row))
        equal.push_back(candidates[i]);
    did.candidates += candidates.size();
    did.confirmed += equal.size();
  }
  return true;
}

// Joins rows with all rows of entries, as many as one block has room for.
void hash_join::join_rows() {
  const uint64_t first_row = steps.first_row();
  for (; next_equal < equal.size(); ++next_equal, next_row = 0) {
    const auto [place, entry] = equal[next_equal];
    for (const uint64_t rows = groups.count(entry); next_row < rows; ++next_row) {
      if (joined_count == pairs.size())
        return;
      const uint64_t built = groups.row(entry, next_row);
      pairs[joined_count] = {first_row + step_rows[place], built_rows.empty() ? built : built_rows[built]};
      matches[joined_count] = {place, built};
      if (!test || test(pairs[joined_count]))
        ++joined_count;
    }
  }
}

void hash_join::show() {
  std::vector<shown_column *> of_second;
  for (shown_column &c : shown) {
    c.cells.resize(joined_count);
    if (c.of_second)
      of_second.push_back(&c);
    else
      for (size_t i = 0; i < joined_count; ++i)
        c.cells[i] = c.step[matches[i].row];
  }
  const auto fetched =
      of_second.empty() ? std::span<const uint8_t *const>() : records->fetch(std::span(matches).first(joined_count));
  for (const uint8_t *const &record : fetched) {
    const auto i = static_cast<size_t>(&record - fetched.data());
    record_fields fields(record);
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
  out.built_keys = table->rows();
  out.overflow_buckets = table->overflow_buckets();
  out.table_bytes = table->bytes();
  out.map_bytes = map ? map->bytes() : 0;
  out.tested = probe->tested();
  out.passed = probe->passed();
  out.map_given_up = probe->gave_up();
  return out;
}

} // namespace store
