// Groups of any rows, whatever they are grouped by, by a hash map.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/decode/row_source.hpp"
#include "store/plan/group_input.hpp"
#include "store/plan/kept_rows.hpp"

namespace store {

class hashed_groups final : public group_input {
public:
  // The rows have the columns that they are grouped by and then those of numbers.  Without the first there is one
  // group.
  hashed_groups(std::unique_ptr<row_source> rows, std::span<const column *const> columns, std::vector<numbers> added);

  uint32_t next() override;
  const uint32_t *groups() const override { return kinds.empty() ? nullptr : group_of_row.data(); }
  const numbers &operator[](size_t column) const override { return added[column]; }
  uint32_t group_count() const override { return kinds.empty() ? 1 : static_cast<uint32_t>(shown.count()); }
  void show(uint32_t group, std::span<cell> out) const override;

private:
  void find_groups(row_block rows);

  struct hash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  std::unique_ptr<row_source> source;
  std::vector<value_kind> kinds;
  std::vector<numbers> added;
  std::unordered_map<std::string, uint32_t, hash, std::equal_to<>> group_of_key;
  kept_rows shown; // the values of each group
  std::vector<uint32_t> group_of_row;
};

} // namespace store
