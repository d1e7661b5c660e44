#include "store/plan/hashed_groups.hpp"

#include <utility>

#include "store/join/value_bytes.hpp"

namespace store {

hashed_groups::hashed_groups(std::unique_ptr<batch_source> rows, std::span<const column *const> columns,
                             std::span<const number_column> added)
    : source_(std::move(rows)), columns_(columns.begin(), columns.end()), added_(added.begin(), added.end()),
      numbers_of_rows_(added_.begin(), added_.end()), shown_(columns_.size()) {}

uint32_t hashed_groups::next() {
  const auto count = static_cast<uint32_t>(source_->next());
  if (count == 0)
    return 0;
  const row_block rows = source_->rows();
  if (!columns_.empty())
    find_groups(rows.first(columns_.size()));
  for (size_t n = 0; n < numbers_of_rows_.size(); ++n)
    numbers_of_rows_[n].assign(rows[columns_.size() + n]);
  return count;
}

void hashed_groups::find_groups(row_block rows) {
  std::vector<value_bytes> values(columns_.size());
  for (size_t c = 0; c < columns_.size(); ++c)
    values[c].assign_keys(rows[c], columns_[c]->type.kind);
  group_of_row_.resize(rows.front().size());
  std::string key;
  std::vector<cell> row(columns_.size());
  for (size_t i = 0; i < group_of_row_.size(); ++i) {
    // NULL, which equals NULL here, has a length that no value has.
    key.clear();
    for (size_t c = 0; c < columns_.size(); ++c) {
      row[c] = rows[c][i];
      const bool is_null = std::holds_alternative<std::monostate>(row[c]);
      const uint32_t length = is_null ? UINT32_MAX : static_cast<uint32_t>(values[c][i].size());
      key.append(reinterpret_cast<const char *>(&length), sizeof length).append(values[c][i]);
    }
    group_of_row_[i] = number_of(key, row);
  }
}

uint32_t hashed_groups::number_of(std::string_view key, std::span<const cell> values) {
  auto found = group_of_key_.find(key);
  if (found == group_of_key_.end()) {
    found = group_of_key_.emplace(key, group_count()).first;
    key_of_group_.push_back(found->first);
    shown_.add(values);
  }
  return found->second;
}

uint32_t hashed_groups::group_of(const group_input &there, uint32_t group) {
  const auto &other = static_cast<const hashed_groups &>(there);
  std::vector<cell> values(columns_.size());
  if (columns_.empty())
    return group;
  other.show(group, values);
  return number_of(other.key_of_group_[group], values);
}

void hashed_groups::show(uint32_t group, std::span<cell> out) const {
  for (size_t c = 0; c < out.size(); ++c)
    out[c] = shown_.column(c)[group];
}

} // namespace store
