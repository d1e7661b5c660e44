#include "store/plan/hashed_groups.hpp"

#include <utility>

#include "store/join/value_bytes.hpp"

namespace store {

hashed_groups::hashed_groups(std::unique_ptr<row_source> rows, std::span<const column *const> columns,
                             std::vector<numbers> summed)
    : source(std::move(rows)), added(std::move(summed)), shown(columns.size()) {
  for (const column *c : columns)
    kinds.push_back(c->type.kind);
}

uint32_t hashed_groups::next() {
  const auto count = static_cast<uint32_t>(source->next());
  if (count == 0)
    return 0;
  const row_block rows = source->rows();
  if (!kinds.empty())
    find_groups(rows.first(kinds.size()));
  for (size_t n = 0; n < added.size(); ++n)
    added[n].assign(rows[kinds.size() + n]);
  return count;
}

void hashed_groups::find_groups(row_block rows) {
  std::vector<value_bytes> values(kinds.size());
  for (size_t c = 0; c < kinds.size(); ++c)
    values[c].assign_keys(rows[c], kinds[c]);
  group_of_row.resize(rows.front().size());
  std::string key;
  std::vector<cell> row(kinds.size());
  for (size_t i = 0; i < group_of_row.size(); ++i) {
    // NULL, which equals NULL here, has a length that no value has.
    key.clear();
    for (size_t c = 0; c < kinds.size(); ++c) {
      row[c] = rows[c][i];
      const bool is_null = std::holds_alternative<std::monostate>(row[c]);
      const uint32_t length = is_null ? UINT32_MAX : static_cast<uint32_t>(values[c][i].size());
      key.append(reinterpret_cast<const char *>(&length), sizeof length).append(values[c][i]);
    }
    auto found = group_of_key.find(std::string_view(key));
    if (found == group_of_key.end()) {
      found = group_of_key.emplace(key, group_count()).first;
      shown.add(row);
    }
    group_of_row[i] = found->second;
  }
}

void hashed_groups::show(uint32_t group, std::span<cell> out) const {
  for (size_t c = 0; c < out.size(); ++c)
    out[c] = shown.column(c)[group];
}

} // namespace store
