// Builds record batches.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "store/arrow/array_writer.hpp"
#include "store/arrow/export.hpp"
#include "store/arrow/exported.hpp"

namespace store {

using batch_queue = std::deque<array_parts>;

class batch_writer {
public:
  batch_writer(std::span<const exec::layout> columns, const arrow_batch_limits &limited) : limits_(limited) {
    for (const exec::layout &column : columns)
      writers_.push_back(writer_of(column.held()));
  }

  // Vectors without codes, at most exec::chunk_rows rows.
  void append(std::span<const exec::vector> columns, uint32_t rows) {
    if (waiting_ != 0 && !has_room(columns, rows))
      end_batch();
    for (size_t c = 0; c < columns.size(); ++c)
      writers_[c]->append(columns[c]);
    waiting_ += rows;
  }
  void end_batch() {
    if (waiting_ == 0)
      return;
    array_parts out{static_cast<int64_t>(std::exchange(waiting_, 0)), 0, {arrow_buffer()}};
    for (const auto &writer : writers_)
      out.children.push_back(writer->finish());
    ready_.push_back(std::move(out));
  }

  bool has_batches() const { return !ready_.empty(); }
  // The complete batches.
  batch_queue take() { return std::exchange(ready_, {}); }

private:
  bool has_room(std::span<const exec::vector> columns, uint32_t rows) const {
    bool out = waiting_ + rows <= limits_.rows;
    for (size_t c = 0; c < columns.size() && out; ++c)
      out = writers_[c]->has_room_for(columns[c], limits_.text_bytes);
    return out;
  }

  arrow_batch_limits limits_;
  std::vector<std::unique_ptr<array_writer>> writers_;
  uint64_t waiting_ = 0; // rows that are in no batch yet
  batch_queue ready_;
};

} // namespace store
