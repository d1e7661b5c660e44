// The equi-join of two tables by a hash table of the second one's keys, which the first one's rows are looked up in.
//
// The second table is inserted whatever the sizes: so the joined rows come out in the order of the first table's rows
// and, for each of them, of the second's, and nothing has to be kept of the first but the rows of a step.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/decode/row_cursor.hpp"
#include "store/decode/row_source.hpp"
#include "store/join/bloom_map.hpp"
#include "store/join/hash_table.hpp"
#include "store/join/key_reader.hpp"
#include "store/join/prober.hpp"
#include "store/join/record_store.hpp"
#include "store/join/row_groups.hpp"
#include "store/join/sizing.hpp"
#include "store/query/selection.hpp"
#include <vorn/vorn.h>

namespace store {

// A row of the first table and one of the second.
struct joined_row {
  uint64_t first;
  uint64_t second;
};

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

// What a join did.
struct join_statistics {
  table_shape shape;
  uint64_t built_rows = 0;
  uint64_t built_keys = 0;
  uint64_t overflow_buckets = 0;
  uint64_t table_bytes = 0;
  uint64_t probed_rows = 0;
  uint64_t map_bytes = 0; // of the bloom map; 0 without one
  uint64_t tested = 0;    // rows, against the map
  uint64_t passed = 0;
  bool map_given_up = false;
  uint64_t candidates = 0;
  uint64_t confirmed = 0; // of these
};

class hash_join final : public row_source {
public:
  using row_test = std::function<bool(const joined_row &)>;

  // Builds the table.  Context and columns outlive this.  Keys are of one kind of value.  Of the joined rows only those
  // are given that a test takes, if there is one.
  hash_join(const vorn_ctx &ctx, join_side first, const join_side &second, std::span<const output_column> columns,
            row_test test, const join_settings &settings);

  uint64_t next() override;
  row_block rows() const override { return blocks; }

  // Which rows of the tables these are.
  std::span<const joined_row> joined() const { return std::span(pairs).first(joined_count); }

  join_statistics statistics() const;

private:
  // A column of a step's rows and the same of the joined rows.
  struct shown_column {
    value_kind kind;
    bool of_second;
    std::optional<row_reader> reader; // of the first table
    std::span<const cell> step;
    std::vector<cell> cells;
  };

  void build(const join_side &second, std::span<const output_column> columns);
  bool next_step();
  bool next_keys();
  void join_rows();
  void show();

  const vorn_ctx &ctx;
  join_settings settings;
  row_test test;
  join_statistics did;
  std::vector<shown_column> shown;

  // The second table.
  std::optional<bloom_map> map;
  std::optional<hash_table> table;
  row_groups groups;                   // of its rows by their key
  std::optional<record_store> keys;    // of the table's entries, which confirm candidates
  std::optional<record_store> records; // what is shown of its rows: the bits of NULLs, and the values
  std::vector<uint64_t> built_rows;    // the numbers of its rows; empty where these are all

  // The first one, and a step of it.
  join_side first;
  key_reader probed_keys;
  row_steps steps;
  row_cursor cursor;
  std::optional<prober> probe;
  std::span<const uint32_t> step_rows; // in their batch

  // Rows of the step and entries with an equal key, and how far these are joined.
  std::vector<candidate> equal;
  size_t next_equal = 0;
  uint64_t next_row = 0; // of the entry

  // The joined rows, as they are in the step and in the second table, and as they are in the tables.
  size_t joined_count = 0;
  std::vector<candidate> matches;
  std::vector<joined_row> pairs;
  std::vector<std::span<const cell>> blocks;
};

} // namespace store
