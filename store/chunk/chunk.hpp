// A chunk: some thousand rows that pass from operator to operator.
//
// The columns of a chunk are read late.  A chunk knows the source of its rows and their positions in it.  The source is
// a row group of a table, or the built rows of a join.  A column is read when an operator first needs it, and only at
// the rows that are left.  A column that no operator needs is never read.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "store/chunk/vector.hpp"

namespace store::exec {

inline constexpr uint32_t chunk_rows = 4096; // the largest number of rows

// Where columns are read from.
class row_source {
public:
  virtual ~row_source() = default;

  // The values of a column at some positions.  The memory is the arena's or the source's.
  virtual vector read(size_t column, std::span<const uint32_t> positions, arena &memory) = 0;
};

// One thread makes a chunk and passes it on.  A copy costs little and shares what has been read.
class chunk {
public:
  chunk(arena &memory, uint32_t rows) : memory_(&memory), rows_(rows) {}

  uint32_t rows() const { return rows_; }
  size_t columns() const { return columns_.size(); }
  arena &memory() const { return *memory_; }

  // The values of a column.  They are read, or gathered, at the first call after rows were dropped.
  const vector &column(size_t index);

  // Rows of a source.  The source outlives the chunk.  Each row of the chunk has a position.
  size_t add_source(row_source &from, std::span<const uint32_t> positions);
  // A column that is read from a source when it is needed, or a column with values.
  void add_column(size_t of_source, size_t column_of_source);
  void add_column(const vector &values);
  // A column of the chunk that this chunk was copied from.
  void add_column_of(const chunk &other, size_t index) { columns_.push_back(other.columns_[index]); }
  // A column that nobody reads.
  void add_missing_column() { columns_.emplace_back(); }
  void drop_columns() { columns_.clear(); }

  // Keeps some rows.  The positions in this chunk may repeat and have any order; they must exist as long as the chunk.
  void keep(std::span<const uint32_t> rows);

  // The positions of the rows in a source.
  std::span<const uint32_t> positions(size_t of_source);

private:
  static constexpr size_t no_source = ~size_t{0};

  struct source {
    row_source *from;
    std::span<const uint32_t> positions; // of the generation
    size_t generation;
  };
  struct slot {
    size_t source = no_source;
    size_t column = 0;
    bool is_read = false;
    vector values = {}; // of the generation
    size_t generation = 0;
  };

  size_t generation() const { return kept_.size(); }
  // The rows of a generation that are left, as positions in the generation.
  std::span<const uint32_t> rows_since(size_t generation);

  arena *memory_;
  uint32_t rows_;
  std::vector<source> sources_;
  std::vector<slot> columns_;
  // Each call of `keep` begins a generation. kept_[g] maps the present rows to the rows of generation g.  It is empty
  // until it is needed.  The last one always exists.
  std::vector<std::span<const uint32_t>> kept_;
  std::vector<std::span<const uint32_t>> steps_; // what `keep` was called with
};

} // namespace store::exec
