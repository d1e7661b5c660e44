// Reads values of a stored column at positions of a row group, in every encoding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "store/chunk/chunk.hpp"
#include "store/encode/column.hpp"
#include "store/operator/metrics.hpp"
#include "store/operator/ordinal_ranges.hpp"
#include "store/operator/table.hpp"
#include <vorn/vorn.h>

namespace store::exec {

// The layout of a column of a table in chunks.  Dictionary columns stay codes, with one exception: reals with both 0
// and -0, because SQL holds these two codes equal.  Loads the column.
layout layout_of(table &of, size_t column);
// The same for the rows whose ordinals are in a set.  A null set means all ordinals.
void narrow(layout &as, const column &of, const ordinal_ranges *accepted);
// The number of an ordinal, in a column without reals and texts.
__int128 number_of_ordinal(const column &of, uint64_t ordinal);

// The value stream of a segment as it was before compression.  Several threads may call this for one stream at once.
// The library keeps the memory.  Throws store::error when the stream cannot be decompressed.
const uint8_t *plain_stream(const vorn_ctx &library, const column &of, const column_segment &rows);

// Properties of positions, computed once for all columns that are read at them.
struct position_order {
  bool ascends = false; // they may repeat
  // The runs of consecutive positions, if there are few.  A range is one run.  Empty if there are many.
  struct run {
    uint32_t position; // of its first row in the row group
    uint32_t row;      // among the positions
    uint32_t rows;
  };
  std::span<const run> runs = {};

  position_order() = default;
  position_order(std::span<const uint32_t> positions, arena &memory);
};

// A reader belongs to one thread.
class column_reader {
public:
  // Context, column and the values of its dictionary outlive the reader.  The values may be null when the form is
  // codes.  `counted` may be null.
  column_reader(const vorn_ctx &library, const column &of, representation form, const coded_values *entries,
                operator_metrics *counted);

  // Position 0 is the first row of the row group.  Positions may repeat and have any order.  Ascending positions are
  // read fastest.  The values are valid until another row group is read.
  vector read(size_t row_group, std::span<const uint32_t> positions, const position_order &order, arena &memory);
  vector read(size_t row_group, std::span<const uint32_t> positions, arena &memory) {
    return read(row_group, positions, position_order(positions, memory), memory);
  }

private:
  void open(size_t row_group);

  vector codes(std::span<const uint32_t> positions, const position_order &order, arena &memory);
  void read_packed(std::span<const uint32_t> positions, const position_order &order, std::span<uint32_t> out,
                   arena &memory);
  void read_runs(std::span<const uint32_t> positions, const position_order &order, std::span<uint32_t> out) const;
  void unpack(uint32_t first, std::span<uint32_t> out);
  uint32_t packed_code(uint32_t index) const;

  // Calls a function with the function from a position to its ordinal.
  template <class Take>
  vector with_ordinals(const Take &take) const;
  vector numbers(std::span<const uint32_t> positions, const position_order &order, arena &memory) const;
  vector texts(std::span<const uint32_t> positions, arena &memory) const;
  void index_runs();
  void index_lengths();
  void decode_prefixes();

  const vorn_ctx &library_;
  const column &of_;
  representation form_;
  const coded_values *entries_;
  operator_metrics *counted_;

  // The row group.
  std::optional<size_t> opened_;
  const column_segment *rows_ = nullptr;
  const uint8_t *stream_ = nullptr; // codes or values, not compressed
  vorn_enc_ctx encoding_{};         // of codes
  vorn_cv source_{};
  // rle: the first rows of the runs, and the row after the last; dynp: where the value of the first row of each byte of
  // length codes begins.
  std::vector<uint32_t> offsets_;
  // rle: the run of each row whose number is a multiple of this.
  static constexpr uint32_t index_step = 64;
  std::vector<uint32_t> run_index_;
  std::vector<uint8_t> values_; // prefix: the values
};

// A column to be read.
struct stored_column {
  const store::column *stored = nullptr; // null if it is not read
  representation form = representation::int64;
  std::shared_ptr<const coded_values> entries = nullptr;
};
// Loads the column.
stored_column stored_column_of(table &of, size_t column);

// The rows of one row group after the other as a source of chunks, for one thread.
class row_group_source final : public row_source {
public:
  // Context and columns outlive this object.  `counted` may be null.
  row_group_source(const vorn_ctx &library, std::span<const stored_column> columns, operator_metrics *counted = nullptr)
      : library_(library), columns_(columns), counted_(counted), readers_(columns.size()) {}

  void go_to(size_t row_group) {
    row_group_ = row_group;
    announced_ = {};
  }
  // Announces positions at which several columns are read.  Their memory stays valid until the next positions are
  // announced.
  void announce(std::span<const uint32_t> positions, arena &memory) {
    announced_ = positions;
    order_ = position_order(positions, memory);
  }
  // Positions count from the first row of the row group.
  vector read(size_t column, std::span<const uint32_t> positions, arena &memory) override;

private:
  const vorn_ctx &library_;
  std::span<const stored_column> columns_;
  operator_metrics *counted_;
  std::vector<std::unique_ptr<column_reader>> readers_;
  size_t row_group_ = 0;
  std::span<const uint32_t> announced_;
  position_order order_;
};

} // namespace store::exec
