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
#include "store/join/built_side.hpp"
#include "store/join/key_reader.hpp"
#include "store/join/prober.hpp"
#include "store/join/record_store.hpp"
#include "store/join/sizing.hpp"
#include <vorn/vorn.h>

namespace store {

// A row of the first table and one of the second.
struct joined_row {
  uint64_t first;
  uint64_t second;
};

// What a join did.
struct join_statistics {
  table_shape shape = {};
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

  // Adds what another thread looked up in the same table.
  void add_probe(const join_statistics &other);
};

// What all threads that join rows share, and only read.
struct join_sides {
  using row_test = std::function<bool(const joined_row &)>;

  // Builds the table.  Context and columns outlive this.  Keys are of one kind of value.
  join_sides(const vorn_ctx &ctx, join_side first, const join_side &second, std::span<const output_column> columns,
             row_test test, const join_settings &settings);

  join_side first;
  built_side second;
  std::vector<output_column> shown;
  row_test test; // of joined rows only those are given that it takes, if there is one
  join_settings settings;
  plan_step *told = nullptr; // that joins rows; null where nothing is explained
};

class hash_join final : public batch_source {
public:
  // The context outlives this.
  hash_join(const vorn_ctx &ctx, std::shared_ptr<const join_sides> sides);

  uint64_t next() override;
  row_block rows() const override { return blocks_; }
  void go_to(size_t batch) override;
  std::unique_ptr<batch_source> another() const override { return copy(); }
  std::unique_ptr<hash_join> copy() const { return std::make_unique<hash_join>(ctx_, sides_); }

  // Which rows of the tables these are.
  std::span<const joined_row> joined() const { return std::span(pairs_).first(joined_count_); }

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

  const built_side &second() const { return sides_->second; }
  bool next_step();
  bool next_keys();
  void join_rows();
  void show();

  const vorn_ctx &ctx_;
  std::shared_ptr<const join_sides> sides_;
  join_statistics did_;
  std::vector<shown_column> shown_;

  // A step of the first table.
  key_reader probed_keys_;
  row_steps steps_;
  row_cursor cursor_;
  prober probe_;
  record_store::room room_;
  std::span<const uint32_t> step_rows_; // in their batch

  // Rows of the step and entries with an equal key, and how far these are joined.
  std::vector<candidate> equal_;
  size_t next_equal_ = 0;
  uint64_t next_row_ = 0; // of the entry

  // The joined rows, as they are in the step and in the second table, and as they are in the tables.
  size_t joined_count_ = 0;
  std::vector<candidate> matches_;
  std::vector<joined_row> pairs_;
  std::vector<std::span<const cell>> blocks_;
};

} // namespace store
