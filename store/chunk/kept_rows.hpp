// Rows that an operator keeps: what a join builds, what is sorted, the groups of an aggregate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "store/chunk/chunk.hpp"

namespace store::exec {

// The values of one column.  Values can be appended.
class kept_column {
public:
  explicit kept_column(representation form) : form_(form) {}

  representation form() const { return form_; }
  size_t rows() const { return rows_; }
  void append(const vector &values);
  // Rows of NULL.
  void append_nulls(size_t rows);
  // Rows whose values the caller writes afterwards.
  template <class T>
  std::span<T> append_raw(size_t rows) {
    return {static_cast<T *>(grown(rows, sizeof(T))), rows};
  }

  // All values, valid until the next append.
  vector values() const;

private:
  struct freed {
    void operator()(void *memory) const { std::free(memory); }
  };

  void *grown(size_t rows, size_t value_bytes);
  void append_validity(const uint64_t *valid, size_t rows);

  representation form_;
  size_t rows_ = 0;
  size_t room_ = 0;                            // bytes
  std::unique_ptr<void, freed> memory_;        // of the values
  std::vector<uint64_t> validity_;             // empty until there is a NULL
  std::vector<std::unique_ptr<char[]>> texts_; // the bytes of texts
};

// Rows of several columns.  Columns that are not needed have no values.
class kept_rows final : public row_source {
public:
  kept_rows(const std::vector<layout> &columns, std::vector<bool> needed);
  explicit kept_rows(const std::vector<layout> &columns)
      : kept_rows(columns, std::vector<bool>(columns.size(), true)) {}

  size_t rows() const { return rows_; }
  size_t columns() const { return columns_.size(); }
  bool is_needed(size_t column) const { return needed_[column]; }

  void append(chunk &rows);
  // Appends the rows of other kept rows from `first` on.
  void append(const kept_rows &other, size_t first, size_t rows);
  // Sets the number of rows after the columns were filled one by one, each with the same number of rows.
  kept_column &column(size_t index) { return columns_[index]; }
  void set_rows(size_t rows) { rows_ = rows; }

  // All values of a column that is needed.
  vector values(size_t column) const { return columns_[column].values(); }

  // Positions are row numbers; `no_row` gives NULL.
  vector read(size_t column, std::span<const uint32_t> positions, arena &memory) override;

private:
  std::vector<bool> needed_;
  std::vector<kept_column> columns_;
  size_t rows_ = 0;
};

// Collects the rows of several threads and puts them in the order of their morsels.
class row_collector {
public:
  row_collector(const std::vector<layout> &columns, std::vector<bool> needed, size_t threads);

  // At most one call at a time may have a given thread number.
  void append(size_t thread, size_t morsel, chunk &rows);
  // The rows of all threads.  Called once.
  kept_rows finish();

private:
  struct segment {
    size_t morsel;
    size_t thread;
    size_t first;
    size_t rows;
  };
  std::vector<layout> columns_;
  std::vector<bool> needed_;
  std::vector<kept_rows> of_threads_;
  std::vector<std::vector<segment>> segments_;
};

// Row numbers 0, 1, ... of kept rows as positions.
std::span<const uint32_t> consecutive(size_t first, size_t rows, arena &memory);

} // namespace store::exec
