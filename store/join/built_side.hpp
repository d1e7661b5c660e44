// The second table of a join, by its keys and with what is shown of its rows: made once, and then only read.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "store/arrow/selection.hpp"
#include "store/encode/column.hpp"
#include "store/join/bloom_map.hpp"
#include "store/join/hash_table.hpp"
#include "store/join/record_store.hpp"
#include "store/join/row_groups.hpp"
#include "store/join/sizing.hpp"
#include <vorn/vorn.h>

namespace store {

struct join_side {
  const column &key;
  std::optional<selection> rows; // nothing for all; no key of them is NULL

  const selection *selected() const { return rows ? &*rows : nullptr; }
  uint64_t count() const { return rows ? rows->count : key.rows; }
};

struct output_column {
  const column *of = nullptr;
  bool of_second = false; // table
};

struct built_side {
  // The context outlives this.  With more rows to probe than these it has a bloom map, unless the settings say another.
  built_side(const vorn_ctx &ctx, const join_side &second, std::span<const output_column> columns, uint64_t probed_rows,
             const join_settings &settings);
  built_side(const built_side &) = delete;

  uint64_t count = 0; // rows
  std::optional<bloom_map> map;
  std::optional<hash_table> table;
  row_groups groups{0};                // of the rows by their key
  std::optional<record_store> keys;    // of the table's entries, which confirm candidates
  std::optional<record_store> records; // what is shown of the rows: the bits of NULLs, and the values
  std::vector<uint64_t> built_rows;    // the numbers of the rows; empty where these are all
};

} // namespace store
