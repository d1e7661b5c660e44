// Values of a stored column at positions of a row group, whatever the encoding.
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

// How a column of a table lies in chunks.  Dictionaries stay codes, except dictionaries of reals with both zeros, whose
// codes tell apart what SQL holds equal.  Loads the column.
layout layout_of(table &of, size_t column);
// The same for the rows whose ordinals are in a set; null for all ordinals.
void narrow(layout &as, const column &of, const ordinal_ranges *accepted);
// The number that an ordinal stands for, of a column without reals or texts.
__int128 number_of_ordinal(const column &of, uint64_t ordinal);

// The value stream of a batch as it was before compression.  Threads may ask for one stream at once.  The memory is
// kept where the library keeps it.  Throws store::error when the stream cannot be decompressed.
const uint8_t *plain_stream(const vorn_ctx &library, const column &of, const batch &rows);

// A reader belongs to one thread.
class column_reader {
public:
  // Context, column and the values of its dictionary outlive this.  The values may be null where the form is codes,
  // `counted` where nothing is explained.
  column_reader(const vorn_ctx &library, const column &of, representation form, const coded_values *entries,
                operator_metrics *counted);

  // Positions count from the first row of the row group.  They may repeat and have any order; ascending ones are read
  // fastest.  The values are good until another row group is read.
  vector read(size_t row_group, std::span<const uint32_t> positions, arena &memory);

private:
  void open(size_t row_group);

  vector codes(std::span<const uint32_t> positions, arena &memory);
  void read_packed(std::span<const uint32_t> positions, std::span<uint32_t> out, arena &memory);
  void read_runs(std::span<const uint32_t> positions, std::span<uint32_t> out) const;
  void unpack(uint32_t first, std::span<uint32_t> out);
  uint32_t packed_code(uint32_t index) const;

  // Calls with the function from a position to its ordinal.
  template <class Take>
  vector with_ordinals(const Take &take) const;
  vector numbers(std::span<const uint32_t> positions, arena &memory) const;
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
  const batch *rows_ = nullptr;
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
  const store::column *stored = nullptr; // null where nobody reads it
  representation form = representation::int64;
  std::shared_ptr<const coded_values> entries = nullptr;
};
// Loads the column.
stored_column stored_column_of(table &of, size_t column);

// The rows of one row group after the other as a source of chunks, for one thread.
class row_group_source final : public row_source {
public:
  // Context and columns outlive this.  `counted` may be null.
  row_group_source(const vorn_ctx &library, std::span<const stored_column> columns, operator_metrics *counted = nullptr)
      : library_(library), columns_(columns), counted_(counted), readers_(columns.size()) {}

  void go_to(size_t row_group) { row_group_ = row_group; }
  // Positions count from the first row of the row group.
  vector read(size_t column, std::span<const uint32_t> positions, arena &memory) override;

private:
  const vorn_ctx &library_;
  std::span<const stored_column> columns_;
  operator_metrics *counted_;
  std::vector<std::unique_ptr<column_reader>> readers_;
  size_t row_group_ = 0;
};

} // namespace store::exec
