// Tables of encoded columns, and selections of their rows.
#pragma once

#include <vorn/store/column.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::store {

// The choices for columns by their names.  A column without a choice is stored as for encoding_choice().
using encoding_choices = std::map<std::string, encoding_choice, std::less<>>;

// The rows of a row group, a multiple of 64.
VORN_STORE_API uint32_t row_group_rows();

// A table.  It never changes, so any number of threads may read it; a copy costs no memory.  <vorn/store/arrow.hpp> and
// <vorn/store/saved.hpp> make tables.
class VORN_STORE_API table {
public:
  uint64_t rows() const;
  size_t row_groups() const;
  std::vector<column> columns() const; // in the order of the table
  // Throws error when no column has this name.  Case is ignored, unless several names differ only in case.
  column at(std::string_view name) const;

private:
  friend struct access;
  explicit table(std::shared_ptr<const table_data> data) : data_(std::move(data)) {}

  std::shared_ptr<const table_data> data_;
};

// Selected rows of a table, a bit each.  Kernels write the bits of a row group.  Different threads may write different
// row groups at the same time.
class VORN_STORE_API selection {
public:
  // No row is selected.
  explicit selection(const table &of);
  selection(const selection &);
  selection(selection &&) noexcept;
  selection &operator=(const selection &);
  selection &operator=(selection &&) noexcept;
  ~selection();

  uint64_t rows() const;  // of the table
  uint64_t count() const; // of the selected rows
  bool contains(uint64_t row) const;

  // The words of a row group, (rows + 63) / 64 of them on a cache line, for the bits of a result vector.  Bits past the
  // last row are 0.  Throws error when the table has no such row group.
  uint64_t *words(size_t row_group);
  const uint64_t *words(size_t row_group) const;

  // The rows that both selections have, and the rows that at least one of them has.  The functions throw error for a
  // selection with another number of rows.
  selection &operator&=(const selection &other);
  selection &operator|=(const selection &other);
  // The rows that are not selected.  Rows with NULL are among them, because a condition is not true for NULL.
  void invert();

private:
  friend struct access;
  struct state;
  std::unique_ptr<state> state_;
};

} // namespace vorn::store
